#pragma once

#include "hash/psHashIterator.h"
#include "hash/psHashMap.h"

// Walks the entries of a map, which are objects of class psHashMapEntry. remove removes the pair. goTo looks for a key,
// which may be given by its entry. The entries belong to the map, so moveCurrentTo returns 0.
//
// An entry that was deleted by other means is delivered as it is, and with a null key and a null value; remove removes
// it.
class PS_API psHashMapIterator : public psHashIterator {
 public:
  explicit psHashMapIterator(const pstHandle<psHashMap>& map);
  ~psHashMapIterator() override;

 protected:
  using psHashIterator::psHashIterator;
};
