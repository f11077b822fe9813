#pragma once

#include <algorithm>

namespace ps::detail {

// A row behind the elements of an array's storage (StorageRows.h), or none: then there is nothing to read, and writing
// does nothing. Its entries follow the elements. Those after the last element are 0, which says that nothing is known.
template <class Entry>
class ElementRow {
 public:
  explicit ElementRow(Entry* entries) : entries_(entries) {}

  bool exists() const { return entries_ != nullptr; }
  Entry* entries() const { return entries_; }
  Entry operator[](int i) const { return entries_ != nullptr ? entries_[i] : Entry{}; }

  void put(int i, Entry entry) {
    if (entries_ != nullptr) entries_[i] = entry;
  }

  // count is the number of elements before the change.
  void insert(int i, int count, Entry entry) {
    if (entries_ == nullptr) return;
    std::copy_backward(entries_ + i, entries_ + count, entries_ + count + 1);
    entries_[i] = entry;
  }
  void erase(int i, int n, int count) {
    if (entries_ == nullptr) return;
    std::copy(entries_ + i + n, entries_ + count, entries_ + i);
    std::fill_n(entries_ + count - n, n, Entry{});
  }
  // Appends n of another row, starting at i.
  void append(int count, const ElementRow& source, int i, int n) {
    if (entries_ == nullptr) return;
    if (source.exists()) {
      std::copy_n(source.entries_ + i, n, entries_ + count);
    } else {
      std::fill_n(entries_ + count, n, Entry{});
    }
  }

 private:
  Entry* entries_;
};

}  // namespace ps::detail
