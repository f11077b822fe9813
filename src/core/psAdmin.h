#pragma once

#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/psFDObj.h"
#include "store/psPersistentClass.h"

// Places the internal objects of one collection in containers. A container takes a certain number of them, then a new
// one is started in the same database. From container number 30000 on, and when a database takes no more containers, a
// database is created, named "autoDb" and the lowest number not yet taken, and filled from its first container.
class PS_API psAdmin : public psObj {
  PS_PERSISTENT_CLASS(psAdmin, psObj, 4014)

 public:
  psAdmin() = default;
  ~psAdmin() noexcept override;

  // Creates an unnamed container to go on in after current, garbage-collectable when current is, or, when current has
  // been deleted, when the administrator's own container is; for that a null one stands. Null when the store creates
  // neither a container nor a database.
  virtual pstHandle<psContObj> newContainer(pstRef<psContObj>& current);

  // Deletes the container when it is empty, unnamed and not garbage-collectable. Always 1; a container that cannot be
  // opened for update stays.
  static int deleteIfEmptyUnnamedNonGC(pstHandle<psContObj>& container);

 protected:
  // The container for the next internal object, given the current one, how many it has taken, and how many it takes.
  // Starts a new one when that number is reached or the current one has been deleted. Null, with nothing changed, when
  // the administrator cannot be opened for update; null as well when there is no new container to be had.
  pstRef<psContObj> provide(pstRef<psContObj>& current, int& count, int maximum, const pstHandle<psObj>& collection);
};

static_assert(sizeof(psAdmin) == 8, "the base administrator has no field");
