#include "hash/psHashIterator.h"

#include <algorithm>
#include <limits>

#include "hash/HashGrowth.h"
#include "hash/HashTable.h"
#include "hash/SlotChange.h"
#include "hash/StoredMove.h"
#include "hash/psHashMapEntry.h"
#include "store/Relocation.h"

using ps::detail::BucketEdit;
using ps::detail::BucketRange;
using ps::detail::BucketView;
using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::HashAccess;
using ps::detail::HashPosition;
using ps::detail::JavaProbe;
using ps::detail::KeptBucket;
using ps::detail::KeyProbe;
using ps::detail::RawProbe;
using ps::detail::RefusalWatch;
using ps::detail::SlotView;

namespace {

constexpr int unknownIndex = -2;
constexpr int noLimit = std::numeric_limits<int>::max();

}  // namespace

namespace ps::detail {

// A bucket that is kept open, with the slot looked at last, so that steps within them open nothing.
class KeptBucket {
 public:
  explicit KeptBucket(const pstHandle<psHashBucket>& bucket) : view_(bucket) {}

  const BucketView& view() const { return view_; }
  // Good until the next call.
  const SlotView& slot(int slot) {
    if (slot != slot_ || !held_->isCurrent()) {
      held_.emplace(view_, slot);
      slot_ = slot;
    }
    return *held_;
  }

 private:
  BucketView view_;
  int slot_ = -1;
  std::optional<SlotView> held_;
};

}  // namespace ps::detail

psHashIterator::psHashIterator(const pstHandle<psHashSet>& set) : psHashIterator(set, Delivery::stored) {}

psHashIterator::psHashIterator(const pstHandle<psHashSet>& set, Delivery delivery) : set_(set), delivery_(delivery) {}

psHashIterator::~psHashIterator() = default;

pstHandle<psCollection> psHashIterator::collection() { return set_; }

psHashSet* psHashIterator::openSet() {
  psHashSet* const set = set_.isNull() ? nullptr : set_.operator->();
  if (set != nullptr) followDirectory(*set);
  return set;
}

// Whatever the depth, an index names the same first bits.
void psHashIterator::followDirectory(const psHashSet& set) {
  const int depth = HashAccess::depth(set);
  if (depth == depth_) return;
  if (place_.directoryIndex > 0) {
    place_.directoryIndex =
        depth > depth_ ? place_.directoryIndex << (depth - depth_) : place_.directoryIndex >> (depth_ - depth);
  }
  ahead_.reset();
  depth_ = depth;
}

// The directory is asked each time, so that changes of the set are seen.
psHashIterator::Bucket psHashIterator::bucketAt(const psHashSet& set, int directoryIndex) {
  const pstRef<psHashBucket> named = ps::detail::bucketNamedAt(set, directoryIndex);
  if (named.isNull()) return Bucket();
  if (bucket_ == nullptr || bucket_->view().handle() != named || !bucket_->view().isCurrent()) {
    auto opened = std::make_unique<KeptBucket>(pstHandle<psHashBucket>(named));
    if (!opened->view().isOpen()) return Bucket();
    bucket_ = std::move(opened);
  }
  const int length = ps::detail::rangeLengthOf(set, *bucket_->view());
  const int first = directoryIndex & -length;
  return Bucket{bucket_.get(), first, first + length};
}

std::optional<psHashIterator::Place> psHashIterator::placeAfter(const psHashSet& set, const Place& place) {
  int slot = place.isGap || place.inChain >= 0 ? place.slot : place.slot + 1;
  int i = place.inChain + 1;
  const int end = ps::detail::directorySizeOf(set);
  for (int index = std::max(place.directoryIndex, 0); index < end; slot = 0, i = 0) {
    const Bucket bucket = bucketAt(set, index);
    if (bucket.kept == nullptr) return std::nullopt;
    const BucketView& view = bucket.kept->view();
    for (; slot < view.slots(); ++slot, i = 0) {
      if (view[slot].isNull()) continue;
      const SlotView& held = bucket.kept->slot(slot);
      if (!held.isOpen()) return std::nullopt;
      if (i < held.count()) return Place{bucket.first, slot, held.chain().isNull() ? -1 : i, held[i], false};
    }
    index = bucket.end;
  }
  return Place{end, -1, -1, pstRef<psObj>(), false};
}

