#pragma once

#include "hash/HashCursor.h"
#include "typed/KeyedView.h"
#include "typed/SetView.h"

namespace ps {

// A hash set of objects of class T, found by the hash of a class that PS_ORDER defines, or of identifiers. Its elements
// are in no order. It is a view of a psHashSet. See CollectionView, KeyedView and SetView for the operations.
template <class T, class Order = ById>
class HashSet
    : public SetView<KeyedView<psHashSet, T, Order, CursorIterator<detail::HashCursor, detail::SetElement<T>>>, T>,
      public detail::Opened<HashSet<T, Order>> {
  using Base = SetView<KeyedView<psHashSet, T, Order, CursorIterator<detail::HashCursor, detail::SetElement<T>>>, T>;

 public:
  using Base::Base;

  // A new set in a container, with its comparator and its parts; slots is the number of slots of a bucket.
  static HashSet create(const pstHandle<psContObj>& in, int slots = detail::usualSlots) {
    return HashSet(detail::createTable<psHashSet, Order>(in, slots));
  }
};

}  // namespace ps
