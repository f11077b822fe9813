#pragma once

#include <memory>

#include "core/psCollectionIterator.h"
#include "tree/psBTree.h"

namespace ps::detail {
class TreeWalk;
}  // namespace ps::detail

// Walks a tree collection leaf by leaf. Within a leaf, next and previous open one object; from leaf to leaf they open a
// few more. currentIndex costs nothing after a walk from either end, and after goTo a climb to the root.
class PS_API psTreeIterator : public psCollectionIterator {
 public:
  explicit psTreeIterator(pstHandle<psBTree>& tree);
  psTreeIterator(const psTreeIterator& other);
  psTreeIterator& operator=(const psTreeIterator& other);
  explicit psTreeIterator(const pstHandle<psBTree>& tree)
      : psTreeIterator(ps::detail::lvalue(pstHandle<psBTree>(tree))) {}
  ~psTreeIterator() override;

  pstRef<psObj>* currentP(psLockMode mode) override;
  pstHandle<psCollection> collection() override;
  pstRef<psObj> current(psLockMode mode) override;
  int currentIndex() override;
  bool goTo(const void* key) override;
  bool goTo(const pstHandle<psObj>& element) override;
  pstRef<psObj> goToIndex(int i, psLockMode mode) override;
  bool hasNext() override;
  bool hasPrevious() override;
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  pstRef<psObj> next(psLockMode mode) override;
  pstRef<psObj> previous(psLockMode mode) override;
  int remove() override;
  bool goTo(unsigned int hash, psCompareFunction compare) override;

  // False on a list, which has no order for Java.
  bool goTo(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  using psCollectionIterator::goTo;
  using psCollectionIterator::goToIndex;

 protected:
  PS_HIDDEN explicit psTreeIterator(std::unique_ptr<ps::detail::TreeWalk> walk);

  const std::unique_ptr<ps::detail::TreeWalk> walk_;

 private:
  pstRef<psObj> nothing_;  // what currentP returns without a current element
};
