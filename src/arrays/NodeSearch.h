#pragma once

#include "arrays/ArraySearch.h"

namespace ps::detail {

// The search in an array of nodes. How nodes are read is known to the folder above alone, which announces its search by
// the one object of this class.
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
