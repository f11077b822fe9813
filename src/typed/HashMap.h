#pragma once

#include "hash/HashCursor.h"
#include "hash/psHashMap.h"
#include "typed/KeyedView.h"
#include "typed/MapView.h"

namespace ps {

// A hash map from objects of class K to objects of class V. It is a view of a psHashMap. See CollectionView, KeyedView
// and MapView for the operations.
template <class K, class V, class Order = ById>
class HashMap
    : public MapView<KeyedView<psHashMap, K, Order, CursorIterator<detail::HashCursor, MapEntry<K, V>>>, K, V>,
      public detail::Opened<HashMap<K, V, Order>> {
  using Base = MapView<KeyedView<psHashMap, K, Order, CursorIterator<detail::HashCursor, MapEntry<K, V>>>, K, V>;

 public:
  using Base::Base;

  // A new map in a container, with its comparator and its parts; slots is the number of slots of a bucket.
  static HashMap create(const pstHandle<psContObj>& in, int slots = detail::usualSlots) {
    return HashMap(detail::createTable<psHashMap, Order>(in, slots));
  }
};

}  // namespace ps
