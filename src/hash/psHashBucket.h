#pragma once

#include "store/psPersistentClass.h"
#include "store/pstVArray.h"

namespace ps::detail {
class HashAccess;
}

// A part of a hash table: the elements, or a map's entries, whose hashes begin with the same bits. Each slot is null,
// holds one element or entry, or names the psHashChain of those that share the slot.
class PS_API psHashBucket : public psObj {
  PS_PERSISTENT_CLASS(psHashBucket, psObj, 4024)

 public:
  // An empty bucket for hashes that have their first depth bits in common. It has no slots when the store cannot
  // allocate them.
  psHashBucket(int depth, int slots);
  ~psHashBucket() noexcept override;

  // Number of elements, or entries.
  int size() const { return chained_ + unchained_; }

 private:
  friend class ps::detail::HashAccess;

  int depth_ = 0;
  int chained_ = 0;    // of them in chains
  int unchained_ = 0;  // and alone in their slots
  pstVArray<pstRef<psObj>> entries_;
};

static_assert(sizeof(psHashBucket) == 32, "stored layout");
