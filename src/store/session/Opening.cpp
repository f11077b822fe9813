#include "store/session/Opening.h"

#include "store/cache/NothingOpened.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

bool isOrDerivesFrom(std::uint32_t type, std::uint32_t wanted) {
  if (!TypeRegistry::instance().isKindOf(type, wanted)) return false;
  if (currentSession->serial != 0) currentSession->knownAncestry(wanted) = SessionHead::ancestry(type, wanted);
  return true;
}

psObj* openOutOfLine(const psId& id, psMode mode, unsigned int wanted) {
  SessionCore* const session = id.isNull() ? nullptr : SessionCore::required();
  return session != nullptr ? session->objects().open(id, mode, wanted) : nullptr;
}

psObj* reopenOutOfLine(const psId& id, psObj* held, unsigned int wanted) {
  const SessionCore* const session = SessionCore::current();
  const bool isIt = session != nullptr && session->isCurrent(held) && idAt(held) == id;
  if (isIt && (wanted == objectTypeN || isOrDerivesFrom(headerOf(held)->type & ~namedFlag, wanted))) return held;
  unpin(frameOfObject(held));
  return openOutOfLine(id, pscRead, wanted);
}

void* storageOutOfLine(const psId& id) {
  SessionCore* const session = NothingOpened::applies() ? SessionCore::required() : SessionCore::current();
  return session != nullptr ? session->objects().storage(id) : nullptr;
}

}  // namespace ps::detail
