#include "tree/psTreeListIterator.h"

#include "core/RawKey.h"
#include "core/RefusalWatch.h"
#include "tree/NodeLinks.h"

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

int psTreeListIterator::moveCurrentTo(const pstHandle<psObj>& near) {
  pstRef<psObj>* const entry = currentP(pscLockUpdate);
  pstHandle<psObj> element(*entry);
  if (element.isNull() || element.move(near) != 1) return 0;
  *entry = element;
  return 1;
}

int psTreeListIterator::set(const pstHandle<psObj>& element) {
  if (!ps::detail::isReadable(leaf_)) return 0;
  pstRef<psObj>* const entry = entryAddress(ps::detail::NodeAccess::elements(*leaf_), position_, pscLockUpdate);
  if (entry == nullptr) return 0;
  *entry = element;
  return 1;
}
