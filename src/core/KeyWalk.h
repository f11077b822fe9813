#pragma once

#include <memory>

#include "core/MapClass.h"
#include "core/RefusalWatch.h"
#include "core/psCollectionIterator.h"

namespace ps::detail {

// Calls visit(key, value) for the keys in order, with their values if withValues, until it returns false or something
// is refused. False when not all were visited. Like all loops over elements it ends by hasNext, since a list may hold
// null references.
template <class Visit>
bool walkKeys(pstHandle<psCollection>& collection, bool withValues, Visit visit) {
  if (collection.open(pscRead) != 1) return false;
  const RefusalWatch watch;
  const std::unique_ptr<psCollectionIterator> it(collection->keyIterator());
  if (it == nullptr) return false;
  while (it->hasNext()) {
    const pstHandle<psObj> key(it->next(pscNoLock));
    const pstHandle<psObj> value(withValues ? it->currentValue() : pstRef<psObj>());
    if (watch.refused() || !visit(key, value)) return false;
  }
  return !watch.refused();
}

// Visits the pairs of a map, or the elements of another collection with null values: visit(key, value).
template <class Visit>
bool visitPairs(pstHandle<psCollection>& collection, Visit visit) {
  return walkKeys(collection, MapClass::isMap(collection), visit);
}

// Visits the elements of a collection, or the keys of a map: visit(element).
template <class Visit>
bool visitKeys(pstHandle<psCollection>& collection, Visit visit) {
  return walkKeys(collection, false, [&](const pstHandle<psObj>& key, const pstHandle<psObj>&) { return visit(key); });
}

// Puts all pairs of a map, or all elements of another collection with null values. Continues after a put that fails,
// but stops when something is refused. True when there was any element.
template <class Map>
bool putAll(Map& map, pstHandle<psCollection>& other) {
  bool any = false;
  visitPairs(other, [&](const pstHandle<psObj>& key, const pstHandle<psObj>& value) {
    map.put(key, value);
    return any = true;
  });
  return any;
}

}  // namespace ps::detail