std::optional<psHashIterator::Place> psHashIterator::placeBefore(const psHashSet& set, const Place& place) {
  const int end = ps::detail::directorySizeOf(set);
  const bool isAtEnd = place.directoryIndex >= end;
  int slot = isAtEnd ? noLimit : place.inChain > 0 ? place.slot : place.slot - 1;
  int limit = place.inChain > 0 ? place.inChain : noLimit;
  for (int index = isAtEnd ? end - 1 : place.directoryIndex; index >= 0; slot = noLimit, limit = noLimit) {
    const Bucket bucket = bucketAt(set, index);
    if (bucket.kept == nullptr) return std::nullopt;
    const BucketView& view = bucket.kept->view();
    for (slot = std::min(slot, view.slots() - 1); slot >= 0; --slot, limit = noLimit) {
      if (view[slot].isNull()) continue;
      const SlotView& held = bucket.kept->slot(slot);
      if (!held.isOpen()) return std::nullopt;
      const int i = std::min(limit, held.count()) - 1;
      if (i >= 0) return Place{bucket.first, slot, held.chain().isNull() ? -1 : i, held[i], false};
    }
    index = bucket.first - 1;
  }
  return Place();
}

bool psHashIterator::settle(const psHashSet& set) {
  if (!place_.isGap) return true;
  const std::optional<Place> before = placeBefore(set, place_);
  if (!before) return false;
  standAt(*before, before->isBeforeFirst() ? -1 : index_);
  return true;
}

void psHashIterator::standAt(const Place& place, int index) {
  place_ = place;
  index_ = index;
  ahead_.reset();
}

bool psHashIterator::standNowhere() {
  Place nowhere;
  nowhere.directoryIndex = Place::nowhere;
  standAt(nowhere, unknownIndex);
  return false;
}

pstRef<psObj> psHashIterator::storedAt(const psHashSet& set, const Place& place) {
  const Bucket bucket = bucketAt(set, place.directoryIndex);
  if (bucket.kept == nullptr || place.slot >= bucket.kept->view().slots()) return pstRef<psObj>();
  const SlotView& held = bucket.kept->slot(place.slot);
  const int i = std::max(place.inChain, 0);
  const bool isSameKind = held.chain().isNull() == (place.inChain < 0);
  return isSameKind && i < held.count() ? held[i] : pstRef<psObj>();
}

psHashIterator::Place psHashIterator::placeHere() {
  const psHashSet* const set = openSet();
  const bool isSettled = set != nullptr && settle(*set);
  Place here = place_;
  here.stored = isSettled ? storedAt(*set, place_) : pstRef<psObj>();
  return here;
}

// Behind the last element, and where the current one has gone, there is nothing to go on from.
std::optional<psHashIterator::Place> psHashIterator::placeAhead() {
  const psHashSet* const set = openSet();
  if (set == nullptr) return std::nullopt;
  const bool goesOn =
      !place_.isNowhere() && (place_.isBeforeFirst() || place_.isGap || !storedAt(*set, place_).isNull());
  return goesOn ? placeAfter(*set, place_) : std::nullopt;
}

pstRef<psObj>* psHashIterator::addressOfStored(const Place& place, psLockMode mode) {
  const psHashSet* const set = openSet();
  const Bucket bucket = set == nullptr ? Bucket() : bucketAt(*set, place.directoryIndex);
  if (bucket.kept == nullptr) return nullptr;
  const SlotView& held = bucket.kept->slot(place.slot);
  const int i = std::max(place.inChain, 0);
  if (i >= held.count()) return nullptr;
  if (mode != pscNoLock) {
    const bool isOpen = held.chain().isNull() ? BucketEdit(bucket.kept->view().handle()).isOpen()
                                              : ps::detail::openForUpdate(held.chain());
    if (!isOpen) return nullptr;
  }
  pin_.emplace(&held[i]);
  return const_cast<pstRef<psObj>*>(&held[i]);
}

