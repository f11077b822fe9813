#pragma once

#include "hash/psHashMapIterator.h"

// Walks the values of a map. A value may be null, so only hasNext tells where the end is. goTo looks for a value: by
// handle for this very object, or for null; in the other flavours for one that compares equal.
class PS_API psHashMapValueIterator : public psHashMapIterator {
 public:
  explicit psHashMapValueIterator(const pstHandle<psHashMap>& map);
  ~psHashMapValueIterator() override;

  // The object of the current value is moved; the pair stays where it is.
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  // Makes the current value null. The pair stays, and the iterator stays on it.
  int remove() override;
  int set(const pstHandle<psObj>& value) override;
};
