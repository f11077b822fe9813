#pragma once

#include <algorithm>

#include "arrays/psSortedArray.h"

namespace ps::detail {

// An array open for update. Once isOpen() is true, no operation of the edit can be refused. An operation that writes to
// several arrays opens all its edits before it uses the first. The array and its storage stay in memory while the edit
// lives.
//
// The caller is responsible for valid positions, and for room for what is inserted.
class ArrayEdit {
 public:
  explicit ArrayEdit(const pstRef<psUnsortedArray>& array) : ArrayEdit(pstHandle<psUnsortedArray>(array)) {}
  explicit ArrayEdit(const pstHandle<psUnsortedArray>& array)
      : array_(array), object_(openObject()), pin_(PagePin::atObject(open())) {}
  // An array that is already open for reading, or is not in the store. Opening the storage for update also opens the
  // array that it belongs to.
  explicit ArrayEdit(psUnsortedArray& array) : object_(&array), pin_(PagePin::atObject(open())) {}

  bool isOpen() const { return object_ != nullptr; }

  bool isSorted() const { return object_->psIsKindOf(psSortedArray::pstTypeN); }
  int count() const { return object_->usedSize(); }
  int capacity() const { return object_->size(); }
  bool isFull() const { return count() >= capacity(); }
  const pstRef<psObj>& operator[](int i) const { return entries_[i]; }

  // The first position of the object; -1 when there is none.
  int find(const psId& object) const {
    for (int i = 0; i < count(); ++i) {
      if (entries_[i].oid() == object) return i;
    }
    return -1;
  }

  void insert(int i, const pstRef<psObj>& element) {
    dropNotes(object_);
    const pstRef<psObj> copy = element;
    std::copy_backward(entries_ + i, entries_ + count(), entries_ + count() + 1);
    entries_[i] = copy;
    ++object_->lastIndex_;
  }

  void append(const pstRef<psObj>& element) { insert(count(), element); }

  // Appends n elements of another array, starting at i.
  void append(const ArrayEdit& source, int i, int n) {
    dropNotes(object_);
    std::copy_n(source.entries_ + i, n, entries_ + count());
    object_->lastIndex_ += n;
  }

  // Stores the element at any position within the capacity.
  void put(int i, const pstRef<psObj>& element) {
    dropNotes(object_);
    entries_[i] = element;
    object_->lastIndex_ = std::max(object_->lastIndex_, i);
  }

  // Removes n elements, starting at i.
  void erase(int i, int n = 1) {
    dropNotes(object_);
    std::copy(entries_ + i + n, entries_ + count(), entries_ + i);
    std::fill_n(entries_ + count() - n, n, pstRef<psObj>());
    object_->lastIndex_ -= n;
  }

 private:
  psUnsortedArray* openObject() const {
    return !array_.isNull() && array_.open(pscUpdate) == 1 ? array_.operator->() : nullptr;
  }

  const void* open() {
    if (object_ == nullptr) return nullptr;
    const int isOpened = array_.isNull() ? object_->entries_.update() : object_->entries_.updateWithin();
    if (isOpened == 1) entries_ = object_->entries_.head();
    if (entries_ == nullptr) object_ = nullptr;
    return entries_;
  }

  pstHandle<psUnsortedArray> array_;
  psUnsortedArray* object_;
  pstRef<psObj>* entries_ = nullptr;
  PagePin pin_;
};

}  // namespace ps::detail
