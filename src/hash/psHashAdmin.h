#pragma once

#include "core/psAdmin.h"
#include "core/psCollection.h"

class psHashAdmin;
class psHashSet;

// The set needs its administrator's class, and so the handle to a set must not need the set's.
template <>
struct pstHandleBaseOf<psHashSet> {
  using type = psCollection;
};

// admin() of a hash collection returns its own kind of administrator where that of a collection returns any.
template <>
struct pstRefBaseOf<psHashAdmin> {
  using type = pstRef<psAdmin>;
};

// Places the buckets of one hash collection. By default a container takes one; the set's own container counts as taking
// one already.
class PS_API psHashAdmin : public psAdmin {
  PS_PERSISTENT_CLASS(psHashAdmin, psAdmin, 4011)

 public:
  explicit psHashAdmin(pstHandle<psHashSet>& set);
  ~psHashAdmin() noexcept override;

  // Deletes an unnamed, not garbage-collectable container that holds one object only, with that object. 0 when such a
  // container is empty or the deletion is refused, else 1.
  virtual int deleteBucket(pstHandle<psContObj>& container);

  // The container for the next bucket, which is counted as placed there. Null when the administrator cannot be opened
  // for update or there is no container to be had.
  virtual pstRef<psContObj> provideBucketContainer();

  pstRef<psContObj> bucketContainer() const { return bucketContainer_; }
  // Goes on in the given container, as if nothing had been placed in it. Without effect when the administrator cannot
  // be opened for update, like the other setter.
  void bucketContainer(pstHandle<psContObj>& container);

  int maxBucketsPerContainer() const { return maxBucketsPerContainer_; }
  void setMaxBucketsPerContainer(int maximum);

 private:
  pstRef<psHashSet> set_;
  pstRef<psContObj> bucketContainer_;
  int bucketCount_ = 1;
  int maxBucketsPerContainer_ = 1;
};

static_assert(sizeof(psHashAdmin) == 32, "stored layout");
