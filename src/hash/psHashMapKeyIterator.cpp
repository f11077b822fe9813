#include "hash/psHashMapKeyIterator.h"

#include "hash/HashWalk.h"

using ps::detail::HashWalk;

psHashMapKeyIterator::psHashMapKeyIterator(const pstHandle<psHashMap>& map)
    : psHashMapIterator(std::make_unique<HashWalk>(map, HashWalk::Delivery::keys)) {}

psHashMapKeyIterator::~psHashMapKeyIterator() = default;

pstRef<psObj> psHashMapKeyIterator::currentValue() { return walk_->valueHere(); }
