#include "hash/psHashMapIterator.h"

psHashMapIterator::psHashMapIterator(const pstHandle<psHashMap>& map) : psHashIterator(map) {}

psHashMapIterator::psHashMapIterator(const pstHandle<psHashMap>& map, Delivery delivery)
    : psHashIterator(map, delivery) {}

psHashMapIterator::~psHashMapIterator() = default;
