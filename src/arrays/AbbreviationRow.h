#pragma once

#include <algorithm>
#include <cstdint>

#include "arrays/ElementRow.h"
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
        capacity_(row_.exists() ? headerOf(elements)->size / sizeof(std::uint64_t) : 0) {}

  bool exists() const { return row_.exists(); }
  Abbreviation at(int i) const { return exists() ? Abbreviation{tag(), row_[i]} : Abbreviation{}; }

  bool hasTag(std::uint64_t wanted) const { return exists() && tag() == wanted; }
  // The elements, for a search by abbreviations with this tag.
  std::uint64_t* taggedBy(std::uint64_t wanted) const {
    if (exists() && tag() != wanted) {
      std::fill_n(row_.entries(), capacity_, 0);
      tag() = wanted;
    }
    return row_.entries();
  }

  void put(int i, const Abbreviation& abbreviation) {
    if (exists() && abbreviation.isKnown()) taggedBy(abbreviation.tag);
    row_.put(i, abbreviation.value);
  }

  // See ElementRow.
  void insert(int i, int count, const Abbreviation& abbreviation) {
    if (exists() && abbreviation.isKnown()) taggedBy(abbreviation.tag);
    row_.insert(i, count, abbreviation.value);
  }
  void erase(int i, int n, int count) { row_.erase(i, n, count); }
  void append(int count, const AbbreviationRow& source, int i, int n) {
    if (exists() && count == 0 && source.exists()) taggedBy(source.tag());
    const bool isAlike = exists() && source.hasTag(tag());
    row_.append(count, isAlike ? source.row_ : ElementRow<std::uint64_t>(nullptr), i, n);
  }

 private:
  std::uint64_t& tag() const { return row_.entries()[-1]; }

  ElementRow<std::uint64_t> row_;
  std::size_t capacity_ = 0;
};

}  // namespace ps::detail
