#pragma once

#include "sorted/psTreeMap.h"
#include "typed/MapView.h"
#include "typed/SortedView.h"

namespace ps {

// A sorted map from objects of class K to objects of class V, which may be collections:
//
//   auto index = ps::SortedMap<Word, psTreeList, ByText>::open_or_create(in, "index");
//   for (auto [word, lines] : index.prefix("lib")) use(word.text(), ps::List<Line>(lines));
//
// Keys are ordered by a class that PS_ORDER defines, or by identifiers. It is a view of a psTreeMap. See
// CollectionView, KeyedView, SortedView and MapView for the operations.
template <class K, class V, class Order = ById>
class SortedMap : public MapView<SortedView<psTreeMap, K, Order, MapEntry<K, V>>, K, V> {
  using Base = MapView<SortedView<psTreeMap, K, Order, MapEntry<K, V>>, K, V>;

 public:
  // As those of SortedSet.
  explicit SortedMap(const psId& id) : Base(id, detail::comparatorTypeOf<Order>()) {}
  SortedMap(const pstRef<psTreeMap>& map) : SortedMap(map.oid()) {}
  SortedMap(const Ref<psTreeMap>& map) : SortedMap(map.id()) {}
  SortedMap(const pstHandle<psObj>& scope, const char* name) : SortedMap(detail::requireFiled(scope, name)) {}

  static SortedMap create(const pstHandle<psContObj>& in, int capacity = Base::usualCapacity) {
    return SortedMap(detail::createTree<psTreeMap, Order>(in, capacity));
  }
  static SortedMap open_or_create(const pstHandle<psContObj>& in, const char* name) {
    return open_or_create(in, name, in);
  }
  static SortedMap open_or_create(const pstHandle<psObj>& scope, const char* name, const pstHandle<psContObj>& in) {
    return detail::openOrCreate<SortedMap>(scope, name, in);
  }
};

}  // namespace ps
