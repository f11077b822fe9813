#pragma once

#include "arrays/ArraySearch.h"

namespace ps::detail {

// The search in an array of nodes. Only the folder above knows how to read nodes. It announces its search by the only
// object of this class.
class NodeSearch {
 public:
  using Function = SearchResult (*)(const ArrayView& nodes, KeyProbe& probe, SearchEnds ends);

  explicit NodeSearch(Function function) { search = function; }

  static SearchResult run(const ArrayView& nodes, KeyProbe& probe, SearchEnds ends) {
    return search(nodes, probe, ends);
  }

 private:
  static inline Function search = nullptr;
};

}  // namespace ps::detail
