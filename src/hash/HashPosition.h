#pragma once

#include <optional>

#include "core/KeyProbe.h"
#include "hash/BucketView.h"

// How a hash table is found one's way in. A hash leads to a bucket by its first bits, which index the directory, and to
// a slot of the bucket by its remainder; what shares the slot is looked through. A map's table holds entries where that
// of a set holds elements, and goes by their keys: this is all in which the two differ.
namespace ps::detail {

// A bucket, and the run of directory indexes that name it.
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

// Whether the table was constructed whole.
inline bool isComplete(const psHashSet& table) { return HashAccess::depth(table) != incompleteDepth; }

// Whether the table is a map's.
bool holdsEntries(const psHashSet& table);

// The key of something stored in a table, by what the table holds. Null when it is an entry that cannot be opened.
pstRef<psObj> keyOf(const pstRef<psObj>& stored, bool isEntry);

bool isEntry(const pstHandle<psObj>& object);
// The key that an object stands for in a map: an entry's, or the object itself. Null when it is an entry that cannot be
// opened.
pstHandle<psObj> keyFor(const pstHandle<psObj>& keyOrEntry);

inline int directorySizeOf(const psHashSet& table) { return isComplete(table) ? 1 << HashAccess::depth(table) : 0; }

int directoryIndexOf(const psHashSet& table, std::uint32_t hash);

// The bucket that a directory index names; null when the directory cannot be read, or there is no such index.
inline pstRef<psHashBucket> bucketNamedAt(const psHashSet& table, int directoryIndex) {
  const pstRef<psHashBucket>* const directory = HashAccess::directory(table).head();
  const bool exists = directory != nullptr && directoryIndex >= 0 && directoryIndex < directorySizeOf(table);
  return exists ? directory[directoryIndex] : pstRef<psHashBucket>();
}

// Number of directory indexes that name the bucket, which must be open; the first is a multiple of it.
inline int rangeLengthOf(const psHashSet& table, const psHashBucket& bucket) {
  return 1 << (HashAccess::depth(table) - HashAccess::depth(bucket));
}

// The bucket that a directory index names. Nothing when it cannot be read, or there is no such index.
std::optional<BucketRange> bucketAt(const psHashSet& table, int directoryIndex);

// Where the hash belongs, without looking at what is stored. Nothing when that cannot be read.
std::optional<HashPosition> positionOf(const psHashSet& table, std::uint32_t hash);

// Looks for what matches in the position's slot, and notes it in the position. False when that could not be found out.
bool findMatch(const psHashSet& table, KeyProbe& probe, HashPosition& position);

// Looks for the key. Nothing when that could not be found out. The probe must have been made for this operation.
std::optional<HashPosition> locate(const psHashSet& table, KeyProbe& probe);

// Calls visit(range) for every bucket, in the directory's order, until it gives false. False when not all were visited,
// be it that one could not be opened.
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
