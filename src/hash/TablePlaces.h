#pragma once

#include <optional>

#include "hash/BucketView.h"
#include "hash/HashPosition.h"

namespace ps::detail {

// A place in the order in which a hash table is stored: where something is stored, before the first, or after the last.
// A gap stands for the place before its slot, which is only looked for when it is needed. So a walk that removes
// everything it meets does not go back over what it has emptied.
struct TablePlace {
  static constexpr int beforeFirst = -1;
  static constexpr int nowhere = -2;  // after a search that failed

  // The first directory index that names the bucket; the directory's size at the end.
  int directoryIndex = beforeFirst;
  int slot = -1;
  int inChain = -1;  // -1 when it is alone in its slot
  pstRef<psObj> stored;
  bool isGap = false;

  // The end of a directory of this size.
  static TablePlace end(int directorySize) { return TablePlace{directorySize, -1, -1, pstRef<psObj>(), false}; }
  // The place after something was taken out at an index of a slot: the one before it, if that is in the slot, else a
  // gap.
  static TablePlace afterRemoval(int directoryIndex, int slot, int index, bool endedChain);

  bool isBeforeFirst() const { return directoryIndex == beforeFirst; }
  bool isNowhere() const { return directoryIndex == nowhere; }
  int indexInSlot() const { return inChain < 0 ? 0 : inChain; }
};

// A bucket that stays open, with the slot that was used last, so that steps within them open nothing.
class KeptBucket {
 public:
  explicit KeptBucket(const pstHandle<psHashBucket>& bucket) : view_(bucket) {}

  const BucketView& view() const { return view_; }
  // Valid until the next call.
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

// Finds places in a table, and what is stored there now. It keeps the bucket that was used last, and asks the directory
// again whenever the table may have changed.
class TablePlaces {
 public:
  // The bucket that a directory index names, and the range of indexes that name it.
  struct Bucket {
    KeptBucket* kept = nullptr;  // null when it cannot be read, or there is none
    int first = 0;
    int end = 0;
  };
  // Valid until the next call.
  Bucket bucketAt(const psHashSet& set, int directoryIndex);

  // Forgets the bucket: the table is another.
  void forget() { bucket_.reset(); }

  // The places next to another; empty when a bucket or chain cannot be read.
  std::optional<TablePlace> after(const psHashSet& set, const TablePlace& place);
  std::optional<TablePlace> before(const psHashSet& set, const TablePlace& place);
  // The place of position i, or the end; empty when that cannot be determined. size is the number of elements before
  // its bucket.
  std::optional<TablePlace> ofIndex(const psHashSet& set, int i, int& size);
  // Number of elements before a place; -1 when that cannot be determined.
  int countBefore(const psHashSet& set, const TablePlace& place);

  // What is stored at a place now; null when it has been removed or cannot be read.
  pstRef<psObj> storedAt(const psHashSet& set, const TablePlace& place);
  // The address of the reference at a place, with what holds it opened as the mode says. Null when there is none or the
  // open is refused.
  const pstRef<psObj>* addressAt(const psHashSet& set, const TablePlace& place, psLockMode mode);

 private:
  std::optional<KeptBucket> bucket_;
  int first_ = 0;  // of the directory indexes that name it
  int end_ = 0;
  std::uint64_t bucketTime_ = 0;
};

}  // namespace ps::detail
