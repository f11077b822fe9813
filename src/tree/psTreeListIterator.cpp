#include "tree/psTreeListIterator.h"

#include "core/RawKey.h"
#include "core/RefusalWatch.h"

psTreeListIterator::psTreeListIterator(pstHandle<psTreeList>& list) : psTreeIterator(list) {}

bool psTreeListIterator::goTo(const void* key) { return goTo(ps::detail::handleOfRawKey(key)); }

bool psTreeListIterator::goTo(const pstHandle<psObj>& element) {
  const ps::detail::RefusalWatch watch;
  while (hasNext()) {
    const pstRef<psObj> found = next(pscNoLock);
    if (watch.refused()) return false;
    if (found == element) return true;
  }
  return false;
}

bool psTreeListIterator::goTo(unsigned int, int (*)(unsigned int, unsigned int)) { return false; }

int psTreeListIterator::moveCurrentTo(const pstHandle<psObj>& near) { return moveInPlace(near); }

int psTreeListIterator::set(const pstHandle<psObj>& element) { return replaceCurrent(element); }
