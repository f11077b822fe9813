#include "store/cache/Frame.h"

#include "store/SessionCore.h"
#include "store/pstDeref.h"

namespace ps::detail {

psObj* openOutOfLine(const psId& id, psMode mode) {
  SessionCore* const session = id.isNull() ? nullptr : SessionCore::required();
  return session != nullptr ? session->openObject(id, mode) : nullptr;
}

psObj* reopenOutOfLine(const psId& id, psObj* held) {
  const SessionCore* const session = SessionCore::current();
  if (session != nullptr && session->isUsable(held)) return held;
  unpin(frameOfObject(held));
  return openOutOfLine(id, pscRead);
}

void* storageOutOfLine(const psId& id) {
  SessionCore* const session = SessionCore::current();
  return session != nullptr ? session->storage(id) : nullptr;
}

}  // namespace ps::detail

psObj* pstRefPin(const psId* id, psMode mode) {
  if (mode == pscNoOpen) return nullptr;
  return mode == pscRead ? ps::detail::openForReading(*id) : ps::detail::openForUpdate(*id);
}

void pstRefUnpin(psObj* object) {
  if (object != nullptr) ps::detail::unpin(ps::detail::frameOfObject(object));
}
