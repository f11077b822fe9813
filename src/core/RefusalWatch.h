#pragma once

#include <cstdint>

#include "store/psHandleBase.h"

namespace ps::detail {

// Notices opens that failed since it was made, and tells the two reasons apart. Results after a refused open cannot be
// trusted: "not contained" may only mean "not readable". That something does not exist is an answer, but what a
// comparator made of it is not (see KeyProbe).
class RefusalWatch {
 public:
  RefusalWatch() : failuresBefore_(failureCount()), refusalsBefore_(refusalCount()) {}
  // Whether either happened. Cheaper to call repeatedly.
  bool metAny() const { return PS_UNLIKELY(failureCount() != failuresBefore_); }
  bool refused() const { return refusalCount() != refusalsBefore_; }
  bool metAbsent() const { return failureCount() - failuresBefore_ != refusalCount() - refusalsBefore_; }

  // Makes everyone who watches count what happened as a refusal.
  static void tellAll() { countRefusal(*currentSession); }

 private:
  std::uint64_t failuresBefore_;
  std::uint64_t refusalsBefore_;
};

}  // namespace ps::detail
