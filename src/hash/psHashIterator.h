#pragma once

#include <memory>

#include "core/psCollectionIterator.h"
#include "hash/psHashSet.h"

namespace ps::detail {
class HashWalk;
}  // namespace ps::detail

// Walks a hash set in the order in which it is stored, which means nothing. Within a bucket a step opens nothing,
// unless there are chains. goTo searches the elements one by one, and stands after the last when it finds none.
// goToIndex, and currentIndex after moveCurrentTo, read the buckets before the position.
//
// When a step is refused, the iterator stays, and the step can be repeated. hasNext is false when the next element
// could not even be read, so loops end. After a goTo or goToIndex that failed, for another reason than that there is no
// such element, the iterator stands nowhere. next and previous then return null, and hasNext and hasPrevious false,
// until it is positioned again.
//
// The iterator can be kept from one transaction to the next. It reads again what has changed, and continues from its
// place, whatever is stored there now; currentIndex is then what it was. Outside a transaction it delivers nothing.
//
// When moveCurrentTo gives an element a new place, its bucket may be full. The split then changes the order, so a walk
// that moves elements can miss others, or meet them twice.
class PS_API psHashIterator : public psCollectionIterator {
 public:
  explicit psHashIterator(const pstHandle<psHashSet>& set);
  psHashIterator(const psHashIterator& other);
  psHashIterator& operator=(const psHashIterator& other);
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
  pstRef<psObj> nothing_;  // what currentP returns without a current element
};
