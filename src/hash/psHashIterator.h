#pragma once

#include <memory>

#include "core/psCollectionIterator.h"
#include "hash/psHashSet.h"

namespace ps::detail {
class HashWalk;
}  // namespace ps::detail

// Walks a hash set in the order in which it is stored, which says nothing about the elements. A step costs nothing to
// open within a bucket, unless there are chains; goTo looks at one element after the other, and leaves the iterator
// behind the last when it finds none. goToIndex, and currentIndex after moveCurrentTo, read the buckets before.
//
// Where a step is refused the iterator stays, and the step can be taken again; hasNext is false where the next one
// could not even be read, so that loops end. After a goTo or goToIndex that failed for another reason than that there
// is no such element it stands nowhere: next and previous give null, hasNext and hasPrevious false, until it is
// positioned anew.
//
// It can be kept while a transaction ends and another begins: it reads anew what has changed, and goes on from its
// place, whatever stands there now. currentIndex is then what it was. Without a transaction there is nothing to
// deliver.
//
// An element that moveCurrentTo places anew may find its bucket full. The split changes the order, so that a walk on
// which elements move can pass others over, or meet them twice.
class PS_API psHashIterator : public psCollectionIterator {
 public:
  explicit psHashIterator(const pstHandle<psHashSet>& set);
  ~psHashIterator() override;

  pstRef<psObj>* currentP(psLockMode mode) override;
  pstHandle<psCollection> collection() override;
  pstRef<psObj> current(psLockMode mode) override;
  int currentIndex() override;
  bool goTo(const void* key) override;
  bool goTo(const pstHandle<psObj>& element) override;
  pstRef<psObj> goToIndex(int i, psLockMode mode) override;
  bool hasNext() override;
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  pstRef<psObj> next(psLockMode mode) override;
  pstRef<psObj> previous(psLockMode mode) override;
  int remove() override;
  // The hash is not used.
  bool goTo(unsigned int hash, psCompareFunction compare) override;

  bool goTo(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env);
  bool goTo(const psId& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) = delete;
  using psCollectionIterator::goTo;
  using psCollectionIterator::goToIndex;

 protected:
  PS_HIDDEN explicit psHashIterator(std::unique_ptr<ps::detail::HashWalk> walk);

  const std::unique_ptr<ps::detail::HashWalk> walk_;

 private:
  pstRef<psObj> nothing_;  // what currentP gives out where there is no current element
};
