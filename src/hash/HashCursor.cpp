#include "hash/HashCursor.h"

#include "hash/HashWalk.h"

namespace ps::detail {

HashCursor::HashCursor() noexcept = default;
HashCursor::HashCursor(const psId& table, bool isMap) noexcept : table_(table), isMap_(isMap) {}
HashCursor::HashCursor(const HashCursor& other)
    : table_(other.table_),
      isMap_(other.isMap_),
      walk_(other.walk_ != nullptr ? std::make_unique<HashWalk>(*other.walk_) : nullptr) {}
HashCursor::HashCursor(HashCursor&& other) noexcept = default;
HashCursor::~HashCursor() = default;
HashCursor& HashCursor::operator=(HashCursor&& other) noexcept = default;

HashCursor& HashCursor::operator=(const HashCursor& other) {
  if (this != &other) *this = HashCursor(other);
  return *this;
}

HashWalk& HashCursor::walk() {
  const HashWalk::Delivery delivery = isMap_ ? HashWalk::Delivery::keys : HashWalk::Delivery::stored;
  if (walk_ == nullptr) {
    walk_ = std::make_unique<HashWalk>(pstHandle<psHashSet>(table_), delivery);
    walk_->tolerateChanges();
  }
  return *walk_;
}

bool HashCursor::toFirst(pstRef<psObj>& element) { return walk().goBeforeFirst() && forward(element); }
bool HashCursor::toLast(pstRef<psObj>& element) { return walk().goBehindLast() && back(element); }

// Tables hold no null elements.
bool HashCursor::forward(pstRef<psObj>& element) {
  element = walk().next(pscNoLock);
  return !element.isNull();
}

bool HashCursor::back(pstRef<psObj>& element) {
  element = walk().previous(pscNoLock);
  return !element.isNull();
}

template <class MakeProbe>
bool HashCursor::findBy(MakeProbe makeProbe, pstRef<psObj>& element) {
  if (!walk().goToKey(makeProbe)) return false;
  element = walk_->current(pscNoLock);
  return !element.isNull();
}

bool HashCursor::find(const void* key, pstRef<psObj>& element) {
  return findBy([key](const psHashSet& set) { return RawProbe(key, {set.comparator()}); }, element);
}

bool HashCursor::find(const pstHandle<psObj>& key, pstRef<psObj>& element) {
  return findBy([&key](const psHashSet& set) { return HandleProbe(key, set); }, element);
}

bool HashCursor::standsOn(const pstRef<psObj>& element) const { return walk_ != nullptr && walk_->standsOn(element); }
pstRef<psObj> HashCursor::value() const { return walk_ != nullptr ? walk_->valueHere() : pstRef<psObj>(); }
bool HashCursor::remove() { return walk_ != nullptr && walk_->remove() == 1; }

}  // namespace ps::detail
