#include "hash/psHashMapValueIterator.h"

psHashMapValueIterator::psHashMapValueIterator(const pstHandle<psHashMap>& map)
    : psHashMapIterator(map, Delivery::values) {}

psHashMapValueIterator::~psHashMapValueIterator() = default;

int psHashMapValueIterator::moveCurrentTo(const pstHandle<psObj>& near) { return moveInPlace(near); }

int psHashMapValueIterator::remove() { return replaceCurrent(pstRef<psObj>()); }

int psHashMapValueIterator::set(const pstHandle<psObj>& value) { return replaceCurrent(value); }
