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
    : public MapView<KeyedView<psHashMap, K, Order, CursorIterator<detail::HashCursor, MapEntry<K, V>>>, K, V> {
  using Base = MapView<KeyedView<psHashMap, K, Order, CursorIterator<detail::HashCursor, MapEntry<K, V>>>, K, V>;

 public:
  // As those of SortedSet.
  explicit HashMap(const psId& id) : Base(id, detail::comparatorTypeOf<Order>()) {}
  HashMap(const pstRef<psHashMap>& map) : HashMap(map.oid()) {}
  HashMap(const Ref<psHashMap>& map) : HashMap(map.id()) {}
  HashMap(const pstHandle<psObj>& scope, const char* name) : HashMap(detail::requireFiled(scope, name)) {}

  static HashMap create(const pstHandle<psContObj>& in, int slots = detail::usualSlots) {
    return HashMap(detail::createTable<psHashMap, Order>(in, slots));
  }
  static HashMap open_or_create(const pstHandle<psContObj>& in, const char* name) {
    return open_or_create(in, name, in);
  }
  static HashMap open_or_create(const pstHandle<psObj>& scope, const char* name, const pstHandle<psContObj>& in) {
    return detail::openOrCreate<HashMap>(scope, name, in);
  }
};

}  // namespace ps
