#include "list/psTreeListIterator.h"

#include "core/CurrentReference.h"
#include "core/RawKey.h"
#include "tree/TreeWalk.h"

psTreeListIterator::psTreeListIterator(pstHandle<psTreeList>& list) : psTreeIterator(list) {}

bool psTreeListIterator::goTo(const void* key) { return walk_->goOnTo(ps::detail::handleOfRawKey(key)); }
bool psTreeListIterator::goTo(const pstHandle<psObj>& element) { return walk_->goOnTo(element); }
bool psTreeListIterator::goTo(unsigned int, psCompareFunction) { return walk_->lose(); }
int psTreeListIterator::moveCurrentTo(const pstHandle<psObj>& near) {
  return ps::detail::moveReferenced(walk_->currentAddress(pscLockUpdate), near);
}
int psTreeListIterator::set(const pstHandle<psObj>& element) {
  return ps::detail::replaceReference(walk_->currentAddress(pscLockUpdate), element);
}
