#pragma once

#include <cstdint>

#include "store/psHandleBase.h"

namespace ps::detail {

// Notices opens that failed since it was made, and tells the two reasons apart. What an operation was told after a
// refused one is not to be believed: "not contained", say, may only mean "not readable". That something does not exist
// is an answer; but what a comparator made of it is none (see KeyProbe).
class RefusalWatch {
 public:
  RefusalWatch() : refusalsBefore_(refusalCount()), absencesBefore_(absenceCount()) {}
  bool refused() const { return refusalCount() != refusalsBefore_; }
  bool metAbsent() const { return absenceCount() != absencesBefore_; }

  // Has everyone who watches take what happened for a refusal.
  static void tellAll() { ++currentSession->refusals; }

 private:
  std::uint64_t refusalsBefore_;
  std::uint64_t absencesBefore_;
};

}  // namespace ps::detail
