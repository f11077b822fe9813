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

pstRef<psContObj> psAdmin::provide(pstRef<psContObj>& current, int& count, int maximum,
                                   const pstHandle<psObj>& collection) {
  const pstHandle<psAdmin> self(this);
  // Where many make parts at a time, a container for each need not be noted, and so makes no conflicts.
  if (maximum <= 1 && ps::detail::hasSeveralWriters()) {
    pstRef<psContObj> beside = current.isNull() ? pstRef<psContObj>(collection.containedIn()) : current;
    return newContainer(beside);
  }
  if (psUpdate() != 1) return pstRef<psContObj>();
  if (maximum <= count || !current.isValid()) {
    if (current.isNull()) current = collection.containedIn();
    current = newContainer(current);
    count = 0;
  }
  ++count;
  return current;
}
