#include "core/psAdmin.h"

#include <string>

#include "core/Containers.h"

namespace {

const pstProcessInitTermClass processInitTerm;

constexpr unsigned short firstCrowdedContainer = 30000;

// Creates the database "autoDb" with the lowest number that is free, and gives a null handle when the store refuses.
//
// These databases are never given back, so what was taken once is tried first: the number is remembered, and checked,
// since transactions of others may have taken it and an abort may have freed those right below it.
pstHandle<psDBObj> createNumberedDatabase(const pstHandle<psFDObj>& federation) {
  struct LowestFree {
    const pstSessionData* session = nullptr;
    int number = 0;
  };
  static thread_local LowestFree lowest;
  if (lowest.session != pstSessionDataGetFunction()) lowest = {pstSessionDataGetFunction(), 0};

  const auto nameOf = [](int number) { return "autoDb" + std::to_string(number); };
  const auto isTaken = [&](int number) {
    pstHandle<psDBObj> database;
    return database.exist(federation, nameOf(number).c_str(), pscNoOpen);
  };
  while (lowest.number > 0 && !isTaken(lowest.number - 1)) --lowest.number;
  while (isTaken(lowest.number)) ++lowest.number;

  const std::string name = nameOf(lowest.number);
  return pstHandle<psDBObj>(new (federation) psDBObj(name.c_str(), 0, 0, nullptr, nullptr, 1, 0));
}

}  // namespace

psAdmin::~psAdmin() noexcept = default;

pstHandle<psContObj> psAdmin::newContainer(pstRef<psContObj>& current) {
  const pstHandle<psContObj> from = current.isNull() ? psThis(pscNoOpen).containedIn() : pstHandle<psContObj>(current);
  if (from.isNull()) return pstHandle<psContObj>();
  const bool garbageCollectable = ps::detail::isGarbageCollectable(from);
  if (from.oid().get_OC() < firstCrowdedContainer) {
    pstHandle<psContObj> created = ps::detail::createContainer(from.oid(), garbageCollectable);
    if (!created.isNull()) return created;
  }
  pstHandle<psDBObj> database;
  pstHandle<psFDObj> federation;
  from.containedIn(database);
  database.containedIn(federation);
  const pstHandle<psDBObj> next = createNumberedDatabase(federation);
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
  if (psUpdate() != 1) return pstRef<psContObj>();
  if (maximum <= count || !current.isValid()) {
    if (current.isNull()) current = collection.containedIn();
    current = newContainer(current);
    count = 0;
  }
  ++count;
  return current;
}
