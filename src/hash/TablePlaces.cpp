#include "hash/TablePlaces.h"

#include <algorithm>
#include <limits>

#include "hash/HashGrowth.h"
#include "hash/SlotChange.h"
#include "store/session/SeveralWriters.h"

namespace ps::detail {

namespace {

constexpr int noLimit = std::numeric_limits<int>::max();

// Says that the buckets are about to be opened that follow an index.
void announceBuckets(const psHashSet& set, int directoryIndex) {
  const pstRef<psHashBucket>* const directory = HashAccess::directory(set).head();
  if (directory != nullptr) announceOpening(directory + directoryIndex, directorySizeOf(set) - directoryIndex);
}

}  // namespace

TablePlace TablePlace::afterRemoval(int directoryIndex, int slot, int index, bool endedChain) {
  return TablePlace{directoryIndex, slot, index == 0 || endedChain ? -1 : index - 1, pstRef<psObj>(), index == 0};
}

TablePlaces::Bucket TablePlaces::bucketAt(const psHashSet& set, int directoryIndex) {
  if (bucket_ && bucketTime_ == changeStamp() && directoryIndex >= first_ && directoryIndex < end_) {
    return Bucket{&*bucket_, first_, end_};
  }
  const pstRef<psHashBucket> named = bucketNamedAt(set, directoryIndex);
  if (named.isNull()) return Bucket();
  if (residentType(named.oid()) == 0) announceBuckets(set, directoryIndex);
  if (!bucket_ || bucket_->view().handle() != named || !bucket_->view().isCurrent()) {
    bucket_.emplace(pstHandle<psHashBucket>(named));
    if (!bucket_->view().isOpen()) {
      bucket_.reset();
      return Bucket();
    }
  }
  const int length = rangeLengthOf(set, *bucket_->view());
  first_ = directoryIndex & -length;
  end_ = first_ + length;
  bucketTime_ = changeStamp();
  return Bucket{&*bucket_, first_, end_};
}

std::optional<TablePlace> TablePlaces::after(const psHashSet& set, const TablePlace& place) {
  int slot = place.isGap || place.inChain >= 0 ? place.slot : place.slot + 1;
  int i = place.inChain + 1;
  const int end = directorySizeOf(set);
  for (int index = std::max(place.directoryIndex, 0); index < end; slot = 0, i = 0) {
    const Bucket bucket = bucketAt(set, index);
    if (bucket.kept == nullptr) return std::nullopt;
    const BucketView& view = bucket.kept->view();
    for (; slot < view.slots(); ++slot, i = 0) {
      if (view[slot].isNull()) continue;
      const SlotView& held = bucket.kept->slot(slot);
      if (!held.isOpen()) return std::nullopt;
      if (i < held.count()) return TablePlace{bucket.first, slot, held.chain().isNull() ? -1 : i, held[i], false};
    }
    index = bucket.end;
  }
  return TablePlace::end(end);
}

std::optional<TablePlace> TablePlaces::before(const psHashSet& set, const TablePlace& place) {
  const int end = directorySizeOf(set);
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
      if (i >= 0) return TablePlace{bucket.first, slot, held.chain().isNull() ? -1 : i, held[i], false};
    }
    index = bucket.first - 1;
  }
  return TablePlace();
}

std::optional<TablePlace> TablePlaces::ofIndex(const psHashSet& set, int i, int& size) {
  size = 0;
  TablePlace place;
  const bool isBehindLast = visitBuckets(set, [&](const BucketRange& range) {
    const int sizeWithBucket = size + range.bucket->size();
    if (i >= sizeWithBucket) {
      size = sizeWithBucket;
      return true;
    }
    place = TablePlace{range.first, -1, -1, pstRef<psObj>(), false};
    return false;
  });
  if (isBehindLast) return TablePlace::end(directorySizeOf(set));
  if (place.isBeforeFirst()) return std::nullopt;
  std::optional<TablePlace> found = place;
  for (int k = size; k <= i && found; ++k) {
    place = *found;
    found = after(set, place);
  }
  return found;
}

int TablePlaces::countBefore(const psHashSet& set, const TablePlace& place) {
  int count = 0;
  for (int index = 0; index < place.directoryIndex;) {
    const std::optional<BucketRange> range = ps::detail::bucketAt(set, index);
    if (!range) return -1;
    count += range->bucket->size();
    index = range->end;
  }
  const Bucket bucket = bucketAt(set, place.directoryIndex);
  if (bucket.kept == nullptr) return -1;
  for (int slot = 0; slot < place.slot; ++slot) {
    const SlotView& held = bucket.kept->slot(slot);
    if (!held.isOpen()) return -1;
    count += held.count();
  }
  return count + place.indexInSlot();
}

pstRef<psObj> TablePlaces::storedAt(const psHashSet& set, const TablePlace& place) {
  const Bucket bucket = bucketAt(set, place.directoryIndex);
  if (bucket.kept == nullptr || place.slot >= bucket.kept->view().slots()) return pstRef<psObj>();
  const SlotView& held = bucket.kept->slot(place.slot);
  const int i = place.indexInSlot();
  const bool isSameKind = held.chain().isNull() == (place.inChain < 0);
  return isSameKind && i < held.count() ? held[i] : pstRef<psObj>();
}

const pstRef<psObj>* TablePlaces::addressAt(const psHashSet& set, const TablePlace& place, psLockMode mode) {
  const Bucket bucket = bucketAt(set, place.directoryIndex);
  if (bucket.kept == nullptr) return nullptr;
  const SlotView& held = bucket.kept->slot(place.slot);
  const int i = place.indexInSlot();
  if (i >= held.count()) return nullptr;
  if (mode != pscNoLock) {
    const bool isOpen =
        held.chain().isNull() ? BucketEdit(bucket.kept->view().handle()).isOpen() : openForUpdate(held.chain());
    if (!isOpen) return nullptr;
  }
  return &held[i];
}

}  // namespace ps::detail
