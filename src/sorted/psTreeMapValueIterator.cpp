#include "sorted/psTreeMapValueIterator.h"

#include "core/CurrentReference.h"
#include "tree/TreeWalk.h"

using ps::detail::TreeWalk;

psTreeMapValueIterator::psTreeMapValueIterator(pstHandle<psTreeMap>& map)
    : psTreeIterator(std::make_unique<TreeWalk>(map, TreeWalk::Delivery::values)) {}

psTreeMapValueIterator::~psTreeMapValueIterator() = default;

int psTreeMapValueIterator::moveCurrentTo(const pstHandle<psObj>& near) {
  return ps::detail::moveReferenced(walk_->currentAddress(pscLockUpdate), near);
}

pstRef<psObj> psTreeMapValueIterator::next(psLockMode mode) {
  const pstRef<psObj> value = walk_->next(mode);
  if (value.isNull() && walk_->isBehindLast()) walk_->standNowhere();
  return value;
}

int psTreeMapValueIterator::remove() {
  return ps::detail::replaceReference(walk_->currentAddress(pscLockUpdate), pstRef<psObj>());
}

int psTreeMapValueIterator::set(const pstHandle<psObj>& value) {
  return ps::detail::replaceReference(walk_->currentAddress(pscLockUpdate), value);
}
