#pragma once

#include "hash/psHashBucket.h"
#include "hash/psHashChain.h"
#include "hash/psHashSet.h"

namespace ps::detail {

// The depth of a table that was not completely constructed: its directory is not complete.
constexpr int incompleteDepth = -1;

// Depths up to this one keep the directory within 128 MiB.
constexpr int deepestDirectory = 24;

// The fields of a hash table's parts, for its algorithms and its checker. Nothing is opened here: the part must be
// open, and open for update before a field is changed.
class HashAccess {
 public:
  using Entries = pstVArray<pstRef<psObj>>;
  using Directory = pstVArray<pstRef<psHashBucket>>;

  static int depth(const psHashSet& set) { return set.depth_; }
  static int slotsPerBucket(const psHashSet& set) { return set.slotsPerBucket_; }
  static const Directory& directory(const psHashSet& set) { return set.directory_; }

  static int depth(const psHashBucket& bucket) { return bucket.depth_; }
  static int chained(const psHashBucket& bucket) { return bucket.chained_; }
  static int unchained(const psHashBucket& bucket) { return bucket.unchained_; }
  static const Entries& entries(const psHashBucket& bucket) { return bucket.entries_; }
  static const Entries& entries(const psHashChain& chain) { return chain.entries_; }

  static int& depth(psHashSet& set) { return set.depth_; }
  static int& slotsPerBucket(psHashSet& set) { return set.slotsPerBucket_; }
  static Directory& directory(psHashSet& set) { return set.directory_; }
  static pstRef<psHashAdmin>& admin(psHashSet& set) { return set.admin_; }
  static pstRef<psCompare>& comparator(psHashSet& set) { return set.comparator_; }

  static int& depth(psHashBucket& bucket) { return bucket.depth_; }
  static int& chained(psHashBucket& bucket) { return bucket.chained_; }
  static int& unchained(psHashBucket& bucket) { return bucket.unchained_; }
  static Entries& entries(psHashBucket& bucket) { return bucket.entries_; }
  static Entries& entries(psHashChain& chain) { return chain.entries_; }
};

}  // namespace ps::detail
