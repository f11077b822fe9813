#pragma once

#include <deque>

#include "store/psContObj.h"

namespace ps::detail {

// Creates an unnamed container in the database of near; null when the store refuses.
pstHandle<psContObj> createContainer(const psId& near, bool garbageCollectable);

bool isGarbageCollectable(const pstHandle<psContObj>& container);

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

}  // namespace ps::detail
