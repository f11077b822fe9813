#include "hash/psHashMapValueIterator.h"

#include "hash/HashWalk.h"

using ps::detail::HashWalk;

psHashMapValueIterator::psHashMapValueIterator(const pstHandle<psHashMap>& map)
    : psHashMapIterator(std::make_unique<HashWalk>(map, HashWalk::Delivery::values)) {}

psHashMapValueIterator::~psHashMapValueIterator() = default;

int psHashMapValueIterator::moveCurrentTo(const pstHandle<psObj>& near) { return walk_->moveInPlace(near); }

int psHashMapValueIterator::remove() { return walk_->replaceCurrent(pstRef<psObj>()); }

int psHashMapValueIterator::set(const pstHandle<psObj>& value) { return walk_->replaceCurrent(value); }
