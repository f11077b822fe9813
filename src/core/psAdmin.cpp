#include "core/psAdmin.h"

#include "core/Containers.h"
#include "store/NumberedDatabase.h"
#include "store/Place.h"
#include "store/session/SeveralWriters.h"

namespace {

const pstProcessInitTermClass processInitTerm;

constexpr unsigned short firstCrowdedContainer = 30000;

}  // namespace

psAdmin::~psAdmin() noexcept = default;

pstHandle<psContObj> psAdmin::newContainer(pstRef<psContObj>& current) {
  const pstHandle<psContObj> from = current.isNull() ? psThis(pscNoOpen).containedIn() : pstHandle<psContObj>(current);
  if (from.isNull()) return pstHandle<psContObj>();
  const ps::Place place = ps::Place::of(from);
  if (place) return place;
  // A container that is gone does not tell whether it was garbage-collectable.
  const pstHandle<psContObj> model = from.isValid() ? from : psThis(pscNoOpen).containedIn();
  const bool garbageCollectable = ps::detail::isGarbageCollectable(model);
  if (from.oid().get_OC() < firstCrowdedContainer) {
    pstHandle<psContObj> created = ps::detail::createContainer(from.oid(), garbageCollectable);
    if (!created.isNull()) return created;
  }
  pstHandle<psDBObj> database;
  pstHandle<psFDObj> federation;
  from.containedIn(database);
  database.containedIn(federation);
  const pstHandle<psDBObj> next = ps::detail::createNumberedDatabase(federation, "autoDb");
  return next.isNull() ? pstHandle<psContObj>() : ps::detail::createContainer(next.oid(), garbageCollectable);
}

int psAdmin::deleteIfEmptyUnnamedNonGC(pstHandle<psContObj>& container) {
  ps::detail::ContainerRelease containers;
  containers.secure(container);
  containers.release();
  return 1;
}

// Which of the administrator's fields it is.
std::size_t psAdmin::useOf(const pstRef<psContObj>& field) const {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(this));
}

void psAdmin::forgetOwn(const pstRef<psContObj>& field) const {
  psId* const own = ps::detail::ownContainer(psOid(), useOf(field));
  if (own != nullptr) *own = psId();
}

// The next container of this session after its last one. At first it is the administrator's, if that takes one more
// part.
pstRef<psContObj> psAdmin::newOwnContainer(const psId& last, const pstRef<psContObj>& current, bool hasRoom,
                                           const pstHandle<psObj>& collection) {
  if (last.isNull() && hasRoom && current.isValid()) return current;
  pstRef<psContObj> before(last.isNull() ? current.oid() : last);
  if (before.isNull()) before = collection.containedIn();
  return newContainer(before);
}

pstRef<psContObj> psAdmin::provide(pstRef<psContObj>& current, int& count, int maximum,
                                   const pstHandle<psObj>& collection) {
  const pstHandle<psAdmin> self(this);
  psId* const own = ps::detail::ownContainer(psOid(), useOf(current));
  // Where many make parts at a time, a container for each is not noted in the store, and so makes no conflicts.
  if (own != nullptr && maximum <= 1) {
    const pstRef<psContObj> made = newOwnContainer(*own, current, count < maximum, collection);
    if (!made.isNull()) *own = made.oid();
    return made;
  }
  if (psUpdate() != 1) return pstRef<psContObj>();
  if (own != nullptr && !own->isNull()) {
    current = *own;
    count = 1;
    *own = psId();
  }
  if (maximum <= count || !current.isValid()) {
    if (current.isNull()) current = collection.containedIn();
    current = newContainer(current);
    count = 0;
  }
  ++count;
  return current;
}
