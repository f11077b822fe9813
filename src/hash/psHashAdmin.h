#pragma once

#include "core/psAdmin.h"
#include "core/psCollection.h"

class psHashAdmin;
class psHashSet;

// A set needs the class of its administrator, so the handle to a set must not need the class of the set.
template <>
struct pstHandleBaseOf<psHashSet> {
  using type = psCollection;
};

// Where admin() of a collection returns any administrator, that of a hash collection returns this class.
template <>
struct pstRefBaseOf<psHashAdmin> {
  using type = pstRef<psAdmin>;
};

// Places the buckets of a hash collection. By default a container takes one bucket. The set's own container counts as
// having taken one.
class PS_API psHashAdmin : public psAdmin {
  PS_PERSISTENT_CLASS(psHashAdmin, psAdmin, 4011)

 public:
  explicit psHashAdmin(pstHandle<psHashSet>& set);
  ~psHashAdmin() noexcept override;

  // Deletes a container that holds only one object, with that object, unless the container has a name or is
  // garbage-collectable. 0 when such a container is empty or the deletion is refused, else 1.
  virtual int deleteBucket(pstHandle<psContObj>& container);

  // The container for the next bucket, which is counted as placed there. Null when the administrator cannot be opened
  // for update, or no container can be created.
  virtual pstRef<psContObj> provideBucketContainer();

  pstRef<psContObj> bucketContainer() const { return bucketContainer_; }
  // Continues in the given container, as if nothing had been placed in it. Has no effect when the administrator cannot
  // be opened for update; nor does the other setter.
  void bucketContainer(pstHandle<psContObj>& container);
  void bucketContainer(const pstHandle<psContObj>& container) {
    bucketContainer(ps::detail::lvalue(pstHandle<psContObj>(container)));
  }

  // How many buckets go into a container before the next one is made.
  int maxBucketsPerContainer() const { return maxBucketsPerContainer_; }
  void setMaxBucketsPerContainer(int maximum);

 private:
  pstRef<psHashSet> set_;
  pstRef<psContObj> bucketContainer_;
  int bucketCount_ = 1;
  int maxBucketsPerContainer_ = 1;
};

static_assert(sizeof(psHashAdmin) == 32, "stored layout");
