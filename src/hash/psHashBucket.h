#pragma once

#include "store/psPersistentClass.h"
#include "store/pstVArray.h"

namespace ps::detail {
class HashAccess;
}

// A part of a hash table: the elements, or a map's entries, whose hashes begin with the same bits. Each of its slots is
// null, holds one of them, or names the psHashChain of those that share it.
class PS_API psHashBucket : public psObj {
  PS_PERSISTENT_CLASS(psHashBucket, psObj, 4024)

 public:
  // An empty bucket for hashes that share their first depth bits; without slots when the store cannot allocate.
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
