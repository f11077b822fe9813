#include "tree/psTreeIterator.h"

#include <utility>

#include "tree/TreeWalk.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::RawProbe;
using ps::detail::TreeWalk;

psTreeIterator::psTreeIterator(pstHandle<psBTree>& tree)
    : psTreeIterator(std::make_unique<TreeWalk>(tree, TreeWalk::Delivery::elements)) {}

psTreeIterator::psTreeIterator(std::unique_ptr<TreeWalk> walk) : walk_(std::move(walk)) {}

psTreeIterator::psTreeIterator(const psTreeIterator& other)
    : psCollectionIterator(other), walk_(std::make_unique<TreeWalk>(*other.walk_)) {}

psTreeIterator& psTreeIterator::operator=(const psTreeIterator& other) {
  *walk_ = *other.walk_;
  return *this;
}

psTreeIterator::~psTreeIterator() = default;

pstHandle<psCollection> psTreeIterator::collection() { return walk_->openRoot(); }

pstRef<psObj>* psTreeIterator::currentP(psLockMode mode) {
  nothing_ = pstRef<psObj>();
  pstRef<psObj>* const reference = walk_->currentAddress(mode);
  return reference != nullptr ? reference : &nothing_;
}

pstRef<psObj> psTreeIterator::current(psLockMode mode) { return walk_->current(mode); }
int psTreeIterator::currentIndex() { return walk_->currentIndex(); }
bool psTreeIterator::hasNext() { return walk_->hasNext(); }
bool psTreeIterator::hasPrevious() { return walk_->hasPrevious(); }
pstRef<psObj> psTreeIterator::next(psLockMode mode) { return walk_->next(mode); }
pstRef<psObj> psTreeIterator::previous(psLockMode mode) { return walk_->previous(mode); }
pstRef<psObj> psTreeIterator::goToIndex(int i, psLockMode mode) { return walk_->goToIndex(i, mode); }
int psTreeIterator::moveCurrentTo(const pstHandle<psObj>& near) { return walk_->moveCurrentTo(near); }
int psTreeIterator::remove() { return walk_->remove(); }

bool psTreeIterator::goTo(const void* key) {
  return walk_->goTo([&](const psBTree& root) { return RawProbe(key, ps::detail::comparatorOf(root)); });
}

bool psTreeIterator::goTo(const pstHandle<psObj>& element) {
  return walk_->goTo([&](const psBTree& root) { return HandleProbe(element, root); });
}

bool psTreeIterator::goTo(unsigned int, psCompareFunction compare) {
  return walk_->goTo([&](const psBTree&) { return CallbackProbe(compare); });
}

bool psTreeIterator::goTo(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return walk_->goTo([&](const psBTree&) { return JavaProbe(key, callee, env); });
}
