#pragma once

#include "list/psTreeList.h"
#include "tree/psTreeIterator.h"

// Walks a list. goTo looks for an element by identity, in both flavours, from the current position on. It stops at the
// next occurrence of the object, so repeated calls find one after another. When there is none, the iterator stands on
// the last element. An iterator that stands nowhere finds nothing; goToIndex positions it again.
class PS_API psTreeListIterator : public psTreeIterator {
 public:
  explicit psTreeListIterator(pstHandle<psTreeList>& list);
  explicit psTreeListIterator(const pstHandle<psTreeList>& list)
      : psTreeListIterator(ps::detail::lvalue(pstHandle<psTreeList>(list))) {}

  bool goTo(const void* key) override;
  bool goTo(const pstHandle<psObj>& element) override;
  // The element keeps its position.
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  int set(const pstHandle<psObj>& element) override;
  // False: a list has no order for a callback.
  bool goTo(unsigned int hash, psCompareFunction compare) override;
  using psTreeIterator::goTo;
};
