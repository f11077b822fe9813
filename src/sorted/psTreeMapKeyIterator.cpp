#include "sorted/psTreeMapKeyIterator.h"

#include "tree/TreeWalk.h"

psTreeMapKeyIterator::psTreeMapKeyIterator(pstHandle<psTreeMap>& map) : psTreeIterator(map) {}

psTreeMapKeyIterator::~psTreeMapKeyIterator() = default;

pstRef<psObj> psTreeMapKeyIterator::currentValue() { return walk_->valueHere(); }