pstRef<psObj>* psHashIterator::addressAt(const Place& place, psLockMode mode) {
  pin_.reset();
  if (place.stored.isNull()) return nullptr;
  if (delivery_ == Delivery::stored) return addressOfStored(place, mode);
  holder_ = place.stored;
  if (holder_.open(mode == pscNoLock ? pscRead : pscUpdate) != 1) return nullptr;
  const auto& entry = static_cast<const psHashMapEntry&>(*holder_);
  return const_cast<pstRef<psObj>*>(delivery_ == Delivery::keys ? &entry.key() : &entry.value());
}

std::optional<pstRef<psObj>> psHashIterator::deliveredAt(const Place& place, psLockMode mode) {
  if (place.stored.isNull() || (delivery_ == Delivery::stored && mode == pscNoLock)) return place.stored;
  const RefusalWatch watch;
  const pstRef<psObj>* const delivered = addressAt(place, mode);
  if (delivered != nullptr) return *delivered;
  const bool isGone = delivery_ != Delivery::stored && !watch.refused() && !place.stored.isValid();
  return isGone ? std::optional<pstRef<psObj>>(pstRef<psObj>()) : std::nullopt;
}

pstRef<psObj>* psHashIterator::currentP(psLockMode mode) {
  nothing_ = pstRef<psObj>();
  pstRef<psObj>* const reference = addressAt(placeHere(), mode);
  return reference != nullptr ? reference : &nothing_;
}

pstRef<psObj> psHashIterator::current(psLockMode mode) {
  const pstRef<psObj> delivered = *psHashIterator::currentP(mode);
  pin_.reset();
  return delivered;
}

pstRef<psObj> psHashIterator::valueHere() {
  const pstHandle<psHashMapEntry> entry(placeHere().stored);
  return !entry.isNull() && entry.open(pscRead) == 1 ? entry->value() : pstRef<psObj>();
}

int psHashIterator::replaceCurrent(const pstRef<psObj>& reference) {
  pstRef<psObj>* const current = addressAt(placeHere(), pscLockUpdate);
  if (current == nullptr) return 0;
  *current = reference;
  return 1;
}

int psHashIterator::moveInPlace(const pstHandle<psObj>& near) {
  pstRef<psObj>* const current = addressAt(placeHere(), pscLockUpdate);
  if (current == nullptr || current->isNull()) return 0;
  pstHandle<psObj> object(*current);
  if (object.move(near) != 1) return 0;
  *current = object;
  return 1;
}

int psHashIterator::countBefore(const psHashSet& set) {
  int count = 0;
  for (int index = 0; index < place_.directoryIndex;) {
    const std::optional<BucketRange> range = ps::detail::bucketAt(set, index);
    if (!range) return -1;
    count += range->bucket->size();
    index = range->end;
  }
  const Bucket bucket = bucketAt(set, place_.directoryIndex);
  if (bucket.kept == nullptr) return -1;
  for (int slot = 0; slot < place_.slot; ++slot) {
    const SlotView& held = bucket.kept->slot(slot);
    if (!held.isOpen()) return -1;
    count += held.count();
  }
  return count + std::max(place_.inChain, 0);
}

int psHashIterator::currentIndex() {
  const psHashSet* const set = index_ < -1 ? openSet() : nullptr;
  const int before = set != nullptr && settle(*set) && index_ < -1 ? countBefore(*set) : -1;
  if (before >= 0) index_ = before;
  return index_;
}

pstRef<psObj> psHashIterator::stepTo(const Place& place, int index, psLockMode mode) {
  const std::optional<pstRef<psObj>> delivered = deliveredAt(place, mode);
  if (!delivered) return pstRef<psObj>();
  standAt(place, index);
  return *delivered;
}

bool psHashIterator::hasNext() {
  ahead_ = placeAhead();
  if (!ahead_ || ahead_->stored.isNull()) return false;
  const bool isReadable = delivery_ == Delivery::stored || ps::detail::residentType(ahead_->stored.oid()) != 0;
  return isReadable || deliveredAt(*ahead_, pscNoLock);
}

