#pragma once

#include "hash/HashCursor.h"
#include "typed/KeyedView.h"
#include "typed/SetView.h"

namespace ps {

// A hash set of objects of class T, found by the hash of a class that PS_ORDER defines, or of identifiers. Its elements
// are in no order. It is a view of a psHashSet. See CollectionView, KeyedView and SetView for the operations.
template <class T, class Order = ById>
class HashSet
    : public SetView<KeyedView<psHashSet, T, Order, CursorIterator<detail::HashCursor, detail::SetElement<T>>>, T> {
  using Base = SetView<KeyedView<psHashSet, T, Order, CursorIterator<detail::HashCursor, detail::SetElement<T>>>, T>;

 public:
  // As those of SortedSet.
  explicit HashSet(const psId& id) : Base(id, detail::comparatorTypeOf<Order>()) {}
  HashSet(const pstRef<psHashSet>& set) : HashSet(set.oid()) {}
  HashSet(const Ref<psHashSet>& set) : HashSet(set.id()) {}
  HashSet(const pstHandle<psObj>& scope, const char* name) : HashSet(detail::requireFiled(scope, name)) {}

  // slots is the number of slots of a bucket.
  static HashSet create(const pstHandle<psContObj>& in, int slots = detail::usualSlots) {
    return HashSet(detail::createTable<psHashSet, Order>(in, slots));
  }
  static HashSet open_or_create(const pstHandle<psContObj>& in, const char* name) {
    return open_or_create(in, name, in);
  }
  static HashSet open_or_create(const pstHandle<psObj>& scope, const char* name, const pstHandle<psContObj>& in) {
    return detail::openOrCreate<HashSet>(scope, name, in);
  }
};

}  // namespace ps
