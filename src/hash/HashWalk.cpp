#include "hash/HashWalk.h"

#include <functional>
#include <utility>

#include "core/RefusalWatch.h"
#include "hash/HashGrowth.h"
#include "hash/HashTable.h"
#include "hash/StoredMove.h"
#include "store/base/NothingThrown.h"
#include "store/session/Relocation.h"

namespace ps::detail {

namespace {

constexpr int unknownIndex = -2;

}  // namespace

HashWalk& HashWalk::operator=(const HashWalk& other) {
  if (set_ != other.set_) places_.forget();
  set_ = other.set_;
  delivery_ = other.delivery_;
  place_ = other.place_;
  index_ = other.index_;
  depth_ = other.depth_;
  seen_ = other.seen_;
  ahead_.reset();
  holder_ = pstHandle<psHashMapEntry>();
  pin_.reset();
  isChecking_ = other.isChecking_;
  check_ = other.check_;
  return *this;
}

psHashSet* HashWalk::openSet() {
  psHashSet* const set = set_.isNull() ? nullptr : set_.operator->();
  if (set == nullptr) return nullptr;
  followDirectory(*set);
  if (isChecking_) checkHere(*set);
  return set;
}

// Whatever the depth, an index names the same first bits.
void HashWalk::followDirectory(const psHashSet& set) {
  const int depth = HashAccess::depth(set);
  if (depth == depth_) return;
  if (place_.directoryIndex > 0) {
    place_.directoryIndex =
        depth > depth_ ? place_.directoryIndex << (depth - depth_) : place_.directoryIndex >> (depth_ - depth);
  }
  ahead_.reset();
  depth_ = depth;
}

bool HashWalk::settle(const psHashSet& set) {
  if (!place_.isGap) return true;
  const std::optional<TablePlace> before = places_.before(set, place_);
  if (!before) return false;
  standAt(*before, before->isBeforeFirst() ? -1 : index_);
  return true;
}

void HashWalk::standAt(const TablePlace& place, int index) {
  place_ = place;
  index_ = index;
  seen_ = changeStamp();
  ahead_.reset();
  if (isChecking_) noteHere();
}

bool HashWalk::standOn(const HashPosition& position) {
  if (!position.isMatch()) {
    standAt(TablePlace::end(directorySizeOf(*openSet())), unknownIndex);
    return false;
  }
  const bool isInChain = !SlotView(BucketView(position.bucket()), position.slot).chain().isNull();
  standAt({position.range.first, position.slot, isInChain ? position.index : -1, position.stored, false}, unknownIndex);
  return true;
}

bool HashWalk::goBeforeFirst() {
  if (openSet() == nullptr) return lose();
  standAt(TablePlace(), -1);
  return true;
}

bool HashWalk::goBehindLast() {
  const psHashSet* const set = openSet();
  if (set == nullptr) return lose();
  standAt(TablePlace::end(directorySizeOf(*set)), unknownIndex);
  return true;
}

bool HashWalk::standsOn(const pstRef<psObj>& element) {
  if (PS_LIKELY(seen_ == changeStamp())) return true;
  if (current(pscNoLock) != element) return false;
  seen_ = changeStamp();
  return true;
}

bool HashWalk::lose() {
  TablePlace nowhere;
  nowhere.directoryIndex = TablePlace::nowhere;
  standAt(nowhere, unknownIndex);
  return false;
}

void HashWalk::checkHere(const psHashSet& set) {
  if (place_.stored.isNull()) return;
  const RefusalWatch watch;
  const pstRef<psObj> stored = places_.storedAt(set, place_);
  const TablePlaces::Bucket bucket = places_.bucketAt(set, place_.directoryIndex);
  if (bucket.kept == nullptr || watch.metAny()) return;
  check_.compare({bucket.kept->view().handle(), place_.slot, bucket.kept->view()->size(), stored});
}

// The walk may have made a change already, which must not seem to have failed.
void HashWalk::noteHere() {
  const NothingThrown here;
  check_.forget();
  const psHashSet* const set = place_.stored.isNull() ? nullptr : set_.operator->();
  if (set == nullptr) return;
  const TablePlaces::Bucket bucket = places_.bucketAt(*set, place_.directoryIndex);
  if (bucket.kept == nullptr) return;
  check_.note({bucket.kept->view().handle(), place_.slot, bucket.kept->view()->size(), place_.stored});
}

TablePlace HashWalk::placeHere() {
  const psHashSet* const set = openSet();
  const bool isSettled = set != nullptr && settle(*set);
  TablePlace here = place_;
  here.stored = isSettled ? places_.storedAt(*set, place_) : pstRef<psObj>();
  return here;
}

// After the last element, and where the current one is gone, there is nothing to go on from.
std::optional<TablePlace> HashWalk::placeAhead() {
  const psHashSet* const set = openSet();
  if (set == nullptr) return std::nullopt;
  const bool goesOn =
      !place_.isNowhere() && (place_.isBeforeFirst() || place_.isGap || !places_.storedAt(*set, place_).isNull());
  return goesOn ? places_.after(*set, place_) : std::nullopt;
}

pstRef<psObj>* HashWalk::addressAt(const TablePlace& place, psLockMode mode) {
  pin_.reset();
  if (place.stored.isNull()) return nullptr;
  if (delivery_ == Delivery::stored) {
    const psHashSet* const set = openSet();
    const pstRef<psObj>* const stored = set != nullptr ? places_.addressAt(*set, place, mode) : nullptr;
    if (stored == nullptr) return nullptr;
    if (mode != pscNoLock) check_.forget();
    pin_.emplace(stored);
    return const_cast<pstRef<psObj>*>(stored);
  }
  holder_ = place.stored;
  if (holder_.open(mode == pscNoLock ? pscRead : pscUpdate) != 1) return nullptr;
  const auto& entry = std::as_const(*holder_);
  return const_cast<pstRef<psObj>*>(delivery_ == Delivery::keys ? &entry.key() : &entry.value());
}

std::optional<pstRef<psObj>> HashWalk::deliveredAt(const TablePlace& place, psLockMode mode) {
  if (place.stored.isNull() || (delivery_ == Delivery::stored && mode == pscNoLock)) return place.stored;
  const RefusalWatch watch;
  const pstRef<psObj>* const delivered = addressAt(place, mode);
  if (delivered != nullptr) return *delivered;
  const bool isGone = delivery_ != Delivery::stored && !watch.refused() && !place.stored.isValid();
  return isGone ? std::optional<pstRef<psObj>>(pstRef<psObj>()) : std::nullopt;
}

pstRef<psObj> HashWalk::current(psLockMode mode) {
  const pstRef<psObj>* const address = currentAddress(mode);
  const pstRef<psObj> delivered = address != nullptr ? *address : pstRef<psObj>();
  pin_.reset();
  return delivered;
}

pstRef<psObj> HashWalk::valueHere() {
  const pstHandle<psHashMapEntry> entry(placeHere().stored);
  return !entry.isNull() && entry.open(pscRead) == 1 ? entry->value() : pstRef<psObj>();
}

int HashWalk::currentIndex() {
  const psHashSet* const set = index_ < -1 ? openSet() : nullptr;
  const int before = set != nullptr && settle(*set) && index_ < -1 ? places_.countBefore(*set, place_) : -1;
  if (before >= 0) index_ = before;
  return index_;
}

pstRef<psObj> HashWalk::stepTo(const TablePlace& place, int index, psLockMode mode) {
  const std::optional<pstRef<psObj>> delivered = deliveredAt(place, mode);
  if (!delivered) return pstRef<psObj>();
  standAt(place, index);
  return *delivered;
}

bool HashWalk::hasNext() {
  ahead_ = placeAhead();
  if (!ahead_ || ahead_->stored.isNull()) return false;
  const bool isReadable = delivery_ == Delivery::stored || residentType(ahead_->stored.oid()) != 0;
  return isReadable || deliveredAt(*ahead_, pscNoLock);
}

pstRef<psObj> HashWalk::next(psLockMode mode) {
  const psHashSet* const set = openSet();
  const bool isKnown =
      ahead_ && set != nullptr && !ahead_->stored.isNull() && places_.storedAt(*set, *ahead_) == ahead_->stored;
  const std::optional<TablePlace> after = isKnown ? ahead_ : placeAhead();
  return after ? stepTo(*after, indexAfter(1), mode) : pstRef<psObj>();
}

pstRef<psObj> HashWalk::previous(psLockMode mode) {
  const psHashSet* const set = openSet();
  if (set == nullptr || !settle(*set) || place_.directoryIndex < 0) return pstRef<psObj>();
  const std::optional<TablePlace> before = places_.before(*set, place_);
  return before ? stepTo(*before, before->isBeforeFirst() ? -1 : indexAfter(-1), mode) : pstRef<psObj>();
}

pstRef<psObj> HashWalk::goToIndex(int i, psLockMode mode) {
  Search<HashWalk> search(*this);
  check_.forget();
  const psHashSet* const set = openSet();
  int size = 0;
  std::optional<TablePlace> place;
  if (i < 0) place = TablePlace();
  if (i >= 0 && set != nullptr) place = places_.ofIndex(*set, i, size);
  const std::optional<pstRef<psObj>> delivered = place ? deliveredAt(*place, mode) : std::nullopt;
  if (!delivered) return pstRef<psObj>();
  search.end(true);
  standAt(*place, i < 0 ? -1 : place->stored.isNull() ? size : i);
  return *delivered;
}

template <class Matches>
bool HashWalk::goToMatch(const psHashSet& set, Matches matches, Search<HashWalk>& search) {
  int index = 0;
  std::optional<TablePlace> place = places_.after(set, TablePlace());
  for (; place && !place->stored.isNull(); place = places_.after(set, *place), ++index) {
    const std::optional<pstRef<psObj>> delivered = deliveredAt(*place, pscNoLock);
    const std::optional<bool> isMatch = delivered ? matches(*delivered) : std::nullopt;
    if (!isMatch) return false;
    if (*isMatch) break;
  }
  if (!place) return false;
  standAt(*place, index);
  return search.end(!place->stored.isNull());
}

bool HashWalk::scanFor(const psHashSet& set, KeyProbe& probe, Search<HashWalk>& search) {
  const bool isEntry = delivery_ == Delivery::stored && holdsEntries(set);
  const auto matches = [&](const pstRef<psObj>& delivered) -> std::optional<bool> {
    const pstRef<psObj> element = keyOf(delivered, isEntry);
    const bool isMatch = !element.isNull() && probe.equal(element);
    return probe.failed() ? std::nullopt : std::optional<bool>(isMatch);
  };
  return goToMatch(set, matches, search);
}

bool HashWalk::goToObject(const pstHandle<psObj>& object) {
  if (delivery_ == Delivery::values) {
    Search<HashWalk> search(*this);
    check_.forget();
    const psHashSet* const set = openSet();
    const auto matches = [&](const pstRef<psObj>& value) { return std::optional<bool>(value == object); };
    return set != nullptr && goToMatch(*set, matches, search);
  }
  pstHandle<psObj> key = object;
  return goTo([&](const psHashSet& set) {
    if (holdsEntries(set)) key = keyFor(object);
    return HandleProbe(key, set);
  });
}

int HashWalk::remove() {
  const psHashSet* const set = openSet();
  const TablePlace here = placeHere();
  if (set == nullptr || here.stored.isNull()) return 0;
  const TablePlaces::Bucket bucket = places_.bucketAt(*set, here.directoryIndex);
  const int index = here.indexInSlot();
  bool endedChain = false;
  if (bucket.kept == nullptr || !removeStored(*set, bucket.kept->view().handle(), here.slot, index, &endedChain)) {
    return 0;
  }
  standAt(TablePlace::afterRemoval(here.directoryIndex, here.slot, index, endedChain), indexAfter(-1));
  return 1;
}

int HashWalk::moveCurrentTo(const pstHandle<psObj>& near) {
  psHashSet* const set = openSet();
  const TablePlace here = placeHere();
  if (set == nullptr || here.stored.isNull()) return 0;
  // Entries are the map's own.
  if (delivery_ == Delivery::stored && holdsEntries(*set)) return 0;
  const std::optional<pstRef<psObj>> element = deliveredAt(here, pscNoLock);
  if (!element) return 0;
  const pstHandle<psObj> old(*element);
  const auto followed = [&](const psId& moved) { return follow(*set, here, old, pstHandle<psObj>(moved)); };
  return moveObject(old.oid(), near.oid(), std::cref(followed)).isNull() ? 0 : 1;
}

bool HashWalk::follow(psHashSet& set, const TablePlace& here, const pstHandle<psObj>& old,
                      const pstHandle<psObj>& moved) {
  HandleProbe probe(moved, set);
  const std::uint32_t hash = probe.failed() ? 0 : probe.hash();
  if (probe.failed()) return false;
  const std::optional<HashPosition> position = positionOf(set, hash);
  if (!position) return false;
  const TablePlaces::Bucket bucket = places_.bucketAt(set, here.directoryIndex);
  if (bucket.kept == nullptr) return false;
  if (position->bucket() != bucket.kept->view().handle() || position->slot != here.slot) {
    return reinsert(set, old, probe, moved);
  }
  pstRef<psObj>* const reference = addressAt(here, pscLockUpdate);
  if (reference == nullptr) return false;
  *reference = moved;
  return true;
}

// Splits for the new element come first, since they may move the old one.
bool HashWalk::reinsert(psHashSet& set, const pstHandle<psObj>& old, KeyProbe& probe, const pstRef<psObj>& moved) {
  check_.forget();
  std::optional<HashPosition> to = HashGrowth(set).makeRoom(probe, probe.hash());
  HandleProbe oldProbe(old, set);
  const std::optional<HashPosition> from = locate(set, oldProbe);
  if (!to || !findMatch(set, probe, *to) || to->isMatch() || !from || !from->isMatch()) return false;
  StoredMove move;
  if (!move.plan(set, *from, *to, moved) || !move.carryOut()) return false;
  followDirectory(set);
  standAt(TablePlace::afterRemoval(from->range.first, from->slot, from->index, move.endsChain()), unknownIndex);
  return true;
}

}  // namespace ps::detail