pstRef<psObj> psHashIterator::next(psLockMode mode) {
  const psHashSet* const set = openSet();
  const bool isKnown =
      ahead_ && set != nullptr && !ahead_->stored.isNull() && storedAt(*set, *ahead_) == ahead_->stored;
  const std::optional<Place> after = isKnown ? ahead_ : placeAhead();
  return after ? stepTo(*after, indexAfter(1), mode) : pstRef<psObj>();
}

pstRef<psObj> psHashIterator::previous(psLockMode mode) {
  const psHashSet* const set = openSet();
  if (set == nullptr || !settle(*set) || place_.directoryIndex < 0) return pstRef<psObj>();
  const std::optional<Place> before = placeBefore(*set, place_);
  return before ? stepTo(*before, before->isBeforeFirst() ? -1 : indexAfter(-1), mode) : pstRef<psObj>();
}

std::optional<psHashIterator::Place> psHashIterator::placeOfIndex(const psHashSet& set, int i, int& size) {
  size = 0;
  Place place;
  const bool isBehindLast = ps::detail::visitBuckets(set, [&](const BucketRange& range) {
    const int after = size + range.bucket->size();
    if (i >= after) {
      size = after;
      return true;
    }
    place = Place{range.first, -1, -1, pstRef<psObj>(), false};
    return false;
  });
  if (isBehindLast) return Place{ps::detail::directorySizeOf(set), -1, -1, pstRef<psObj>(), false};
  if (place.isBeforeFirst()) return std::nullopt;
  std::optional<Place> found = place;
  for (int k = size; k <= i && found; ++k) {
    place = *found;
    found = placeAfter(set, place);
  }
  return found;
}

pstRef<psObj> psHashIterator::goToIndex(int i, psLockMode mode) {
  const psHashSet* const set = openSet();
  int size = 0;
  std::optional<Place> place;
  if (i < 0) place = Place();
  if (i >= 0 && set != nullptr) place = placeOfIndex(*set, i, size);
  const std::optional<pstRef<psObj>> delivered = place ? deliveredAt(*place, mode) : std::nullopt;
  if (!delivered) {
    standNowhere();
    return pstRef<psObj>();
  }
  standAt(*place, i < 0 ? -1 : place->stored.isNull() ? size : i);
  return *delivered;
}

template <class Matches>
std::optional<psHashIterator::Place> psHashIterator::scan(Matches matches, int& index) {
  const psHashSet* const set = openSet();
  if (set == nullptr) return std::nullopt;
  std::optional<Place> place = placeAfter(*set, Place());
  for (index = 0; place && !place->stored.isNull(); place = placeAfter(*set, *place), ++index) {
    const std::optional<pstRef<psObj>> delivered = deliveredAt(*place, pscNoLock);
    const std::optional<bool> isMatch = delivered ? matches(*delivered) : std::nullopt;
    if (!isMatch) return std::nullopt;
    if (*isMatch) break;
  }
  return place;
}

template <class Matches>
bool psHashIterator::goToMatch(Matches matches) {
  int index = 0;
  const std::optional<Place> place = scan(matches, index);
  if (!place) return standNowhere();
  standAt(*place, index);
  return !place->stored.isNull();
}

// A map is asked for its keys, or, where it delivers values, for values.
bool psHashIterator::scanFor(KeyProbe& probe) {
  if (probe.failed()) return standNowhere();
  const psHashSet* const set = openSet();
  const bool isEntry = delivery_ == Delivery::stored && set != nullptr && ps::detail::holdsEntries(*set);
  return goToMatch([&](const pstRef<psObj>& delivered) -> std::optional<bool> {
    const pstRef<psObj> element = ps::detail::keyOf(delivered, isEntry);
    const bool isMatch = !element.isNull() && probe.equal(element);
    return probe.failed() ? std::nullopt : std::optional<bool>(isMatch);
  });
}

bool psHashIterator::goTo(const void* key) {
  const psHashSet* const set = openSet();
  RawProbe probe(key, {set != nullptr ? set->comparator() : pstRef<psCompare>()});
  return scanFor(probe);
}

