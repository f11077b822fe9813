#include "store/Place.h"

#include "store/base/IdParts.h"
#include "store/base/MemoryGuard.h"
#include "store/base/psError.h"
#include "store/engine/StoreKey.h"
#include "store/session/SessionCore.h"

namespace ps {

using detail::CatalogEntry;
using detail::SessionCore;
using Lookup = detail::Engine::Lookup;

namespace {

// The current session, if it is in a transaction.
SessionCore* reading() {
  SessionCore* const session = SessionCore::required();
  return session != nullptr && session->isReadyFor("looking up a place") ? session : nullptr;
}

// Whether a container is the first of a place; one that is not is made so in an update.
bool isFirst(SessionCore& session, const psId& container) {
  psId first;
  const Lookup found = session.places().find(container, first);
  if (found == Lookup::absent) return session.mode() != pscUpdate || session.places().make(container);
  if (found == Lookup::found && first == container) return true;
  return found == Lookup::found && session.fail(psErrorKind::usage, "the container is a later one of another place");
}

}  // namespace

Place::Place(const pstHandle<psDBObj>& database, const char* name) {
  SessionCore* const session = reading();
  if (session == nullptr) return;
  if (name == nullptr || *name == '\0') {
    session->fail(psErrorKind::usage, "a place needs a name");
    return;
  }
  CatalogEntry* entry = nullptr;
  const Lookup found = session->directory().findContainer(database.oid(), name, entry);
  if (found == Lookup::absent && session->mode() == pscUpdate)
    entry = session->directory().createContainer(database.oid(), name, detail::collectedContainerTypeN, 0);
  if (entry != nullptr && isFirst(*session, entry->id())) first_ = pstHandle<psContObj>(entry->id());
}

Place Place::of(const pstHandle<psObj>& objectOrContainer) {
  SessionCore* const session = reading();
  if (session == nullptr || objectOrContainer.oid().get_OC() == 0) return Place();
  psId first;
  const Lookup found = session->places().find(detail::containerOf(objectOrContainer.oid()), first);
  return found == Lookup::found ? Place(first) : Place();
}

std::vector<pstHandle<psContObj>> Place::containers() const {
  return detail::guardMemory(std::vector<pstHandle<psContObj>>(), [&]() -> std::vector<pstHandle<psContObj>> {
    SessionCore* const session = isNull() ? nullptr : reading();
    std::vector<psId> parts;
    if (session == nullptr || !session->places().partsOf(first_.oid(), parts)) return {};
    // A container that has not become a place counts as one.
    if (parts.empty() && first_.isValid()) parts.push_back(first_.oid());
    return std::vector<pstHandle<psContObj>>(parts.begin(), parts.end());
  });
}

std::int64_t Place::count() const {
  std::int64_t sum = 0;
  const std::vector<pstHandle<psContObj>> parts = containers();
  for (const pstHandle<psContObj>& part : parts) {
    const CatalogEntry* const entry = SessionCore::current()->directory().entry(part.oid());
    if (entry == nullptr) return -1;
    sum += entry->live;
    SessionCore::current()->engine().noteCount(detail::StoreKey::container(part.oid().get_DB(), part.oid().get_OC()));
  }
  return parts.empty() ? -1 : sum;
}

int Place::destroy() {
  SessionCore* const session = SessionCore::updating("deleting a place");
  const std::vector<pstHandle<psContObj>> parts = session != nullptr ? containers() : decltype(containers())();
  for (const pstHandle<psContObj>& part : parts) {
    if (part.open(pscUpdate) != 1 || !session->directory().canReadNames(part.oid())) return 0;
  }
  if (parts.empty()) return 0;
  detail::WholeChange whole(session->engine());
  for (const pstHandle<psContObj>& part : parts) {
    if (!session->directory().remove(part.oid())) return 0;
  }
  first_ = pstHandle<psContObj>();
  whole.done();
  return 1;
}

}  // namespace ps
