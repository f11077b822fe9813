#pragma once

#include "store/psPersistentClass.h"
#include "store/pstVArray.h"

namespace ps::detail {
class HashAccess;
}

// The elements, or a map's entries, that share a slot of a bucket: at least 2. It lies in the container of its bucket.
class PS_API psHashChain : public psObj {
  PS_PERSISTENT_CLASS(psHashChain, psObj, 4027)

 public:
  // Empty when the store cannot allocate.
  psHashChain(const pstHandle<psObj>& first, const pstHandle<psObj>& second);
  ~psHashChain() noexcept override;

  int size() const { return static_cast<int>(entries_.size()); }

 private:
  friend class ps::detail::HashAccess;

  pstVArray<pstRef<psObj>> entries_;
};

static_assert(sizeof(psHashChain) == 16, "stored layout");
