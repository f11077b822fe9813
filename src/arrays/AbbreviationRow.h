#pragma once

#include <algorithm>
#include <cstdint>

#include "core/KeyProbe.h"
#include "store/pstVArray.h"

namespace ps::detail {

// The abbreviations behind the elements of an array's storage. One that is not known is 0, and any may be unknown. The
// row has one tag. An abbreviation of another tag empties the row before it is stored.
//
// In an array of nodes, the abbreviation of a node separates: nothing before the node has a greater one, and nothing in
// it has a lesser one. That of the first node means nothing.
class AbbreviationRow {
 public:
  // The row of storage whose first element has the address; no row for null.
  explicit AbbreviationRow(void* elements = nullptr)
      : row_(elements != nullptr ? abbreviationsOf(elements) : nullptr),
        capacity_(row_ != nullptr ? headerOf(elements)->size / sizeof *row_ : 0) {}

  bool exists() const { return row_ != nullptr; }
  Abbreviation at(int i) const { return row_ != nullptr ? Abbreviation{row_[-1], row_[i]} : Abbreviation{}; }

  bool hasTag(std::uint64_t tag) const { return row_ != nullptr && row_[-1] == tag; }
  // The elements, for a search by abbreviations with this tag.
  std::uint64_t* taggedBy(std::uint64_t tag) const {
    if (row_ != nullptr && row_[-1] != tag) {
      std::fill_n(row_, capacity_, 0);
      row_[-1] = tag;
    }
    return row_;
  }

  void put(int i, const Abbreviation& abbreviation) {
    if (row_ == nullptr) return;
    if (abbreviation.isKnown()) taggedBy(abbreviation.tag);
    row_[i] = abbreviation.value;
  }

  // count is the number of elements before the change.
  void insert(int i, int count, const Abbreviation& abbreviation) {
    if (row_ == nullptr) return;
    std::copy_backward(row_ + i, row_ + count, row_ + count + 1);
    put(i, abbreviation);
  }

  void erase(int i, int n, int count) {
    if (row_ == nullptr) return;
    std::copy(row_ + i + n, row_ + count, row_ + i);
    std::fill_n(row_ + count - n, n, 0);
  }

  // Appends n of another row, starting at i.
  void append(int count, const AbbreviationRow& source, int i, int n) {
    if (row_ == nullptr) return;
    if (count == 0 && source.exists()) taggedBy(source.row_[-1]);
    if (source.exists() && source.row_[-1] == row_[-1]) {
      std::copy_n(source.row_ + i, n, row_ + count);
    } else {
      std::fill_n(row_ + count, n, 0);
    }
  }

 private:
  std::uint64_t* row_ = nullptr;
  std::size_t capacity_ = 0;
};

}  // namespace ps::detail
