#include "store/session/Called.h"

#include "store/base/MemoryGuard.h"

namespace ps::detail {

bool refuseCall(const char* message) {
  return guardMemoryQuietly(false, [message] {
    signalStoreError({psErrorKind::usage, message});
    return false;
  });
}

bool isHere(const SessionCore* core) {
  if (core == nullptr || core->hasEnded()) return refuseCall("the session is not open; call psSession::open first");
  if (!core->isOfThisThread())
    return refuseCall("the session belongs to the thread that opened it; open another on this thread");
  return true;
}

}  // namespace ps::detail
