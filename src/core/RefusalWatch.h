#pragma once

#include <cstdint>

#include "store/psHandleBase.h"

namespace ps::detail {

// Notices opens refused since it was made. What an operation was told after one is not to be believed: "not contained",
// say, may only mean "not readable".
class RefusalWatch {
 public:
  RefusalWatch() : before_(refusalCount()) {}
  bool refused() const { return refusalCount() != before_; }

 private:
  std::uint64_t before_;
};

}  // namespace ps::detail
