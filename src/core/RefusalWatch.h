#pragma once

#include <cstdint>

#include "store/psHandleBase.h"

namespace ps::detail {

// Notices opens that failed since it was made, and tells the two reasons apart. What an operation was told after a
// refused one is not to be believed: "not contained", say, may only mean "not readable". That something does not exist
// is an answer; but what a comparator made of it is none (see KeyProbe).
class RefusalWatch {
 public:
  RefusalWatch() : failuresBefore_(failureCount()), refusalsBefore_(refusalCount()) {}
  // Whether either happened: cheaper to ask again and again.
  bool metAny() const { return PS_UNLIKELY(failureCount() != failuresBefore_); }
  bool refused() const { return refusalCount() != refusalsBefore_; }
  bool metAbsent() const { return failureCount() - failuresBefore_ != refusalCount() - refusalsBefore_; }

  // Has everyone who watches take what happened for a refusal.
  static void tellAll() { countRefusal(*currentSession); }

 private:
  std::uint64_t failuresBefore_;
  std::uint64_t refusalsBefore_;
};

}  // namespace ps::detail
