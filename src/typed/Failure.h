#pragma once

#include "core/RefusalWatch.h"
#include "store/base/psError.h"

// What the typed layer does when something fails. The functions are out of line, so that a call that succeeds costs a
// branch.
namespace ps::detail {

[[noreturn]] PS_API void throwError(psErrorKind kind, const psId& id, const char* sentence);
// Throws what the library has signalled last, or the sentence when it has signalled nothing.
[[noreturn]] PS_API void throwRefused(const psId& id, const char* sentence);
// The object could not be opened, as was just signalled; or its class could not be told, which signals nothing.
[[noreturn]] PS_API void throwNotOpen(const psId& id);
[[noreturn]] void throwWithoutClass(const psId& id);

// Notices what was refused since it was made. The published calls give one result for "not there" and "could not be
// read".
class Watch {
 public:
  bool refused() const { return PS_UNLIKELY(refusals_.metAny()) && refusals_.refused(); }
  void check(const psId& id, const char* sentence) const {
    if (refused()) throwRefused(id, sentence);
  }

 private:
  RefusalWatch refusals_;
};

}  // namespace ps::detail
