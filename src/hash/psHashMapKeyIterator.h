#pragma once

#include "hash/psHashMapIterator.h"

// Walks the keys of a map. remove removes the pair; a key that is moved keeps its value.
class PS_API psHashMapKeyIterator : public psHashMapIterator {
 public:
  explicit psHashMapKeyIterator(const pstHandle<psHashMap>& map);
  ~psHashMapKeyIterator() override;

  // The value of the current pair. Null when the value is null, or when there is no current pair.
  pstRef<psObj> currentValue() override;
};
