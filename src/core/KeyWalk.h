#pragma once

#include <memory>

#include "core/RefusalWatch.h"
#include "core/psCollectionIterator.h"

namespace ps::detail {

// Calls visit(key, value) for the pairs of a map, or visit(element, null) for the elements of another collection, in
// order, until it returns false or something is refused. False when not all were visited. Like all loops over elements
// it ends on hasNext, since a list may hold null references.
template <class Visit>
bool visitPairs(pstHandle<psCollection>& collection, bool isMap, Visit visit) {
  if (collection.open(pscRead) != 1) return false;
  const RefusalWatch watch;
  const std::unique_ptr<psCollectionIterator> it(collection->keyIterator());
  while (it->hasNext()) {
    const pstHandle<psObj> key(it->next(pscNoLock));
    const pstHandle<psObj> value(isMap ? it->currentValue() : pstRef<psObj>());
    if (watch.refused() || !visit(key, value)) return false;
  }
  return !watch.refused();
}

// The same for the elements of a collection, or the keys of a map: visit(element).
template <class Visit>
bool visitKeys(pstHandle<psCollection>& collection, Visit visit) {
  return visitPairs(collection, false,
                    [&](const pstHandle<psObj>& key, const pstHandle<psObj>&) { return visit(key); });
}

}  // namespace ps::detail
