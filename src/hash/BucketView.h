#pragma once

#include "hash/HashAccess.h"

namespace ps::detail {

// A bucket open for reading. Its slots stay in memory, at their address, while the view lives.
class BucketView {
 public:
  explicit BucketView(const pstHandle<psHashBucket>& bucket)
      : bucket_(bucket), object_(bucket_.isNull() ? nullptr : bucket_.operator->()), pin_(PagePin::atObject(read())) {}

  // False when the bucket or its slots could not be read. The view then has no slots.
  bool isOpen() const { return slots_ != nullptr; }
  // Whether an open view still shows what is stored. It does not after an abort, or when another session has committed
  // a change.
  bool isCurrent() const {
    if (PS_LIKELY(ps::detail::isCurrent(object_) && ps::detail::isCurrent(slots_))) return true;
    return bucket_.operator->() == object_ && HashAccess::entries(*object_).head() == slots_;
  }

  int slots() const { return count_; }
  const pstRef<psObj>& operator[](int slot) const { return slots_[slot]; }  // NOLINT(clang-analyzer-core.*): < slots()

  // The bucket, which must not be null.
  const psHashBucket& operator*() const { return *object_; }  // NOLINT(clang-analyzer-core.*)
  const psHashBucket* operator->() const { return object_; }
  const pstHandle<psHashBucket>& handle() const { return bucket_; }

 private:
  const void* read() {
    if (object_ == nullptr) return nullptr;
    slots_ = HashAccess::entries(*object_).head();
    if (slots_ != nullptr) count_ = static_cast<int>(HashAccess::entries(*object_).size());
    return slots_;
  }

  pstHandle<psHashBucket> bucket_;
  const psHashBucket* object_;
  const pstRef<psObj>* slots_ = nullptr;
  int count_ = 0;
  PagePin pin_;
};

// The contents of a slot as a sequence: nothing, one reference, or those of a chain. The bucket's view must outlive it.
class SlotView {
 public:
  SlotView(const BucketView& bucket, int slot)
      : slot_(bucket[slot]), pin_(PagePin::atObject(read(bucket.handle().oid()))) {}

  // False when the contents of the slot could not be determined.
  bool isOpen() const { return count_ >= 0; }

  int count() const { return count_; }
  const pstRef<psObj>& operator[](int i) const { return entries_[i]; }
  // Null when the slot has no chain.
  const pstHandle<psHashChain>& chain() const { return chain_; }

 private:
  const void* read(const psId& bucket) {
    entries_ = &slot_;
    // Chains lie in the container of their bucket, where few elements lie. The pages of all other elements are not
    // read.
    const psId& id = slot_.oid();
    const bool mayBeChain = id.get_OC() == bucket.get_OC() && id.get_DB() == bucket.get_DB() && !id.isNull();
    if (PS_UNLIKELY(mayBeChain)) return readObject();
    count_ = id.isNull() ? 0 : 1;
    return nullptr;
  }
  const void* readObject();

  const pstRef<psObj>& slot_;
  pstHandle<psHashChain> chain_;
  const pstRef<psObj>* entries_ = nullptr;
  int count_ = -1;
  PagePin pin_;
};

}  // namespace ps::detail
