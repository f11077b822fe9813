#pragma once

#include <algorithm>
#include <optional>

#include "arrays/AbbreviationRow.h"
#include "arrays/psSortedArray.h"

namespace ps::detail {

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

  bool isSorted() const { return object_->psIsKindOf(psSortedArray::pstTypeN); }
  int count() const { return object_->usedSize(); }
  int capacity() const { return object_->size(); }
  bool isFull() const { return count() >= capacity(); }
  const pstRef<psObj>& operator[](int i) const { return entries_[i]; }
  Abbreviation abbreviationAt(int i) const { return row_.at(i); }
  bool hasAbbreviations() const { return row_.exists(); }

  // The first position of the object; -1 when there is none.
  int find(const psId& object) const {
    for (int i = 0; i < count(); ++i) {
      if (entries_[i].oid() == object) return i;
    }
    return -1;
  }

  void insert(int i, const pstRef<psObj>& element, const Abbreviation& abbreviation = {}) {
    dropNotes(object_);
    const pstRef<psObj> copy = element;
    if (count() == 0 && abbreviation.isKnown() && !row_.exists()) provideRow();
    row_.insert(i, count(), abbreviation);
    std::copy_backward(entries_ + i, entries_ + count(), entries_ + count() + 1);
    entries_[i] = copy;
    ++object_->lastIndex_;
  }

  void append(const pstRef<psObj>& element) { insert(count(), element); }

  // Appends n elements of another array, starting at i.
  void append(const ArrayEdit& source, int i, int n) {
    dropNotes(object_);
    row_.append(count(), source.row_, i, n);
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
    std::copy(entries_ + i + n, entries_ + count(), entries_ + i);
    std::fill_n(entries_ + count() - n, n, pstRef<psObj>());
    object_->lastIndex_ -= n;
  }

  // Gives an array of the store the room for abbreviations, if there is any. Addresses of its elements end.
  void provideRow() {
    const auto n = static_cast<unsigned int>(capacity());
    if (isInArena(entries_) && provideRows(&object_->entries_, n, Rows::abbreviations) == 1) useStorage();
  }

 private:
  psUnsortedArray* openObject() const {
    return !array_.isNull() && array_.open(pscUpdate) == 1 ? array_.operator->() : nullptr;
  }

  void open() {
    if (object_ == nullptr) return;
    const int isOpened = array_.isNull() ? object_->entries_.update() : object_->entries_.updateWithin();
    if (isOpened == 1) useStorage();
    if (entries_ == nullptr) object_ = nullptr;
  }

  void useStorage() {
    entries_ = object_->entries_.head();
    row_ = AbbreviationRow(entries_);
    pin_.emplace(entries_);
  }

  pstHandle<psUnsortedArray> array_;
  psUnsortedArray* object_;
  pstRef<psObj>* entries_ = nullptr;
  AbbreviationRow row_;
  std::optional<PagePin> pin_;
};

}  // namespace ps::detail
