#pragma once

#include <cstddef>

#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/psFDObj.h"
#include "store/psPersistentClass.h"

// Places the internal objects of a collection in containers. A container takes a certain number of objects; then a new
// one is started in the same database. From container number 30000 on, and when a database has no room for containers,
// the administrator creates a database. Its name is "autoDb" with the lowest number that is free, and it is filled from
// its first container.
class PS_API psAdmin : public psObj {
  PS_PERSISTENT_CLASS(psAdmin, psObj, 4014)

 public:
  psAdmin() = default;
  ~psAdmin() noexcept override;

  // The container to continue in after current. If current belongs to a ps::Place, that is the place's first one,
  // through which the place grows. Otherwise creates an unnamed container, which is garbage-collectable when current
  // is. When current is null or has been deleted, the administrator's own container decides instead. Null when the
  // store creates neither a container nor a database.
  virtual pstHandle<psContObj> newContainer(pstRef<psContObj>& current);

  // Deletes the container when it is empty, unnamed and not garbage-collectable. Always returns 1; a container that
  // cannot be opened for update stays.
  static int deleteIfEmptyUnnamedNonGC(pstHandle<psContObj>& container);

 protected:
  // The container for the next internal object, given the current one, how many objects it has taken, and how many it
  // may take. Starts a new one when that number is reached or the current one has been deleted. Null, with nothing
  // changed, when the administrator cannot be opened for update. Null also when no container can be created.
  pstRef<psContObj> provide(pstRef<psContObj>& current, int& count, int maximum, const pstHandle<psObj>& collection);
  // Called when the application has set that container: what this session has made for it otherwise, where there are
  // several writers, is left alone.
  void forgetOwn(const pstRef<psContObj>& field) const;

 private:
  std::size_t useOf(const pstRef<psContObj>& field) const;
  pstRef<psContObj> newOwnContainer(const psId& last, const pstRef<psContObj>& current, bool hasRoom,
                                    const pstHandle<psObj>& collection);
};

static_assert(sizeof(psAdmin) == 8, "the base administrator has no field");
