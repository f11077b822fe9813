#include "tree/psTreeListIterator.h"

#include "core/RawKey.h"
#include "core/RefusalWatch.h"

psTreeListIterator::psTreeListIterator(pstHandle<psTreeList>& list) : psTreeIterator(list) {}

bool psTreeListIterator::goTo(const void* key) { return goTo(ps::detail::handleOfRawKey(key)); }

bool psTreeListIterator::goTo(const pstHandle<psObj>& element) {
  const ps::detail::RefusalWatch watch;
  while (hasNext()) {
    const pstRef<psObj> found = next(pscNoLock);
    if (watch.refused() || watch.metAbsent()) break;
    if (found == element) return true;
  }
  // No element was opened: what does not exist is a part of the list.
  return watch.refused() || watch.metAbsent() ? fail() : false;
}

bool psTreeListIterator::goTo(unsigned int, int (*)(unsigned int, unsigned int)) { return fail(); }

int psTreeListIterator::moveCurrentTo(const pstHandle<psObj>& near) { return moveInPlace(near); }

int psTreeListIterator::set(const pstHandle<psObj>& element) { return replaceCurrent(element); }
