#pragma once

#include <optional>

#include "hash/BucketView.h"
#include "hash/HashPosition.h"

namespace ps::detail {

// A place in the order in which a hash table is stored: where something is stored, before the first, or behind the
// last. A gap stands for the place before its slot, which is looked for when it is needed: so that a walk that removes
// all that it meets does not go back over what it has emptied.
struct TablePlace {
  static constexpr int beforeFirst = -1;
  static constexpr int nowhere = -2;  // after a search that failed

  // The first that names the bucket; the directory's size at the end.
  int directoryIndex = beforeFirst;
  int slot = -1;
  int inChain = -1;  // -1 when it is alone in its slot
  pstRef<psObj> stored;
  bool isGap = false;

  // The end of a directory of this size.
  static TablePlace end(int directorySize) { return TablePlace{directorySize, -1, -1, pstRef<psObj>(), false}; }
  // The place after what stands at an index of a slot was taken out: the one before, if it is in the slot, else a gap.
  static TablePlace afterRemoval(int directoryIndex, int slot, int index, bool endedChain);

  bool isBeforeFirst() const { return directoryIndex == beforeFirst; }
  bool isNowhere() const { return directoryIndex == nowhere; }
  int indexInSlot() const { return inChain < 0 ? 0 : inChain; }
};

// A bucket that is kept open, with the slot looked at last, so that steps within them open nothing.
class KeptBucket {
 public:
  explicit KeptBucket(const pstHandle<psHashBucket>& bucket) : view_(bucket) {}

  const BucketView& view() const { return view_; }
  // Good until the next call.
  const SlotView& slot(int slot) {
    if (slot != slot_ || slotTime_ != changeStamp() || !held_->isOpen()) {
      slot_ = -1;
      held_.emplace(view_, slot);
      slot_ = slot;
      slotTime_ = changeStamp();
    }
    return *held_;
  }

 private:
  BucketView view_;
  int slot_ = -1;
  std::uint64_t slotTime_ = 0;
  std::optional<SlotView> held_;
};

// Finds places in a table, and what is stored there now. It keeps the bucket used last; the directory is asked again
// whenever a table may have changed.
class TablePlaces {
 public:
  // The bucket that a directory index names, and the run of indexes that do.
  struct Bucket {
    KeptBucket* kept = nullptr;  // null when it cannot be read, or there is none
    int first = 0;
    int end = 0;
  };
  // Good until the next call.
  Bucket bucketAt(const psHashSet& set, int directoryIndex);

  // The places beside another; nothing when a bucket or chain cannot be read.
  std::optional<TablePlace> after(const psHashSet& set, const TablePlace& place);
  std::optional<TablePlace> before(const psHashSet& set, const TablePlace& place);
  // The place of position i, or the end; nothing when that cannot be found out. size is the number of elements before
  // its bucket.
  std::optional<TablePlace> ofIndex(const psHashSet& set, int i, int& size);
  // Number of elements before a place; -1 when that cannot be found out.
  int countBefore(const psHashSet& set, const TablePlace& place);

  // What is stored at a place now; null when it has gone or cannot be read.
  pstRef<psObj> storedAt(const psHashSet& set, const TablePlace& place);
  // The address of the reference that stands at a place, what holds it opened as the mode asks; null when there is none
  // or the open is refused.
  const pstRef<psObj>* addressAt(const psHashSet& set, const TablePlace& place, psLockMode mode);

 private:
  std::optional<KeptBucket> bucket_;
  int first_ = 0;  // of the directory indexes that name it
  int end_ = 0;
  std::uint64_t bucketTime_ = 0;
};

}  // namespace ps::detail
