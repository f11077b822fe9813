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
class SortedMap : public MapView<SortedView<psTreeMap, K, Order, MapEntry<K, V>>, K, V>,
                  public detail::Opened<SortedMap<K, V, Order>> {
  using Base = MapView<SortedView<psTreeMap, K, Order, MapEntry<K, V>>, K, V>;

 public:
  using Base::Base;

  // A new map in a container, with its comparator and its parts, and with so many entries to a node.
  static SortedMap create(const pstHandle<psContObj>& in, int capacity = Base::usualCapacity) {
    return SortedMap(detail::createTree<psTreeMap, Order>(in, capacity));
  }
};

}  // namespace ps
