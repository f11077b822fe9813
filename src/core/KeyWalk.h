#pragma once

#include <memory>

#include "core/RefusalWatch.h"
#include "core/psCollectionIterator.h"

namespace ps::detail {

// Calls visit(element) for the keys of a collection, in order, until it returns false or something is refused. False
// when not all were visited. Like all loops over elements it ends on hasNext, since a list may hold null references.
template <class Visit>
bool visitKeys(pstHandle<psCollection>& collection, Visit visit) {
  if (collection.open(pscRead) != 1) return false;
  const RefusalWatch watch;
  const std::unique_ptr<psCollectionIterator> it(collection->keyIterator());
  while (it->hasNext()) {
    const pstHandle<psObj> element(it->next(pscNoLock));
    if (watch.refused() || !visit(element)) return false;
  }
  return !watch.refused();
}

}  // namespace ps::detail
