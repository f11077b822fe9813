#pragma once

#include "sorted/psTreeMap.h"
#include "tree/psTreeIterator.h"

// Walks the values of a map, in the order of the keys. A value may be null, so only hasNext tells where the end is.
// goTo looks for a key, and goes to its value.
//
// After next has passed the last value, the iterator stands nowhere until it is positioned again. previous does not
// lead back.
class PS_API psTreeMapValueIterator : public psTreeIterator {
 public:
  explicit psTreeMapValueIterator(pstHandle<psTreeMap>& map);
  explicit psTreeMapValueIterator(const pstHandle<psTreeMap>& map)
      : psTreeMapValueIterator(ps::detail::lvalue(pstHandle<psTreeMap>(map))) {}
  ~psTreeMapValueIterator() override;

  // The object of the current value is moved; the pair stays where it is.
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  pstRef<psObj> next(psLockMode mode) override;
  // Makes the current value null. The pair stays, and the iterator stays on it.
  int remove() override;
  int set(const pstHandle<psObj>& value) override;
};
