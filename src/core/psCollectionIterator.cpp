#include "core/psCollectionIterator.h"

psCollectionIterator::~psCollectionIterator() = default;

pstRef<psObj> psCollectionIterator::currentValue() { return current(pscNoLock); }
bool psCollectionIterator::hasPrevious() { return currentIndex() > 0; }
int psCollectionIterator::nextIndex() { return currentIndex() + 1; }
int psCollectionIterator::previousIndex() { return currentIndex() - 1; }
int psCollectionIterator::set(const pstHandle<psObj>&) { return 0; }
