#include "sorted/psTreeMapValueIterator.h"

psTreeMapValueIterator::psTreeMapValueIterator(pstHandle<psTreeMap>& map) : psTreeIterator(map, Delivery::values) {}

psTreeMapValueIterator::~psTreeMapValueIterator() = default;

int psTreeMapValueIterator::moveCurrentTo(const pstHandle<psObj>& near) { return moveInPlace(near); }

pstRef<psObj> psTreeMapValueIterator::next(psLockMode mode) {
  const pstRef<psObj> value = psTreeIterator::next(mode);
  if (value.isNull() && isBehindLast()) standNowhere();
  return value;
}

int psTreeMapValueIterator::remove() { return replaceCurrent(pstRef<psObj>()); }

int psTreeMapValueIterator::set(const pstHandle<psObj>& value) { return replaceCurrent(value); }
