#include "store/base/MemoryGuard.h"

#include "store/base/psError.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

void noteLackOfMemory() noexcept {
  pehSessionDataGetFunction()->recordLackOfMemory();
  countRefusal(*currentSession);
  if (currentSession->serial == 0) return;
  SessionCore& session = *static_cast<SessionCore*>(currentSession);
  ++session.counters.refusals;
  session.afterLackOfMemory();
}

void signalLackOfMemory() {
  noteLackOfMemory();
  psThrowException(pehSessionDataGetFunction());
}

}  // namespace ps::detail
