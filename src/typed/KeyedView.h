#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "typed/CollectionView.h"
#include "typed/CursorIterator.h"

namespace ps {

// What the views of sets and maps share: elements, or keys, are found by the views of an order, or by reference. A key
// is a number, a std::string_view and so on, or a tuple of these when the order has several keys.
template <class Collection, class T, class OrderType, class Iterator>
class KeyedView : public CollectionView<Collection> {
  static_assert(std::is_same_v<OrderType, ById> || std::is_base_of_v<psCompare, OrderType>,
                "the order is a class that PS_ORDER defines, or ps::ById");

 public:
  // The order of the elements, and what they are looked up by.
  using Order = OrderType;
  using Key = typename detail::KeyOf<Order>::type;
  using iterator = Iterator;
  using const_iterator = Iterator;
  using reverse_iterator = BackIterator<Iterator>;
  using const_reverse_iterator = reverse_iterator;
  using value_type = typename Iterator::value_type;
  using size_type = int;
  using difference_type = std::ptrdiff_t;

  // Whether the elements are in the order of Order, or in none; and whether identifiers take the place of keys.
  static constexpr bool isSorted = false;
  static constexpr bool isById = std::is_same_v<Order, ById>;

  // A view of the collection that an identifier, a reference or a name leads to. Throws ps::Error when there is none,
  // when the object is of another class, or when it has another comparator.
  explicit KeyedView(const psId& id) : CollectionView<Collection>(id, detail::comparatorTypeOf<Order>()) {}
  KeyedView(const pstRef<Collection>& collection) : KeyedView(collection.oid()) {}
  KeyedView(const Ref<Collection>& collection) : KeyedView(collection.id()) {}
  KeyedView(const pstHandle<psObj>& scope, const char* name) : KeyedView(detail::requireFiled(scope, name)) {}

  iterator begin() const {
    return at([](auto& cursor, pstRef<psObj>& element) { return cursor.toFirst(element); });
  }
  iterator end() const { return iterator(cursor()); }
  reverse_iterator rbegin() const {
    return reverse_iterator(at([](auto& cursor, pstRef<psObj>& element) { return cursor.toLast(element); }));
  }
  reverse_iterator rend() const { return reverse_iterator(end()); }

  // Whether an element, or pair, matches.
  bool contains(const Key& key) const {
    return this->done([&key](Collection& all) { return byKey(key, [&all](auto k) { return all.contains(k); }); });
  }
  bool contains(const Ref<T>& element) const {
    return this->done([&element](Collection& all) { return all.contains(asHandle(element)); });
  }

  // Removes the element, or pair, that matches; false when there is none.
  bool erase(const Key& key) { return eraseAt(find(key)); }
  bool erase(const Ref<T>& element) { return eraseAt(find(element)); }
  // Removes the element at which the iterator stands, and returns an iterator at the next one.
  iterator erase(iterator at) {
    return std::move(at.step([](auto& cursor, pstRef<psObj>& element) {
      const detail::Watch watch;
      if (!cursor.remove()) {
        watch.check(cursor.collection(), "the element cannot be removed");
        detail::throwRefused(cursor.collection(), "the element cannot be removed");
      }
      return cursor.forward(element);
    }));
  }
  // Removes what the predicate, which takes what *iterator is, is true for. Returns how many.
  template <class Predicate>
  int erase_if(Predicate predicate) {
    int erased = 0;
    for (iterator it = begin(); it != end();) {
      const bool goes = predicate(*it);
      if (goes)
        it = erase(std::move(it));
      else
        ++it;
      erased += goes ? 1 : 0;
    }
    return erased;
  }

  // An iterator at the element, or pair, that matches; end() when there is none.
  iterator find(const Key& key) const {
    return byKey(key, [this](auto k) {
      return this->at([k](auto& cursor, pstRef<psObj>& element) { return cursor.find(k, element); });
    });
  }
  iterator find(const Ref<T>& element) const {
    return at([&element](auto& cursor, pstRef<psObj>& found) { return cursor.find(asHandle(element), found); });
  }

 protected:
  using Cursor = std::remove_cv_t<std::remove_reference_t<decltype(std::declval<Iterator&>().cursor())>>;

  Cursor cursor() const {
    if constexpr (std::is_constructible_v<Cursor, psId, bool>)
      return Cursor(this->id(), isMap);
    else
      return Cursor(this->id());
  }
  template <class Go>
  iterator at(Go go) const {
    iterator it(cursor());
    it.go(go);
    return it;
  }
  static const pstHandle<psObj>& asHandle(const Ref<T>& element) { return element.handle(); }
  // Calls f with what the library takes for the key: a raw key, or a handle.
  template <class F>
  static auto byKey(const Key& key, F f) {
    if constexpr (isById) {
      const pstHandle<psObj> element(key);
      return f(element);
    } else {
      const typename Order::Views views = detail::KeyOf<Order>::views(key);
      const detail::RawKey raw{&views};
      return f(static_cast<const void*>(&raw));
    }
  }

 private:
  static constexpr bool isMap = !std::is_same_v<value_type, T>;

  bool eraseAt(iterator it) {
    const bool isThere = it != end();
    if (isThere) erase(std::move(it));
    return isThere;
  }
};

}  // namespace ps
