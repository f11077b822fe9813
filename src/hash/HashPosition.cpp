#include "hash/HashPosition.h"

#include "hash/psHashMap.h"
#include "hash/psHashMapEntry.h"
#include "store/base/IdText.h"
#include "store/session/SeveralWriters.h"

namespace ps::detail {

namespace {

// For checked builds: reports an element that is equal to what was not found in its slot. Of the bucket, since what
// lies in another is not read for it.
void checkHashes(const psHashSet& table, KeyProbe& probe, const HashPosition& position, const BucketView& bucket) {
  constexpr int mostLookedAt = 16;
  int lookedAt = 0;
  for (int i = 0; i < bucket.slots() && lookedAt < mostLookedAt && !probe.failed(); ++i) {
    if (i == position.slot || bucket[i].isNull()) continue;
    const SlotView slot(bucket, i);
    const pstRef<psObj> key = slot.count() > 0 ? keyOf(slot[0], holdsEntries(table)) : pstRef<psObj>();
    ++lookedAt;
    if (key.isNull() || !probe.equal(key) || probe.failed()) continue;
    reportMisuse(textOf(table.psOid()) + " holds " + textOf(key) +
                 ", which is equal to what is looked for but has another hash; equal elements must hash equal, and "
                 "keep their hash while they are stored");
  }
}

}  // namespace

int directoryIndexOf(const psHashSet& table, std::uint32_t hash) {
  const int depth = HashAccess::depth(table);
  return depth <= 0 ? 0 : static_cast<int>(hash >> (32 - depth));
}

bool holdsEntries(const psHashSet& table) { return table.psIsKindOf(psHashMap::pstTypeN); }

pstRef<psObj> keyOf(const pstRef<psObj>& stored, bool isEntry) {
  if (!isEntry) return stored;
  const pstHandle<psHashMapEntry> entry(stored);
  return entry.open(pscRead) == 1 ? entry->key() : pstRef<psObj>();
}

bool isEntry(const pstHandle<psObj>& object) { return ptmIsKindOf(object.typeN(), psHashMapEntry::pstTypeN) != 0; }

pstHandle<psObj> keyFor(const pstHandle<psObj>& keyOrEntry) { return keyOf(keyOrEntry, isEntry(keyOrEntry)); }

std::optional<BucketRange> bucketAt(const psHashSet& table, int directoryIndex) {
  BucketRange range;
  range.bucket = bucketNamedAt(table, directoryIndex);
  if (range.bucket.isNull() || range.bucket.open(pscRead) != 1) return std::nullopt;
  const int length = rangeLengthOf(table, *range.bucket);
  range.first = directoryIndex & -length;
  range.end = range.first + length;
  return range;
}

std::optional<HashPosition> positionOf(const psHashSet& table, std::uint32_t hash) {
  HashPosition position;
  position.hash = hash;
  position.slot = slotOf(table, hash);
  const int directoryIndex = directoryIndexOf(table, hash);
  prefetchWithStorage(bucketNamedAt(table, directoryIndex).oid(),
                      sizeof(psId) * static_cast<std::size_t>(position.slot), sizeof(psId));
  const std::optional<BucketRange> range = bucketAt(table, directoryIndex);
  if (!range) return std::nullopt;
  position.range = *range;
  return position;
}

bool findMatch(const psHashSet& table, KeyProbe& probe, HashPosition& position) {
  const BucketView bucket(position.bucket());
  if (position.slot >= bucket.slots()) return false;
  const SlotView slot(bucket, position.slot);
  if (!slot.isOpen()) return false;
  const bool isEntry = slot.count() > 0 && holdsEntries(table);
  if (slot.count() > 1) announceOpening(&slot[0], slot.count());
  for (int i = 0; i < slot.count(); ++i) {
    const pstRef<psObj> key = keyOf(slot[i], isEntry);
    const bool isMatch = !key.isNull() && probe.equal(key);
    if (probe.failed()) return false;
    if (!isMatch) continue;
    position.index = i;
    position.stored = slot[i];
    return true;
  }
  if (!isChecked) return true;
  checkHashes(table, probe, position, bucket);
  return !probe.failed();
}

std::optional<HashPosition> locate(const psHashSet& table, KeyProbe& probe) {
  if (probe.failed()) return std::nullopt;
  const std::uint32_t hash = probe.hash();
  if (probe.failed()) return std::nullopt;
  std::optional<HashPosition> position = positionOf(table, hash);
  if (!position || !findMatch(table, probe, *position)) return std::nullopt;
  return position;
}

int sizeOf(const psHashSet& table) {
  int size = 0;
  const bool isWhole = visitBuckets(table, [&](const BucketRange& range) {
    size += range.bucket->size();
    return true;
  });
  return isWhole ? size : -1;
}

}  // namespace ps::detail
