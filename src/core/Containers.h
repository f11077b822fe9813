#pragma once

#include <deque>

#include "store/psContObj.h"

namespace ps::detail {

// Creates an unnamed container in the database of near; null when the store refuses.
pstHandle<psContObj> createContainer(const psId& near, bool garbageCollectable);

bool isGarbageCollectable(const pstHandle<psContObj>& container);

// The same near an object, garbage-collectable when the object's own container is.
pstHandle<psContObj> createContainerFor(const pstHandle<psObj>& object);

// Containers that may be empty after what the caller is about to delete. Each is opened for update before anything is
// written, so that giving it back cannot be refused afterwards.
class ContainerRelease {
 public:
  // Notes a container, or that of an object. False when it would have to be deleted if it became empty, and cannot be
  // opened for update. A null one, or one that is already noted, needs nothing.
  bool secure(const pstHandle<psContObj>& container);
  bool secureContainerOf(const pstHandle<psObj>& object) { return secure(object.containedIn()); }

  // Deletes the containers noted that are empty now.
  void release();

 private:
  std::deque<pstHandle<psContObj>> containers_;
};

// Opens the containers of a collection's parts again, each run of neighbours in one container once.
class ContainerRefresh {
 public:
  explicit ContainerRefresh(psMode mode) : mode_(mode) {}

  // Refreshes the container of an object, unless it is the one refreshed last; false when that is refused.
  bool visit(const pstHandle<psObj>& object);

 private:
  psMode mode_;
  psId last_;
};

// Deletes a part of a collection that is being deleted, and the container that this leaves empty.
void deletePart(pstHandle<psObj> part);

}  // namespace ps::detail
