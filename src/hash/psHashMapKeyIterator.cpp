#include "hash/psHashMapKeyIterator.h"

psHashMapKeyIterator::psHashMapKeyIterator(const pstHandle<psHashMap>& map) : psHashMapIterator(map, Delivery::keys) {}

psHashMapKeyIterator::~psHashMapKeyIterator() = default;

pstRef<psObj> psHashMapKeyIterator::currentValue() { return valueHere(); }
