#pragma once

#include "hash/psHashIterator.h"
#include "hash/psHashMap.h"

// Walks the entries of a map, which are objects of class psHashMapEntry. remove removes the pair; goTo looks for a key,
// for which its entry may stand. The entries are the map's own: moveCurrentTo gives 0.
//
// An entry that was deleted without the map is delivered as it is, and as a null key and a null value; remove removes
// it.
class PS_API psHashMapIterator : public psHashIterator {
 public:
  explicit psHashMapIterator(const pstHandle<psHashMap>& map);
  ~psHashMapIterator() override;

 protected:
  using psHashIterator::psHashIterator;
};
