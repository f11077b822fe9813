#pragma once

#include "list/psTreeList.h"
#include "tree/psTreeIterator.h"

// Walks a list. Elements are looked for by identity, in both flavours, from the current position on: goTo stops at the
// next occurrence of the object, and repeated calls find one after another. When there is none the iterator stands on
// the last element. From nowhere it finds nothing: goToIndex positions the iterator anew.
class PS_API psTreeListIterator : public psTreeIterator {
 public:
  explicit psTreeListIterator(pstHandle<psTreeList>& list);

  bool goTo(const void* key) override;
  bool goTo(const pstHandle<psObj>& element) override;
  // The element keeps its position.
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  int set(const pstHandle<psObj>& element) override;
  // False: a list has no order that a callback could know.
  bool goTo(unsigned int hash, psCompareFunction compare) override;
  using psTreeIterator::goTo;
};
