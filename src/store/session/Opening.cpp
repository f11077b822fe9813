#include "store/session/Opening.h"

#include "store/cache/NothingOpened.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

psObj* openOutOfLine(const psId& id, psMode mode) {
  SessionCore* const session = id.isNull() ? nullptr : SessionCore::required();
  return session != nullptr ? session->objects().open(id, mode) : nullptr;
}

psObj* reopenOutOfLine(const psId& id, psObj* held) {
  const SessionCore* const session = SessionCore::current();
  if (session != nullptr && session->isCurrent(held) && idAt(held) == id) return held;
  unpin(frameOfObject(held));
  return openOutOfLine(id, pscRead);
}

void* storageOutOfLine(const psId& id) {
  SessionCore* const session = NothingOpened::applies() ? SessionCore::required() : SessionCore::current();
  return session != nullptr ? session->objects().storage(id) : nullptr;
}

}  // namespace ps::detail
