#pragma once

#include "sorted/psTreeSet.h"
#include "typed/SetView.h"
#include "typed/SortedView.h"

namespace ps {

// A sorted set of objects of class T, ordered by a class that PS_ORDER defines, or by identifiers:
//
//   PS_ORDER(ByName, 20110, &Package::name)
//   using Packages = ps::SortedSet<Package, ByName>;
//   auto packages = Packages::open_or_create(in, "packages");
//   packages.insert(ps::make<Package>(in, "libc", 12));
//   for (const Package& package : packages.prefix("lib")) ...
//
// It is a view of a psTreeSet, which says what may not be changed while an element is stored. See CollectionView,
// KeyedView, SortedView and SetView for the operations.
template <class T, class Order = ById>
class SortedSet : public SetView<SortedView<psTreeSet, T, Order, detail::SetElement<T>>, T>,
                  public detail::Opened<SortedSet<T, Order>> {
  using Base = SetView<SortedView<psTreeSet, T, Order, detail::SetElement<T>>, T>;

 public:
  using Base::Base;

  // A new set in a container, with its comparator and its parts, and with so many entries to a node.
  static SortedSet create(const pstHandle<psContObj>& in, int capacity = Base::usualCapacity) {
    return SortedSet(detail::createTree<psTreeSet, Order>(in, capacity));
  }

  // The element at a position, counted from 0 in the order of the set. Throws when there is none.
  Ref<T> operator[](int index) const { return at(index); }
  Ref<T> at(int index) const {
    const auto it = this->nth(index);
    if (it == this->end()) detail::throwNoPosition(this->id());
    return it.ref();
  }
};

}  // namespace ps
