#pragma once

#include <vector>

#include "hash/HashGrowth.h"

namespace ps::detail {

// Adds many elements to a set, or puts many pairs into a map. They are added in the order of their hashes, and so
// bucket by bucket: an empty one is divided before anything goes into it, and each is written once.
class HashLoad {
 public:
  explicit HashLoad(psHashSet& table) : table_(table), growth_(table) {}
  HashLoad(const HashLoad&) = delete;
  HashLoad& operator=(const HashLoad&) = delete;

  // False when the store has refused something: then nothing more is added.
  bool add(const pstHandle<psObj>& key, const pstRef<psObj>& value = pstRef<psObj>());
  // The same for n of them. Null values for a set.
  bool add(const pstRef<psObj>* keys, const pstRef<psObj>* values, int n);

  // Adds what was not added yet. Returns how many elements were added, or how many pairs were put, in all.
  int finish();

 private:
  // Adds those of the additions for which the first one's bucket has room. Returns the first of the others.
  const Addition* addToBucket(Additions additions, const RefusalWatch& watch);
  bool addAlone(const Addition& addition);

  psHashSet& table_;
  HashGrowth growth_;
  std::vector<Addition> additions_;
  RefusalWatch watch_;
  int added_ = 0;
};

}  // namespace ps::detail
