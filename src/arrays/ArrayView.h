#pragma once

#include "arrays/AbbreviationRow.h"
#include "arrays/FindReference.h"
#include "arrays/psUnsortedArray.h"

namespace ps::detail {

// An array open for reading. The array and its storage stay in memory, at their addresses, while the view lives,
// whatever comparators load meanwhile. The storage is looked up once. Changes through an edit or the array's own
// operations make the view stale.
class ArrayView {
 public:
  // Opens the array.
  explicit ArrayView(const pstRef<psUnsortedArray>& array) : ArrayView(pstHandle<psUnsortedArray>(array)) {}
  explicit ArrayView(const pstHandle<psUnsortedArray>& array)
      : array_(array), object_(array_.isNull() ? nullptr : array_.operator->()), pin_(PagePin::atObject(read())) {}
  // An array that is already open, or is not in the store.
  explicit ArrayView(const psUnsortedArray& array) : array_(&array), object_(&array), pin_(PagePin::atObject(read())) {}

  // False when the array or its storage could not be read. The view then has no elements.
  bool isOpen() const { return isOpen_; }

  int count() const { return count_; }
  int capacity() const { return isOpen_ ? object_->size() : 0; }
  bool isFull() const { return count_ >= capacity(); }
  const pstRef<psObj>& operator[](int i) const { return entries_[i]; }  // NOLINT(clang-analyzer-core.*): i < count()
  const pstRef<psObj>& last() const { return entries_[count_ - 1]; }

  // The first position of the object; -1 when there is none.
  int find(const psId& object) const { return findReference(entries_, count_, object); }
  // The same in an array of nodes.
  int findNode(const psId& node, int expected = -1) const { return findUnique(entries_, count_, node, expected); }

  // Notes, perElement for each, valid while the array is pinned; see notesBeside. A change of the elements drops them.
  psId* notes(int perElement) const { return notesBeside(object_, perElement * count_); }

  // The abbreviations of the elements, 0 where it is not known, for searches with this tag. Null without such a row,
  // and while every open is to be seen by a guard. A row of another tag is made anew where that may be noted.
  std::uint64_t* abbreviations(std::uint64_t tag) const {
    const AbbreviationRow row(const_cast<pstRef<psObj>*>(entries_));
    if (!row.exists() || currentSession->readStamp == SessionHead::noStamp) return nullptr;
    return row.hasTag(tag) || mayNoteInRow(entries_) ? row.taggedBy(tag) : nullptr;
  }
  Abbreviation abbreviationAt(int i) const { return AbbreviationRow(const_cast<pstRef<psObj>*>(entries_)).at(i); }
  // Whether an abbreviation that is inserted is kept. An empty array makes room for them.
  bool keepsAbbreviations() const {
    return currentSession->readStamp != SessionHead::noStamp && (count_ == 0 || hasAbbreviations());
  }
  bool hasAbbreviations() const { return AbbreviationRow(const_cast<pstRef<psObj>*>(entries_)).exists(); }

  // In an array of nodes, how many elements there are below a node; 0 when that is not known.
  std::uint32_t elementsBelow(int i) const {
    const std::uint32_t* const row = countsOf(const_cast<pstRef<psObj>*>(entries_));
    return row != nullptr ? row[i] : 0;
  }
  // Whether the array could keep them, but has no room for them yet.
  bool lacksCounts() const {
    const bool mayHave = isInArena(entries_) && fittingRows(Rows::counts, capacity() * sizeof(psId)) != Rows::none;
    return mayHave && !includes(rowsAt(entries_), Rows::counts);
  }
  // All of them, for who would else open the nodes. Null where they are not kept, and while every open is to be seen by
  // a guard.
  const std::uint32_t* counts() const {
    return currentSession->readStamp != SessionHead::noStamp ? countsOf(const_cast<pstRef<psObj>*>(entries_)) : nullptr;
  }
  // Notes one of them, where that may be.
  void noteElementsBelow(int i, int n) const {
    if (counts() != nullptr && mayNoteInRow(entries_))
      countsOf(const_cast<pstRef<psObj>*>(entries_))[i] = static_cast<std::uint32_t>(n);
  }

  // In an array of nodes, the child that an entry stands for; null when it is not known, or is the entry.
  psId nodeAt(int i) const {
    const psId* const row = nodesOf(const_cast<pstRef<psObj>*>(entries_));
    return row != nullptr ? row[i] : psId();
  }

  const pstHandle<psUnsortedArray>& array() const { return array_; }

 private:
  const void* read() {
    if (object_ == nullptr) return nullptr;
    entries_ = object_->entries_.head();
    isOpen_ = entries_ != nullptr || object_->isEmpty();
    if (isOpen_) count_ = object_->usedSize();
    return entries_;
  }

  pstHandle<psUnsortedArray> array_;
  const psUnsortedArray* object_;
  const pstRef<psObj>* entries_ = nullptr;
  int count_ = 0;
  bool isOpen_ = false;
  PagePin pin_;
};

}  // namespace ps::detail
