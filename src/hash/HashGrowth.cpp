#include "hash/HashGrowth.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "hash/SlotChange.h"
#include "hash/psHashMapEntry.h"

namespace ps::detail {

namespace {

// Depths up to this one are not looked at too closely.
constexpr int everydayDepth = 10;

// Number of elements from which a bucket counts as full.
int fullMarkOf(const psHashSet& table) {
  return static_cast<int>(std::ceil(0.9 * static_cast<double>(HashAccess::slotsPerBucket(table))));
}

// A bucket that could not be divided when it was full takes as many again before that is tried anew, which hashes all
// that it holds.
bool isDueForSplit(const psHashSet& table, const psHashBucket& bucket) {
  return bucket.size() > 0 && bucket.size() % fullMarkOf(table) == 0;
}

// Whether a directory of this depth is in proportion to the table. Identifiers, and poor hashes, share many of their
// first bits, and what the directory does not tell apart the slots of a bucket do. Nothing when it cannot be found out.
std::optional<bool> isInProportion(const psHashSet& table, int depth) {
  if (depth <= everydayDepth) return true;
  if (depth > deepestDirectory) return false;
  const int size = sizeOf(table);
  if (size < 0) return std::nullopt;
  // Four directory indexes for each element, rounded up to the next power of two.
  const std::int64_t sizeOfHalf = std::int64_t{1} << (depth - 1);
  return sizeOfHalf < std::int64_t{4} * size;
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
  // The number of first bits that tell the hash and those of all that the bucket holds apart in two groups; 33 when
  // there is but one.
  int bitsToDivide(std::uint32_t hash) const;
  // False, with nothing changed, when something is refused.
  bool split();

 private:
  bool openWhatChanges();
  bool createBucket();
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
  pstHandle<psHashBucket> newBucket_;
  std::optional<BucketEdit> edit_;
  std::vector<pstHandle<psObj>> replaced_;  // open for update, to be deleted
  Contents staying_;
  Contents moving_;
};

bool BucketSplit::read(KeyProbe& probe) {
  const bool isEntry = holdsEntries(table_);
  for (int i = 0; i < bucket_.slots(); ++i) {
    const SlotView slot(bucket_, i);
    if (!slot.isOpen()) return false;
    if (slot.count() == 0) continue;
    UsedSlot& used = used_.emplace_back();
    used.slot = i;
    used.chain = slot.chain();
    for (int k = 0; k < slot.count(); ++k) {
      used.stored.push_back({slot[k], probe.hashOf(keyOf(slot[k], isEntry)), {}});
      if (probe.failed()) return false;
    }
  }
  return bucket_.isOpen();
}

// The bits before are those that led to this bucket.
int BucketSplit::bitsToDivide(std::uint32_t hash) const {
  std::uint32_t differing = 0;
  for (const UsedSlot& used : used_) {
    for (const Stored& stored : used.stored) differing |= stored.hash ^ hash;
  }
  int bits = newDepth_;
  while (bits <= 32 && (differing >> (32 - bits) & 1U) == 0) ++bits;
  return bits;
}

// The container for the new bucket is asked for last of all that can be refused, so that none is left without a bucket.
bool BucketSplit::split() {
  if (!openWhatChanges() || !createBucket() || !moveEntries() || !fillSlots()) return false;
  carryOut();
  return true;
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
  const pstRef<psContObj> place = admin->provideBucketContainer();
  if (place.isNull()) return false;
  newBucket_ = created_.add(new (place) psHashBucket(newDepth_, bucket_.slots()));
  return BucketView(newBucket_).isOpen();
}

// Entries lie in their bucket's container, which they cannot leave but as new objects.
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
  pstRef<psObj>& place = contents.slots[static_cast<std::size_t>(slot)];
  if (held.size() == 1) {
    ++contents.unchained;
    place = held.front();
    return true;
  }
  contents.chained += static_cast<int>(held.size());
  place = chain.isNull() ? created_.addChain(bucket, held) : chain;
  return !place.isNull();
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

enum class Growth { grown, useless, failed };

Growth grow(psHashSet& table, KeyProbe& probe, std::uint32_t hash, const BucketRange& range) {
  BucketSplit split(table, range);
  if (!split.read(probe)) return Growth::failed;
  const int depth = split.bitsToDivide(hash);
  const bool isThatDeep = depth <= HashAccess::depth(static_cast<const psHashSet&>(table));
  const std::optional<bool> pays = isThatDeep ? true : isInProportion(table, depth);
  if (!pays) return Growth::failed;
  if (!*pays) return Growth::useless;
  const bool isShared = range.end - range.first > 1;
  return (isShared ? split.split() : doubleDirectory(table)) ? Growth::grown : Growth::failed;
}

}  // namespace

std::optional<HashPosition> makeRoom(psHashSet& table, KeyProbe& probe, std::uint32_t hash) {
  for (;;) {
    std::optional<HashPosition> position = placeOf(table, hash);
    if (!position || !isDueForSplit(table, *position->bucket())) return position;
    switch (grow(table, probe, hash, position->range)) {
      case Growth::grown:
        continue;
      case Growth::useless:
        return position;
      case Growth::failed:
        return std::nullopt;
    }
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
  return true;
}

}  // namespace ps::detail
