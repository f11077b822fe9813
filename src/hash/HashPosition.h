#pragma once

#include <optional>

#include "core/KeyProbe.h"
#include "hash/BucketView.h"

// How to find one's way in a hash table. A hash leads to a bucket by its first bits, which index the directory, and to
// a slot of the bucket by its remainder. The elements that share the slot are searched. Where a set's table holds
// elements, a map's table holds entries and compares their keys; the two differ in nothing else.
namespace ps::detail {

// A bucket, and the range of directory indexes that name it.
struct BucketRange {
  pstHandle<psHashBucket> bucket;  // open for reading
  int first = 0;
  int end = 0;
};

// Where something is stored, or would be.
struct HashPosition {
  std::uint32_t hash = 0;
  BucketRange range;
  int slot = 0;
  int index = -1;        // in the slot, of what matches; -1 when nothing does
  pstRef<psObj> stored;  // what matches: an element, or in a map an entry

  bool isMatch() const { return index >= 0; }
  const pstHandle<psHashBucket>& bucket() const { return range.bucket; }
};

// Whether the table was completely constructed.
inline bool isComplete(const psHashSet& table) { return HashAccess::depth(table) != incompleteDepth; }

// Whether the table is a map's.
bool holdsEntries(const psHashSet& table);

// The key of something stored in a table: an entry's key, or the element itself. Null when it is an entry that cannot
// be opened.
pstRef<psObj> keyOf(const pstRef<psObj>& stored, bool isEntry);

bool isEntry(const pstHandle<psObj>& object);
// The key that an object stands for in a map: an entry's key, or the object itself. Null when it is an entry that
// cannot be opened.
pstHandle<psObj> keyFor(const pstHandle<psObj>& keyOrEntry);

inline int directorySizeOf(const psHashSet& table) { return isComplete(table) ? 1 << HashAccess::depth(table) : 0; }

int directoryIndexOf(const psHashSet& table, std::uint32_t hash);

inline int slotOf(const psHashSet& table, std::uint32_t hash) {
  return static_cast<int>(hash % static_cast<std::uint32_t>(HashAccess::slotsPerBucket(table)));
}

// The bucket that a directory index names; null when the directory cannot be read, or there is no such index.
inline pstRef<psHashBucket> bucketNamedAt(const psHashSet& table, int directoryIndex) {
  const pstRef<psHashBucket>* const directory = HashAccess::directory(table).head();
  const bool exists = directory != nullptr && directoryIndex >= 0 && directoryIndex < directorySizeOf(table);
  return exists ? directory[directoryIndex] : pstRef<psHashBucket>();
}

// Number of directory indexes that name the bucket, which must be open. The first index is a multiple of this number.
inline int rangeLengthOf(const psHashSet& table, const psHashBucket& bucket) {
  return 1 << (HashAccess::depth(table) - HashAccess::depth(bucket));
}

// The bucket that a directory index names. Empty when it cannot be read, or there is no such index.
std::optional<BucketRange> bucketAt(const psHashSet& table, int directoryIndex);

// The place of the hash, without a look at what is stored. Empty when that cannot be read.
std::optional<HashPosition> positionOf(const psHashSet& table, std::uint32_t hash);

// Looks for a match in the position's slot, and notes it in the position. False when that could not be determined.
bool findMatch(const psHashSet& table, KeyProbe& probe, HashPosition& position);

// Looks for the key. Empty when that could not be determined. The probe must have been made for this operation.
std::optional<HashPosition> locate(const psHashSet& table, KeyProbe& probe);

// Calls visit(range) for every bucket, in the directory's order, until it returns false. False when not all were
// visited, or when one could not be opened.
template <class Visit>
bool visitBuckets(const psHashSet& table, Visit visit) {
  const int end = directorySizeOf(table);
  for (int i = 0; i < end;) {
    const std::optional<BucketRange> range = bucketAt(table, i);
    if (!range || !visit(*range)) return false;
    i = range->end;
  }
  return end > 0;
}

// Number of elements, or pairs; -1 when a bucket cannot be read.
int sizeOf(const psHashSet& table);

}  // namespace ps::detail
