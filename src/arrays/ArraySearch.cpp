#include "arrays/ArraySearch.h"

namespace ps::detail {

SearchResult searchElements(const ArrayView& elements, KeyProbe& probe, SearchEnds ends) {
  return searchArray<ElementReader>(elements, probe, ends);
}

}  // namespace ps::detail
