#include "hash/HashCursor.h"

#include "hash/HashWalk.h"
#include "store/base/MemoryGuard.h"

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

// False when there is no memory for a walk.
bool HashCursor::canWalk() {
  return walk_ != nullptr || guardMemory(false, [&] {
           const HashWalk::Delivery delivery = isMap_ ? HashWalk::Delivery::keys : HashWalk::Delivery::stored;
           walk_ = std::make_unique<HashWalk>(pstHandle<psHashSet>(table_), delivery);
           walk_->tolerateChanges();
           return true;
         });
}

bool HashCursor::toFirst(pstRef<psObj>& element) { return canWalk() && walk_->goBeforeFirst() && forward(element); }
bool HashCursor::toLast(pstRef<psObj>& element) { return canWalk() && walk_->goBehindLast() && back(element); }

// Tables hold no null elements.
bool HashCursor::forward(pstRef<psObj>& element) {
  element = canWalk() ? walk_->next(pscNoLock) : pstRef<psObj>();
  return !element.isNull();
}

bool HashCursor::back(pstRef<psObj>& element) {
  element = canWalk() ? walk_->previous(pscNoLock) : pstRef<psObj>();
  return !element.isNull();
}

template <class MakeProbe>
bool HashCursor::findBy(MakeProbe makeProbe, pstRef<psObj>& element) {
  if (!canWalk() || !walk_->goToKey(makeProbe)) return false;
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
