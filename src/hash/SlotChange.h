#pragma once

#include <optional>
#include <vector>

#include "hash/BucketView.h"

// Changes of a slot in two steps. plan does everything that can be refused; carryOut makes the change. Between the two,
// changes of other slots may be planned and carried out.
namespace ps::detail {

// Objects that were made for a change that may still be given up. They are deleted with this object, unless it was told
// that they are in use.
class Provisional {
 public:
  Provisional() = default;
  Provisional(const Provisional&) = delete;
  Provisional& operator=(const Provisional&) = delete;
  ~Provisional() { discard(); }

  // A handle to a new object; null when the store did not create it.
  template <class T>
  pstHandle<T> add(T* created) {
    const pstHandle<T> object(created);
    return !object.isNull() && note(object) ? object : pstHandle<T>();
  }
  pstHandle<psContObj> add(const pstHandle<psContObj>& created) {
    return !created.isNull() && note(created) ? created : pstHandle<psContObj>();
  }
  // A new chain of n entries, at least 2, near the bucket. Null when the store does not create it.
  pstHandle<psHashChain> addChain(const pstHandle<psHashBucket>& near, const pstRef<psObj>* entries, int n);

  void keep() { objects_.clear(); }

 private:
  bool note(const pstHandle<psObj>& object);
  void discard();

  std::vector<pstHandle<psObj>> objects_;
};

// A bucket open for update, with its slots, which stay in memory while the edit lives.
class BucketEdit {
 public:
  explicit BucketEdit(const pstHandle<psHashBucket>& bucket) : bucket_(bucket), pin_(PagePin::atObject(open())) {}
  BucketEdit(const BucketEdit&) = delete;
  BucketEdit& operator=(const BucketEdit&) = delete;
  // Makes everyone who walks over the table look again.
  ~BucketEdit() { noteChange(); }

  bool isOpen() const { return slots_ != nullptr; }
  pstRef<psObj>& operator[](int slot) { return slots_[slot]; }
  psHashBucket& operator*() const { return *bucket_; }

  // Changes the numbers of elements in chains and of elements alone in their slots.
  void count(int chained, int unchained) {
    HashAccess::chained(*bucket_) += chained;
    HashAccess::unchained(*bucket_) += unchained;
  }

 private:
  const void* open() {
    if (bucket_.open(pscUpdate) == 1 && HashAccess::entries(*bucket_).updateWithin() == 1) {
      slots_ = HashAccess::entries(*bucket_).head();
    }
    return slots_;
  }

  pstHandle<psHashBucket> bucket_;
  pstRef<psObj>* slots_ = nullptr;
  PagePin pin_;
};

// Opens a chain and its entries.
bool openForUpdate(const pstHandle<psHashChain>& chain);

// Puts an element or entry into a slot.
class SlotInsertion {
 public:
  bool plan(const pstHandle<psHashBucket>& bucket, int slot, const pstRef<psObj>& stored);
  // False, with nothing changed, when the store has no room for it.
  bool carryOut();

 private:
  std::optional<BucketEdit> bucket_;
  int slot_ = 0;
  pstRef<psObj> stored_;
  pstHandle<psHashChain> chain_;  // that it goes into; null when it will be alone
  bool isNewChain_ = false;
  Provisional created_;
};

// Takes an element or entry out of a slot.
class SlotRemoval {
 public:
  bool plan(const pstHandle<psHashBucket>& bucket, int slot, int index);
  void carryOut();
  // What is taken out.
  const pstRef<psObj>& stored() const { return stored_; }
  // Whether the slot's chain ends, since only one is left in it.
  bool endsChain() const { return left_ == 1; }

 private:
  std::optional<BucketEdit> bucket_;
  int slot_ = 0;
  int index_ = 0;
  pstRef<psObj> stored_;
  int left_ = 0;
  pstHandle<psHashChain> chain_;
};

// Takes everything out of a bucket.
class BucketRemoval {
 public:
  // In a map, what the bucket holds are entries, which are deleted.
  bool plan(const pstHandle<psHashBucket>& bucket, bool holdsEntries);
  void carryOut();

 private:
  std::optional<BucketEdit> bucket_;
  int slots_ = 0;
  std::vector<pstHandle<psObj>> parts_;  // open for update, to be deleted
};

}  // namespace ps::detail
