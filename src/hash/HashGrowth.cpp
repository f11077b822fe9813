#include "hash/HashGrowth.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "hash/SlotChange.h"
#include "hash/psHashMapEntry.h"
#include "store/base/MemoryGuard.h"

namespace ps::detail {

namespace {

// Up to this depth a directory may be out of proportion to its table.
constexpr int everydayDepth = 10;

// Number of elements from which a bucket counts as full.
int fullMarkOf(const psHashSet& table) {
  return static_cast<int>(std::ceil(0.9 * static_cast<double>(HashAccess::slotsPerBucket(table))));
}

struct Stored {
  pstRef<psObj> reference;
  std::uint32_t hash = 0;
  pstHandle<psHashMapEntry> entry;  // in a map, once it is known to move: open for update
};

// A slot that holds something.
struct UsedSlot {
  int slot = 0;
  pstHandle<psHashChain> chain;
  std::vector<Stored> stored;
};

// What a bucket is to hold after the split.
struct Contents {
  std::vector<pstRef<psObj>> slots;
  int chained = 0;
  int unchained = 0;
};

// The split of a bucket: what has a 0 as its next bit goes to a new bucket, which takes over the lower half of the
// directory's range; the rest stays.
class BucketSplit {
 public:
  BucketSplit(psHashSet& table, const BucketRange& range)
      : table_(table), range_(range), bucket_(range.bucket), newDepth_(HashAccess::depth(*bucket_) + 1) {}

  // Hashes what the bucket holds. False when that fails.
  bool read(KeyProbe& probe);
  // How many first bits divide the hashes of all that the bucket holds, and of the additions, into two groups; 33 when
  // all are equal.
  int bitsToDivide(const Additions& added) const;
  // False, with nothing changed, when something is refused.
  bool split();

 private:
  bool readSlots();
  bool openWhatChanges();
  bool createBucket();
  void giveContainerBack();
  bool moveEntries();
  bool fillSlots();
  bool fillSlot(const pstHandle<psHashBucket>& bucket, int slot, const std::vector<pstRef<psObj>>& held,
                const pstHandle<psHashChain>& chain, Contents& contents);
  void carryOut();

  bool moves(const Stored& stored) const { return (stored.hash >> (32 - newDepth_) & 1U) == 0; }

  psHashSet& table_;
  BucketRange range_;
  BucketView bucket_;
  int newDepth_;
  std::vector<UsedSlot> used_;

