#include "hash/psHashMapIterator.h"

#include "hash/HashWalk.h"

psHashMapIterator::psHashMapIterator(const pstHandle<psHashMap>& map) : psHashIterator(map) {}

psHashMapIterator::~psHashMapIterator() = default;
