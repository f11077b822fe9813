#include "store/VoidTransaction.h"

#include "store/base/psError.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

int voidTransaction(psErrorKind kind, const std::string& message) {
  if (SessionCore* const session = SessionCore::current()) session->engine().invalidate();
  return refuseOperation(kind, message);
}

int refuseOperation(psErrorKind kind, const std::string& message) {
  signalStoreError({kind, message});
  psThrowException(pehSessionDataGetFunction());
  return 0;
}

}  // namespace ps::detail
