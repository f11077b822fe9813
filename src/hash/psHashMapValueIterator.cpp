#include "hash/psHashMapValueIterator.h"

#include "core/CurrentReference.h"
#include "hash/HashWalk.h"

using ps::detail::HashWalk;

psHashMapValueIterator::psHashMapValueIterator(const pstHandle<psHashMap>& map)
    : psHashMapIterator(std::make_unique<HashWalk>(map, HashWalk::Delivery::values)) {}

psHashMapValueIterator::~psHashMapValueIterator() = default;

int psHashMapValueIterator::moveCurrentTo(const pstHandle<psObj>& near) {
  return ps::detail::moveReferenced(walk_->currentAddress(pscLockUpdate), near);
}

int psHashMapValueIterator::remove() {
  return ps::detail::replaceReference(walk_->currentAddress(pscLockUpdate), pstRef<psObj>());
}

int psHashMapValueIterator::set(const pstHandle<psObj>& value) {
  return ps::detail::replaceReference(walk_->currentAddress(pscLockUpdate), value);
}
