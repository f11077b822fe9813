#include "tree/TreeCursor.h"

#include "store/base/MemoryGuard.h"
#include "tree/TreeWalk.h"

namespace ps::detail {

namespace {

RawProbe probeFor(const void* key, const psBTree& node) { return RawProbe(key, comparatorOf(node)); }
HandleProbe probeFor(const pstHandle<psObj>& key, const psBTree& node) { return HandleProbe(key, node); }

}  // namespace

TreeCursor::TreeCursor() noexcept = default;
TreeCursor::TreeCursor(const psId& tree) noexcept : tree_(tree) {}
TreeCursor::TreeCursor(const TreeCursor& other)
    : tree_(other.tree_), walk_(other.walk_ != nullptr ? std::make_unique<TreeWalk>(*other.walk_) : nullptr) {}
TreeCursor::TreeCursor(TreeCursor&& other) noexcept = default;
TreeCursor::~TreeCursor() = default;
TreeCursor& TreeCursor::operator=(TreeCursor&& other) noexcept = default;

TreeCursor& TreeCursor::operator=(const TreeCursor& other) {
  if (walk_ != nullptr && other.walk_ != nullptr) {
    tree_ = other.tree_;
    *walk_ = *other.walk_;
  } else if (this != &other) {
    *this = TreeCursor(other);
  }
  return *this;
}

// False when there is no memory for a walk.
bool TreeCursor::canWalk() {
  return walk_ != nullptr || guardMemory(false, [&] {
           walk_ = std::make_unique<TreeWalk>(tree_);
           return true;
         });
}

bool TreeCursor::toFirst(pstRef<psObj>& element) {
  return canWalk() && walk_->goBeforeFirst() && walk_->stepForward(element);
}
bool TreeCursor::toLast(pstRef<psObj>& element) {
  return canWalk() && walk_->goBehindLast() && walk_->stepBack(element);
}
bool TreeCursor::toIndex(int i, pstRef<psObj>& element) { return canWalk() && walk_->goToPosition(i, element); }
bool TreeCursor::forward(pstRef<psObj>& element) { return canWalk() && walk_->stepForward(element); }
bool TreeCursor::back(pstRef<psObj>& element) { return canWalk() && walk_->stepBack(element); }

template <class Key>
bool TreeCursor::seekFrom(const Key& key, bool isForward, pstRef<psObj>& element) {
  const auto makeProbe = [&key](const psBTree& node) { return probeFor(key, node); };
  if (!canWalk()) return false;
  return isForward ? walk_->seekForward(makeProbe, element) : walk_->seek(makeProbe, element);
}

template <class Key>
bool TreeCursor::findBy(const Key& key, pstRef<psObj>& element) {
  if (!canWalk() || !walk_->goTo([&key](const psBTree& node) { return probeFor(key, node); })) return false;
  element = walk_->current(pscNoLock);
  return true;
}

bool TreeCursor::find(const void* key, pstRef<psObj>& element) { return findBy(key, element); }
bool TreeCursor::find(const pstHandle<psObj>& key, pstRef<psObj>& element) { return findBy(key, element); }
bool TreeCursor::seek(const void* key, pstRef<psObj>& element) { return seekFrom(key, false, element); }
bool TreeCursor::seek(const pstHandle<psObj>& key, pstRef<psObj>& element) { return seekFrom(key, false, element); }
bool TreeCursor::seekForward(const void* key, pstRef<psObj>& element) { return seekFrom(key, true, element); }
bool TreeCursor::seekForward(const pstHandle<psObj>& key, pstRef<psObj>& element) {
  return seekFrom(key, true, element);
}

bool TreeCursor::standsOn(const pstRef<psObj>& element) const { return walk_ != nullptr && walk_->standsOn(element); }
pstRef<psObj> TreeCursor::value() const { return walk_ != nullptr ? walk_->valueHere() : pstRef<psObj>(); }
int TreeCursor::index() const { return walk_ != nullptr ? walk_->currentIndex() : -1; }
bool TreeCursor::remove() { return walk_ != nullptr && walk_->remove() == 1; }

}  // namespace ps::detail
