#include "arrays/ArraySearch.h"

namespace ps::detail {

SearchResult searchElements(const ArrayView& elements, KeyProbe& probe, SearchEnds ends, ExpectedPart part) {
  return searchArray<ElementReader>(elements, probe, ends, part);
}

}  // namespace ps::detail