// The comparator understands keys, but values need not be like them.
bool psHashIterator::goTo(const pstHandle<psObj>& element) {
  if (delivery_ == Delivery::values) {
    return goToMatch([&](const pstRef<psObj>& value) { return std::optional<bool>(value == element); });
  }
  const psHashSet* const set = openSet();
  if (set == nullptr) return standNowhere();
  const pstHandle<psObj> key = ps::detail::holdsEntries(*set) ? ps::detail::keyFor(element) : element;
  HandleProbe probe(key, *set);
  return scanFor(probe);
}

bool psHashIterator::goTo(unsigned int, int (*compare)(unsigned int, unsigned int)) {
  CallbackProbe probe(compare);
  return scanFor(probe);
}

bool psHashIterator::goTo(unsigned int, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
  JavaProbe probe(key, callee, env);
  return scanFor(probe);
}

psHashIterator::Place psHashIterator::placeAfterRemoval(int directoryIndex, int slot, int index, bool endedChain) {
  return Place{directoryIndex, slot, index == 0 || endedChain ? -1 : index - 1, pstRef<psObj>(), index == 0};
}

int psHashIterator::remove() {
  const psHashSet* const set = openSet();
  const Place here = placeHere();
  if (set == nullptr || here.stored.isNull()) return 0;
  const Bucket bucket = bucketAt(*set, here.directoryIndex);
  const int index = std::max(here.inChain, 0);
  bool endedChain = false;
  if (bucket.kept == nullptr ||
      !ps::detail::removeStored(*set, bucket.kept->view().handle(), here.slot, index, &endedChain)) {
    return 0;
  }
  standAt(placeAfterRemoval(here.directoryIndex, here.slot, index, endedChain), indexAfter(-1));
  return 1;
}

int psHashIterator::moveCurrentTo(const pstHandle<psObj>& near) {
  psHashSet* const set = openSet();
  const Place here = placeHere();
  if (set == nullptr || here.stored.isNull()) return 0;
  // Entries are the map's own.
  if (delivery_ == Delivery::stored && ps::detail::holdsEntries(*set)) return 0;
  const std::optional<pstRef<psObj>> element = deliveredAt(here, pscNoLock);
  if (!element) return 0;
  const pstHandle<psObj> old(*element);
  const auto followed = [&](const psId& moved) { return follow(*set, here, old, pstHandle<psObj>(moved)); };
  return ps::detail::moveObject(old.oid(), near.oid(), followed).isNull() ? 0 : 1;
}

bool psHashIterator::follow(psHashSet& set, const Place& here, const pstHandle<psObj>& old,
                            const pstHandle<psObj>& moved) {
  HandleProbe probe(moved, set);
  const std::uint32_t hash = probe.failed() ? 0 : probe.hash();
  if (probe.failed()) return false;
  const std::optional<HashPosition> position = ps::detail::placeOf(set, hash);
  if (!position) return false;
  const Bucket bucket = bucketAt(set, here.directoryIndex);
  if (bucket.kept == nullptr) return false;
  if (position->bucket() != bucket.kept->view().handle() || position->slot != here.slot) {
    return placeAnew(set, old, probe, moved);
  }
  pstRef<psObj>* const reference = addressAt(here, pscLockUpdate);
  if (reference == nullptr) return false;
  *reference = moved;
  return true;
}

// Splits for the new element come first, since they may move the old one.
bool psHashIterator::placeAnew(psHashSet& set, const pstHandle<psObj>& old, KeyProbe& probe,
                               const pstRef<psObj>& moved) {
  std::optional<HashPosition> to = ps::detail::makeRoom(set, probe, probe.hash());
  HandleProbe oldProbe(old, set);
  const std::optional<HashPosition> from = ps::detail::locate(set, oldProbe);
  if (!to || !ps::detail::findMatch(set, probe, *to) || to->isMatch() || !from || !from->isMatch()) return false;
  ps::detail::StoredMove move;
  if (!move.plan(set, *from, *to, moved) || !move.carryOut()) return false;
  followDirectory(set);
  standAt(placeAfterRemoval(from->range.first, from->slot, from->index, move.endsChain()), unknownIndex);
  return true;
}
