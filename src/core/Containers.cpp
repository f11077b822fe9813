#include "core/Containers.h"

#include <algorithm>

#include "store/Place.h"
#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"
#include "store/pstItr.h"

namespace ps::detail {

namespace {

bool isEmpty(const pstHandle<psContObj>& container) {
  pstItr<psObj> any;
  return any.scan(container, pscNoOpen) == 1 && !any.next();
}

}  // namespace

pstHandle<psContObj> createContainer(const psId& near, bool garbageCollectable) {
  if (garbageCollectable) return pstHandle<psContObj>(new (nullptr, 0, 1, 0, near) psGCContObj);
  return pstHandle<psContObj>(new (nullptr, 0, 1, 0, near) psContObj);
}

bool isGarbageCollectable(const pstHandle<psContObj>& container) {
  return ptmIsKindOf(container.typeN(), psGCContObj::pstTypeN) != 0;
}

pstHandle<psContObj> createContainerFor(const pstHandle<psObj>& object) {
  const Place place = Place::of(object);
  if (place) return place;
  return createContainer(object.oid(), isGarbageCollectable(object.containedIn()));
}

bool ContainerRelease::secure(const pstHandle<psContObj>& container) {
  if (!container.isValid() || isGarbageCollectable(container) || container.name() != nullptr) return true;
  if (std::find(containers_.begin(), containers_.end(), container) != containers_.end()) return true;
  if (container.open(pscUpdate) != 1) return false;
  return guardMemory(false, [&] {
    containers_.push_back(container);
    return true;
  });
}

void ContainerRelease::release() {
  const NothingThrown here;
  for (pstHandle<psContObj>& container : containers_) {
    if (isEmpty(container)) psDelete(container);
  }
  containers_.clear();
}

bool ContainerRefresh::visit(const pstHandle<psObj>& object) {
  const pstHandle<psContObj> container = object.containedIn();
  if (container.isNull() || container == last_) return true;
  unsigned char changed = 0;
  if (container.refreshOpen(mode_, &changed, mode_ == pscNoOpen ? 1 : 0) == 0) return false;
  last_ = container.oid();
  return true;
}

void deletePart(pstHandle<psObj> part) {
  if (!part.isValid()) return;
  ContainerRelease container;
  container.secureContainerOf(part);
  psDelete(part);
  container.release();
}

}  // namespace ps::detail