  Provisional created_;
  pstHandle<psContObj> newContainer_;  // begun for the new bucket; null when that goes where others are
  pstHandle<psHashBucket> newBucket_;
  std::optional<BucketEdit> edit_;
  std::vector<pstHandle<psObj>> replaced_;  // open for update, to be deleted
  Contents staying_;
  Contents moving_;
};

// The elements are prefetched while the slots are read: a table that grows has not used most of them for long.
bool BucketSplit::readSlots() {
  for (int i = 0; i < bucket_.slots(); ++i) {
    const SlotView slot(bucket_, i);
    if (!slot.isOpen()) return false;
    if (slot.count() == 0) continue;
    UsedSlot& used = used_.emplace_back();
    used.slot = i;
    used.chain = slot.chain();
    for (int k = 0; k < slot.count(); ++k) {
      used.stored.push_back({slot[k], 0, {}});
      prefetchObject(slot[k].oid());
    }
  }
  return true;
}

bool BucketSplit::read(KeyProbe& probe) {
  if (!guardMemory(false, [&] { return readSlots(); })) return false;
  const bool isEntry = holdsEntries(table_);
  for (UsedSlot& used : used_) {
    for (Stored& stored : used.stored) {
      stored.hash = probe.hashOf(keyOf(stored.reference, isEntry));
      if (probe.failed()) return false;
    }
  }
  return bucket_.isOpen();
}

// The bits before are those that led to this bucket.
int BucketSplit::bitsToDivide(const Additions& added) const {
  if (used_.empty() && added.isEmpty()) return 33;
  const std::uint32_t first = added.isEmpty() ? used_.front().stored.front().hash : added.first->hash;
  std::uint32_t differing = added.isEmpty() ? 0 : first ^ added.end[-1].hash;
  for (const UsedSlot& used : used_) {
    for (const Stored& stored : used.stored) differing |= stored.hash ^ first;
  }
  int bits = newDepth_;
  while (bits <= 32 && (differing >> (32 - bits) & 1U) == 0) ++bits;
  return bits;
}

// Of all that can be refused, the container for the new bucket is asked for last.
bool BucketSplit::split() {
  const bool isReady =
      openWhatChanges() && createBucket() && guardMemory(false, [&] { return moveEntries() && fillSlots(); });
  isReady ? carryOut() : giveContainerBack();
  return isReady;
}

bool BucketSplit::openWhatChanges() {
  if (HashAccess::directory(table_).update() != 1 || !edit_.emplace(range_.bucket).isOpen()) return false;
  const bool isEntry = holdsEntries(table_);
  for (UsedSlot& used : used_) {
    if (!used.chain.isNull() && used.chain.open(pscUpdate) != 1) return false;
    if (!isEntry) continue;
    for (Stored& stored : used.stored) {
      if (!moves(stored) || !stored.reference.isValid()) continue;
      stored.entry = stored.reference;
      if (stored.entry.open(pscUpdate) != 1) return false;
    }
  }
  return true;
}

bool BucketSplit::createBucket() {
  const pstHandle<psHashAdmin> admin(table_.admin());
  if (admin.open(pscRead) != 1) return false;
  const pstRef<psContObj> current = admin->bucketContainer();
  const pstRef<psContObj> container = admin->provideBucketContainer();
  if (container.isNull()) return false;
  if (container != current) newContainer_ = container;
  newBucket_ = created_.add(new (container) psHashBucket(newDepth_, bucket_.slots()));
  return BucketView(newBucket_).isOpen();
}

// When the store had no room for everything, the container would be left empty: the next bucket goes into it.
void BucketSplit::giveContainerBack() {
  if (newContainer_.isNull()) return;
  const pstHandle<psHashAdmin> admin(table_.admin());
  admin->bucketContainer(newContainer_);
}

// Entries lie in their bucket's container. To leave it they must become new objects.
bool BucketSplit::moveEntries() {
  if (newBucket_.containedIn() == range_.bucket.containedIn()) return true;
  for (UsedSlot& used : used_) {
    for (Stored& stored : used.stored) {
      if (stored.entry.isNull()) continue;
      const psHashMapEntry& old = *stored.entry;
      stored.reference = created_.add(new (newBucket_) psHashMapEntry(old.key(), old.value()));
      if (stored.reference.isNull()) return false;
      replaced_.push_back(stored.entry);
    }
  }
  return true;
}

bool BucketSplit::fillSlots() {
  staying_.slots.resize(static_cast<std::size_t>(bucket_.slots()));
  moving_.slots.resize(static_cast<std::size_t>(bucket_.slots()));
  for (const UsedSlot& used : used_) {
    std::vector<pstRef<psObj>> stay;
    std::vector<pstRef<psObj>> move;
    for (const Stored& stored : used.stored) (moves(stored) ? move : stay).push_back(stored.reference);
    const bool keepsChain = move.empty();
    if (!keepsChain && !used.chain.isNull()) replaced_.push_back(used.chain);
    if (!fillSlot(range_.bucket, used.slot, stay, keepsChain ? used.chain : pstHandle<psHashChain>(), staying_) ||
        !fillSlot(newBucket_, used.slot, move, pstHandle<psHashChain>(), moving_)) {
      return false;
    }
  }
  return true;
}

bool BucketSplit::fillSlot(const pstHandle<psHashBucket>& bucket, int slot, const std::vector<pstRef<psObj>>& held,
                           const pstHandle<psHashChain>& chain, Contents& contents) {
  if (held.empty()) return true;
  pstRef<psObj>& filled = contents.slots[static_cast<std::size_t>(slot)];
  if (held.size() == 1) {
    ++contents.unchained;
    filled = held.front();
    return true;
  }
  contents.chained += static_cast<int>(held.size());
  filled = chain.isNull() ? created_.addChain(bucket, held.data(), static_cast<int>(held.size())) : chain;
  return !filled.isNull();
}

void BucketSplit::carryOut() {
  created_.keep();
  pstRef<psHashBucket>* const directory = HashAccess::directory(table_).head();
  std::fill_n(directory + range_.first, (range_.end - range_.first) / 2, pstRef<psHashBucket>(newBucket_));
  const auto write = [](const Contents& contents, psHashBucket& bucket) {
    HashAccess::chained(bucket) = contents.chained;
    HashAccess::unchained(bucket) = contents.unchained;
    std::copy(contents.slots.begin(), contents.slots.end(), HashAccess::entries(bucket).head());
  };
  write(moving_, *newBucket_);
  write(staying_, **edit_);
  HashAccess::depth(**edit_) = newDepth_;
  for (pstHandle<psObj>& old : replaced_) psDelete(old);
}

}  // namespace

HashGrowth::HashGrowth(psHashSet& table) : table_(table), mark_(fullMarkOf(table)) {}

HashGrowth::Hashes HashGrowth::hashesOf(const BucketRange& range) const {
  return {static_cast<std::uint64_t>(range.first) << (32 - depth()), static_cast<std::uint64_t>(range.end)
                                                                         << (32 - depth())};
}

// A bucket that could not be divided when it was full takes mark_ more elements before the next attempt, since each
// attempt hashes all that it holds. What a split leaves is divided as far as it can be.
bool HashGrowth::isDue(const psHashBucket& bucket, bool isDivided) const {
  return isDivided ? bucket.size() >= mark_ : bucket.size() > 0 && bucket.size() % mark_ == 0;
}

// Whether a directory of this depth is in proportion to the table. Identifiers, and poor hashes, share many of their
// first bits, and what the directory does not tell apart the slots of a bucket do. Nothing when it cannot be found out.
std::optional<bool> HashGrowth::isInProportion(int depth) {
  if (depth <= everydayDepth) return true;
  if (depth > deepestDirectory) return false;
  if (!size_) size_ = sizeOf(table_);
  if (*size_ < 0) return std::nullopt;
  // Four directory indexes for each element, rounded up to the next power of two.
  const std::int64_t sizeOfHalf = std::int64_t{1} << (depth - 1);
  return sizeOfHalf < std::int64_t{4} * (std::int64_t{*size_} + additions_);
}

// One step on the way to telling apart what a bucket holds, and what is about to be added to it: the bucket split in
// two, or the directory doubled.
HashGrowth::Outcome HashGrowth::divide(KeyProbe& probe, const BucketRange& range, Additions added) {
  BucketSplit split(table_, range);
  if (!split.read(probe)) return Outcome::failed;
  const int bits = split.bitsToDivide(added);
  const std::optional<bool> pays = bits <= depth() ? true : isInProportion(bits);
  if (!pays) return Outcome::failed;
  if (!*pays) return Outcome::useless;
  const bool isShared = range.end - range.first > 1;
  return (isShared ? split.split() : doubleDirectory(table_)) ? Outcome::divided : Outcome::failed;
}

// Divides the buckets among those of the hashes that have more than the mark. What is refused stays as it is.
void HashGrowth::divideOverfull(KeyProbe& probe, const Hashes& hashes) {
  for (std::uint64_t hash = hashes.first; hash < hashes.end;) {
    const std::optional<BucketRange> range =
        bucketAt(table_, directoryIndexOf(table_, static_cast<std::uint32_t>(hash)));
    if (!range) break;
    const bool isOverfull = range->bucket->size() > mark_;
    if (isOverfull && divide(probe, *range, {}) == Outcome::divided) continue;
    hash = hashesOf(*range).end;
  }
  probe.disregardRefusals();
}

// A deeper directory may divide others that could not be divided before, and to which nothing is added.
std::optional<HashPosition> HashGrowth::makeRoom(KeyProbe& probe, std::uint32_t hash) {
  const int depthBefore = depth();
  const Addition addition{hash, {}, {}};
  std::optional<Hashes> divided;
  std::optional<HashPosition> position = positionOf(table_, hash);
  while (position && isDue(*position->bucket(), divided.has_value())) {
    const Hashes hashes = hashesOf(position->range);
    const Outcome outcome = divide(probe, position->range, {&addition, &addition + 1});
    if (outcome == Outcome::failed) return std::nullopt;
    if (outcome == Outcome::useless) break;
    if (!divided) divided = hashes;
    position = positionOf(table_, hash);
  }
  if (!position || !divided) return position;
  const bool isDeeper = depth() > depthBefore;
  divideOverfull(probe, isDeeper ? Hashes{0, std::uint64_t{1} << 32} : *divided);
  return probe.failed() ? std::nullopt : positionOf(table_, hash);
}

// How many of the additions are in a bucket already is not known. So one that holds anything is divided when it is due.
std::optional<BucketRange> HashGrowth::makeRoomForMany(KeyProbe& probe, Additions& additions) {
  additions_ = std::max(additions_, additions.size());
  for (bool isDivided = false;; isDivided = true) {
    std::optional<BucketRange> range = bucketAt(table_, directoryIndexOf(table_, additions.first->hash));
    if (!range) return range;
    const auto precedes = [](const Addition& addition, std::uint64_t hash) { return addition.hash < hash; };
    additions.end = std::lower_bound(additions.first, additions.end, hashesOf(*range).end, precedes);
    const int size = range->bucket->size();
    const bool hasRoom = size > 0 ? !isDue(*range->bucket, isDivided) : additions.size() <= mark_;
    if (hasRoom) {
      additions.end = additions.first + std::min(additions.size(), mark_ - size % mark_);
      return range;
    }
    const Outcome outcome = divide(probe, *range, additions);
    if (outcome == Outcome::failed) return std::nullopt;
    if (outcome == Outcome::useless) return range;
  }
}

// Every bucket keeps its share: slot i of the new directory is where slot i / 2 of the old one was.
bool doubleDirectory(psHashSet& table) {
  int& depth = HashAccess::depth(table);
  HashAccess::Directory& directory = HashAccess::directory(table);
  const unsigned int size = directory.size();
  const bool isGrowable = isComplete(table) && depth < deepestDirectory;
  if (!isGrowable || size == 0 || table.psUpdate() != 1 || directory.resize(2 * size) != 1) return false;
  pstRef<psHashBucket>* const buckets = directory.head();
  for (unsigned int i = 2 * size; i-- > 0;) buckets[i] = buckets[i / 2];
  ++depth;
  noteChange();
  return true;
}

}  // namespace ps::detail
