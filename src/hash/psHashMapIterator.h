#pragma once

#include "hash/psHashIterator.h"
#include "hash/psHashMap.h"

// Walks the entries of a map, which are objects of class psHashMapEntry. remove removes the pair; goTo looks for a key.
// The entries are the map's own: moveCurrentTo gives 0.
class PS_API psHashMapIterator : public psHashIterator {
 public:
  explicit psHashMapIterator(const pstHandle<psHashMap>& map);
  ~psHashMapIterator() override;

 protected:
  psHashMapIterator(const pstHandle<psHashMap>& map, Delivery delivery);
};
