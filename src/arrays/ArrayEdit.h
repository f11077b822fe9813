#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "arrays/AbbreviationRow.h"
#include "arrays/FindReference.h"
#include "arrays/psSortedArray.h"

namespace ps::detail {

// A number of elements; nothing when it is not known.
using ElementCount = std::optional<std::int64_t>;

// An array open for update. Once isOpen() is true, no operation of the edit can be refused. An operation that writes to
// several arrays opens all its edits before it uses the first. The array and its storage stay in memory while the edit
// lives. The abbreviations of elements follow them; where none is given, none is known.
//
// The caller is responsible for valid positions, and for room for what is inserted.
class ArrayEdit {
 public:
  explicit ArrayEdit(const pstRef<psUnsortedArray>& array) : ArrayEdit(pstHandle<psUnsortedArray>(array)) {}
  explicit ArrayEdit(const pstHandle<psUnsortedArray>& array) : array_(array), object_(openObject()) { open(); }
  // An array that is already open for reading, or is not in the store. Opening the storage for update also opens the
  // array that it belongs to.
  explicit ArrayEdit(psUnsortedArray& array) : object_(&array) { open(); }

  bool isOpen() const { return object_ != nullptr; }
  // Whether an open edit that has outlived the operation it was made for can still be used, in the same transaction. It
  // cannot when the array has been resized.
  bool isCurrent() const { return object_->entries_.head() == entries_ && rowsAt(entries_) == rows_; }

  bool isSorted() const { return object_->psIsKindOf(psSortedArray::pstTypeN); }
  int count() const { return object_->usedSize(); }
  int capacity() const { return object_->size(); }
  bool isFull() const { return count() >= capacity(); }
  const pstRef<psObj>& operator[](int i) const { return entries_[i]; }
  Abbreviation abbreviationAt(int i) const { return row_.at(i); }
  bool hasAbbreviations() const { return row_.exists(); }

  // In an array of nodes, how many elements there are below a node; 0 when that is not known.
  std::uint32_t elementsBelow(int i) const { return counts_[i]; }
  bool hasCounts() const { return counts_.exists(); }
  void setElementsBelow(int i, const ElementCount& n) { counts_.put(i, static_cast<std::uint32_t>(n.value_or(0))); }
  // What is not known stays so, and becomes so without a difference.
  void changeElementsBelow(int i, const ElementCount& difference) {
    const std::int64_t before = counts_[i];
    setElementsBelow(i, difference && before != 0 ? before + *difference : 0);
  }

  // In an array of nodes, the child that an entry stands for; null when it is not known, or is the entry.
  psId nodeAt(int i) const { return nodes_[i]; }
  void setNode(int i, const psId& node) { nodes_.put(i, node); }

  // The first position of the object; -1 when there is none.
  int find(const psId& object) const { return findReference(entries_, count(), object); }
  // The same in an array of nodes.
  int findNode(const psId& node, int expected = -1) const { return findUnique(entries_, count(), node, expected); }

  void insert(int i, const pstRef<psObj>& element, const Abbreviation& abbreviation = {}) {
    dropNotes(object_);
    const pstRef<psObj> copy = element;
    if (count() == 0 && abbreviation.isKnown() && !row_.exists()) provide(Rows::abbreviations);
    row_.insert(i, count(), abbreviation);
    counts_.insert(i, count(), 0);
    nodes_.insert(i, count(), psId());
    std::copy_backward(entries_ + i, entries_ + count(), entries_ + count() + 1);
    entries_[i] = copy;
    ++object_->lastIndex_;
  }

  void append(const pstRef<psObj>& element) { insert(count(), element); }

  // Appends n elements of another array, starting at i.
  void append(const ArrayEdit& source, int i, int n) {
    dropNotes(object_);
    row_.append(count(), source.row_, i, n);
    counts_.append(count(), source.counts_, i, n);
    nodes_.append(count(), source.nodes_, i, n);
    std::copy_n(source.entries_ + i, n, entries_ + count());
    object_->lastIndex_ += n;
  }

  // Stores the element at any position within the capacity.
  void put(int i, const pstRef<psObj>& element, const Abbreviation& abbreviation = {}) {
    dropNotes(object_);
    row_.put(i, abbreviation);
    entries_[i] = element;
    object_->lastIndex_ = std::max(object_->lastIndex_, i);
  }
  void abbreviate(int i, const Abbreviation& abbreviation) { row_.put(i, abbreviation); }

  // Removes n elements, starting at i.
  void erase(int i, int n = 1) {
    dropNotes(object_);
    row_.erase(i, n, count());
    counts_.erase(i, n, count());
    nodes_.erase(i, n, count());
    std::copy(entries_ + i + n, entries_ + count(), entries_ + i);
    std::fill_n(entries_ + count() - n, n, pstRef<psObj>());
    object_->lastIndex_ -= n;
  }

  // Gives an array of the store the room for a row more. Addresses of its elements end. False, with nothing changed,
  // when there is no room for it in the container. An array that is too large for rows has none.
  bool provide(Rows row) {
    const auto n = static_cast<unsigned int>(capacity());
    const Rows rows = fittingRows(rowsAt(entries_) | row, n * sizeof(psId));
    if (!isInArena(entries_) || rows == rowsAt(entries_)) return true;
    if (provideRows(&object_->entries_, n, rows) != 1) return false;
    useStorage();
    return true;
  }

 private:
  psUnsortedArray* openObject() const {
    return !array_.isNull() && array_.open(pscUpdate) == 1 ? array_.operator->() : nullptr;
  }

  void open() {
    if (object_ == nullptr) return;
    ++currentSession->arrayEdits;
    const int isOpened = array_.isNull() ? object_->entries_.update() : object_->entries_.updateWithin();
    if (isOpened == 1) useStorage();
    if (entries_ == nullptr) object_ = nullptr;
  }

  void useStorage() {
    entries_ = object_->entries_.head();
    rows_ = rowsAt(entries_);
    row_ = AbbreviationRow(entries_);
    counts_ = ElementRow<std::uint32_t>(countsOf(entries_));
    nodes_ = ElementRow<psId>(nodesOf(entries_));
    pin_.emplace(entries_);
  }

  pstHandle<psUnsortedArray> array_;
  psUnsortedArray* object_;
  pstRef<psObj>* entries_ = nullptr;
  Rows rows_ = Rows::none;
  AbbreviationRow row_;
  ElementRow<std::uint32_t> counts_{nullptr};
  ElementRow<psId> nodes_{nullptr};
  std::optional<PagePin> pin_;
};

}  // namespace ps::detail
