#pragma once

#include <optional>
#include <utility>

#include "tree/TreeCursor.h"
#include "typed/KeyedView.h"

namespace ps {

// What the views of sorted sets and maps share.
template <class Collection, class T, class OrderType, class Here>
class SortedView : public KeyedView<Collection, T, OrderType, CursorIterator<detail::TreeCursor, Here>> {
  using Base = KeyedView<Collection, T, OrderType, CursorIterator<detail::TreeCursor, Here>>;
  using End = detail::RawKey::End;

 public:
  using Base::Base;
  // The elements are in the order of Order.
  static constexpr bool isSorted = true;
  using typename Base::iterator;
  using typename Base::Key;
  using typename Base::Order;
  // The number of entries to a node that create() gives a collection. Few large nodes are searched fastest.
  static constexpr int usualCapacity = 200;

  // The first element that is not less than the key, or that is greater.
  iterator lower_bound(const Key& key) const { return bound(key, End::beforeFirst); }
  iterator upper_bound(const Key& key) const { return bound(key, End::behindLast); }
  Range<iterator> equal_range(const Key& key) const { return {lower_bound(key), upper_bound(key)}; }
  // The elements from one key up to another, which is not among them.
  Range<iterator> range(const Key& from, const Key& to) const { return {lower_bound(from), lower_bound(to)}; }

  // The elements whose first keys are these, of an order with several.
  template <class... P>
  Range<iterator> with(const P&... parts) const {
    return between(detail::PartialKey<typename Order::Views>::of(false, parts...));
  }
  // The same, but the last one is a text with which the element's begins.
  template <class... P>
  Range<iterator> prefix(const P&... parts) const {
    return between(detail::PartialKey<typename Order::Views>::of(true, parts...));
  }

  // By position, from 0. operator[] and at throw ps::Error of kind usage when there is no such position. Each costs a
  // descent of the tree.
  iterator nth(int index) const {
    return this->at([index](auto& cursor, pstRef<psObj>& element) { return cursor.toIndex(index, element); });
  }
  // The position of the element at which an iterator stands; size() for end().
  int index_of(const iterator& at) const {
    if (at == this->end()) return this->size();
    const int index = at.cursor().index();
    if (index < 0) detail::throwRefused(this->id(), "the position cannot be determined");
    return index;
  }

  // Packs the nodes: after many removals the collection takes less room.
  void compact() {
    this->asked([](Collection& all) {
      all.compact();
      return true;
    });
  }

 private:
  iterator bound(const Key& key, End end) const {
    if constexpr (Base::isById) {
      const pstHandle<psObj> wanted(key);
      iterator it = seek(wanted);
      if (end == End::behindLast && it.ref().id() == key) ++it;
      return it;
    } else {
      const typename Order::Views views = detail::KeyOf<Order>::views(key);
      return seek(detail::RawKey{&views, end});
    }
  }
  Range<iterator> between(const detail::PartialKey<typename Order::Views>& key) const {
    return {seek(key.raw(End::beforeFirst)), seek(key.raw(End::behindLast))};
  }
  iterator seek(const detail::RawKey& raw) const {
    return this->at(
        [&raw](auto& cursor, pstRef<psObj>& element) { return cursor.seek(static_cast<const void*>(&raw), element); });
  }
  iterator seek(const pstHandle<psObj>& key) const {
    return this->at([&key](auto& cursor, pstRef<psObj>& element) { return cursor.seek(key, element); });
  }
};

}  // namespace ps
