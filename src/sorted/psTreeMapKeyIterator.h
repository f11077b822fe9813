#pragma once

#include "sorted/psTreeMap.h"
#include "tree/psTreeIterator.h"

// Walks the keys of a map. remove removes the pair; a key that is moved keeps its value.
class PS_API psTreeMapKeyIterator : public psTreeIterator {
 public:
  explicit psTreeMapKeyIterator(pstHandle<psTreeMap>& map);
  explicit psTreeMapKeyIterator(const pstHandle<psTreeMap>& map)
      : psTreeMapKeyIterator(ps::detail::lvalue(pstHandle<psTreeMap>(map))) {}
  ~psTreeMapKeyIterator() override;

  // The value of the current pair. Null when the value is null, or when there is no current pair.
  pstRef<psObj> currentValue() override;
};
