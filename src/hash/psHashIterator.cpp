#include "hash/psHashIterator.h"

#include <utility>

#include "hash/HashWalk.h"

using ps::detail::CallbackProbe;
using ps::detail::HashWalk;
using ps::detail::JavaProbe;
using ps::detail::RawProbe;

psHashIterator::psHashIterator(const pstHandle<psHashSet>& set)
    : psHashIterator(std::make_unique<HashWalk>(set, HashWalk::Delivery::stored)) {}

psHashIterator::psHashIterator(std::unique_ptr<HashWalk> walk) : walk_(std::move(walk)) {}

psHashIterator::psHashIterator(const psHashIterator& other)
    : psCollectionIterator(other), walk_(std::make_unique<HashWalk>(*other.walk_)) {}

psHashIterator& psHashIterator::operator=(const psHashIterator& other) {
  *walk_ = *other.walk_;
  return *this;
}

psHashIterator::~psHashIterator() = default;

pstHandle<psCollection> psHashIterator::collection() { return walk_->set(); }

pstRef<psObj>* psHashIterator::currentP(psLockMode mode) {
  nothing_ = pstRef<psObj>();
  pstRef<psObj>* const reference = walk_->currentAddress(mode);
  return reference != nullptr ? reference : &nothing_;
}

pstRef<psObj> psHashIterator::current(psLockMode mode) { return walk_->current(mode); }
int psHashIterator::currentIndex() { return walk_->currentIndex(); }
bool psHashIterator::hasNext() { return walk_->hasNext(); }
pstRef<psObj> psHashIterator::next(psLockMode mode) { return walk_->next(mode); }
pstRef<psObj> psHashIterator::previous(psLockMode mode) { return walk_->previous(mode); }
pstRef<psObj> psHashIterator::goToIndex(int i, psLockMode mode) { return walk_->goToIndex(i, mode); }
int psHashIterator::moveCurrentTo(const pstHandle<psObj>& near) { return walk_->moveCurrentTo(near); }
int psHashIterator::remove() { return walk_->remove(); }

bool psHashIterator::goTo(const void* key) {
  return walk_->goTo([&](const psHashSet& set) { return RawProbe(key, {set.comparator()}); });
}

bool psHashIterator::goTo(const pstHandle<psObj>& element) { return walk_->goToObject(element); }

bool psHashIterator::goTo(unsigned int, psCompareFunction compare) {
  return walk_->goTo([&](const psHashSet&) { return CallbackProbe(compare); });
}

bool psHashIterator::goTo(unsigned int, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return walk_->goTo([&](const psHashSet&) { return JavaProbe(key, callee, env); });
}
