#pragma once

#include <vector>

#include "store/psContObj.h"

namespace ps::detail {

// Creates an unnamed container in the database of near; null when the store refuses.
pstHandle<psContObj> createContainer(const psId& near, bool garbageCollectable);

bool isGarbageCollectable(const pstHandle<psContObj>& container);

// The same near an object. The container is garbage-collectable when the object's own container is. For an object in a
// place, gives the place instead, which grows by itself.
pstHandle<psContObj> createContainerFor(const pstHandle<psObj>& object);

// Containers that may be empty after the caller has deleted something. Each is opened for update before anything is
// written, so that its deletion cannot be refused afterwards.
class ContainerRelease {
 public:
  // Notes a container, or that of an object. False when it would have to be deleted if it became empty, but cannot be
  // opened for update. Does nothing for a null container, or for one that is already noted.
  bool secure(const pstHandle<psContObj>& container);
  bool secureContainerOf(const pstHandle<psObj>& object) { return secure(object.containedIn()); }

  // Deletes the noted containers that are empty now.
  void release();

 private:
  std::vector<pstHandle<psContObj>> containers_;
};

// Opens the containers of a collection's parts again. A run of parts in the same container opens it once.
class ContainerRefresh {
 public:
  explicit ContainerRefresh(psMode mode) : mode_(mode) {}

  // Refreshes the container of an object, unless it was the last one refreshed. False when that is refused.
  bool visit(const pstHandle<psObj>& object);

 private:
  psMode mode_;
  psId last_;
};

// Deletes a part of a collection that is being deleted, and its container if that is then empty.
void deletePart(pstHandle<psObj> part);

}  // namespace ps::detail
