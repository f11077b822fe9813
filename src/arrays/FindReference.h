#pragma once

#include <cstdint>

#include "store/pstRef.h"

namespace ps::detail {

// The first position of a reference to the object; -1 when there is none.
inline int findReference(const pstRef<psObj>* references, int count, const psId& object) {
  // Comparing several without a branch between them takes a third of the time.
  constexpr int atOnce = 8;
  const std::uint64_t wanted = object.bits();
  int i = 0;
  for (; i + atOnce <= count; i += atOnce) {
    bool isThere = false;
    for (int k = 0; k < atOnce; ++k) isThere |= references[i + k].oid().bits() == wanted;
    if (isThere) break;
  }
  for (; i < count; ++i) {
    if (references[i].oid().bits() == wanted) return i;
  }
  return -1;
}

// The same for references that are all different. Looks first where it is expected; without an expectation at the last,
// where it is in nodes whose elements come in ascending order.
inline int findUnique(const pstRef<psObj>* references, int count, const psId& object, int expected = -1) {
  const int first = expected >= 0 ? expected : count - 1;
  if (first >= 0 && first < count && references[first] == object) return first;
  return findReference(references, count, object);
}

}  // namespace ps::detail
