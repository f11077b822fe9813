#pragma once

#include <cstdint>
#include <optional>

#include "hash/HashPosition.h"

// How a hash table grows. A full bucket is split in two by the next bit of the hashes. The directory is doubled when
// the bucket already uses all its bits.
namespace ps::detail {

// What is to be put into a table, with the hash of the key.
struct Addition {
  std::uint32_t hash = 0;
  pstRef<psObj> key;
  pstRef<psObj> value;  // in a map
};

// Additions in the order of their hashes.
struct Additions {
  const Addition* first;
  const Addition* end;

  bool isEmpty() const { return first == end; }
  int size() const { return static_cast<int>(end - first); }
};

// The growth of a table. The probe of each call hashes what a bucket holds.
class HashGrowth {
 public:
  explicit HashGrowth(psHashSet& table);

  // The place of the hash, with room for another element there. When the bucket is full all the same, no split within
  // bounds can divide what it holds. Empty on failure; the table is then sound, and holds what it held.
  std::optional<HashPosition> makeRoom(KeyProbe& probe, std::uint32_t hash);

  // The bucket of the first of the additions, which must not be empty. Those that go into it and for which it has room
  // are left in additions. Otherwise as above.
  std::optional<BucketRange> makeRoomForMany(KeyProbe& probe, Additions& additions);

 private:
  enum class Outcome { divided, useless, failed };

  // Hashes from the first to the end, which may be one more than the last hash.
  struct Hashes {
    std::uint64_t first;
    std::uint64_t end;
  };

  int depth() const { return HashAccess::depth(static_cast<const psHashSet&>(table_)); }
  Hashes hashesOf(const BucketRange& range) const;
  bool isDue(const psHashBucket& bucket, bool isDivided) const;
  Outcome divide(KeyProbe& probe, const BucketRange& range, Additions added);
  void divideOverfull(KeyProbe& probe, const Hashes& hashes);
  std::optional<bool> isInProportion(int depth);

  psHashSet& table_;
  int mark_;
  std::optional<int> size_;  // of the table, once it is known
  int additions_ = 0;        // at most so many were not counted in it
};

// False, with nothing changed, when the directory cannot be opened for update or has its greatest depth, and for a
// table that was not completely constructed.
bool doubleDirectory(psHashSet& table);

}  // namespace ps::detail
