#pragma once

#include <algorithm>
#include <optional>
#include <type_traits>
#include <vector>

#include "core/psCollection.h"
#include "typed/Order.h"
#include "typed/Ref.h"

namespace ps {

namespace detail {

// Asks once what the views of a collection rely on. Throws when there is no object with the identifier, when it is of
// another class, or when it has another comparator; orderTypeN 0 means none, and anyComparator does not ask.
constexpr unsigned int anyComparator = ~0U;
PS_API void checkCollection(const psId& id, unsigned int typeN, unsigned int orderTypeN);

// The identifier of what is filed in the scope under the name; null when nothing is.
PS_API psId filedUnder(const pstHandle<psObj>& scope, const char* name);
PS_API void file(const pstHandle<psObj>& collection, const pstHandle<psObj>& scope, const char* name);
// Throws unless the construction of a collection was completed; deletes it otherwise.
PS_API void requireComplete(const pstHandle<psCollection>& made, const pstHandle<psContObj>& in);

// The class number of an order's comparator; 0 for ById.
template <class Order>
constexpr unsigned int comparatorTypeOf() {
  if constexpr (std::is_same_v<Order, ById>)
    return 0;
  else if constexpr (std::is_void_v<Order>)
    return anyComparator;
  else
    return Order::pstTypeN;
}

// A new comparator in the container; null for ById.
template <class Order>
pstHandle<psCompare> makeComparator(const pstHandle<psContObj>& in) {
  if constexpr (std::is_same_v<Order, ById>)
    return {};
  else
    return pstHandle<psCompare>(make<Order>(in).id());
}

PS_API psId requireFiled(const pstHandle<psObj>& scope, const char* name);

constexpr int usualSlots = 101;  // of a bucket

template <class Collection, class Order>
psId createTree(const pstHandle<psContObj>& in, int capacity) {
  pstHandle<psCompare> order = makeComparator<Order>(in);
  const pstHandle<Collection> made(new (in) Collection(order, capacity, in, in));
  requireComplete(made, in);
  return made.oid();
}
template <class Collection, class Order>
psId createTable(const pstHandle<psContObj>& in, int slots) {
  pstHandle<psCompare> order = makeComparator<Order>(in);
  const pstHandle<Collection> made(new (in) Collection(order, slots, 1, in));
  requireComplete(made, in);
  return made.oid();
}
// What each class of views has by its create.
template <class View>
class Opened {
 public:
  // The collection of that name in the container or database that is the scope, created in `in` and filed there when
  // there is none.
  static View open_or_create(const pstHandle<psObj>& scope, const char* name, const pstHandle<psContObj>& in) {
    const psId there = filedUnder(scope, name);
    if (!there.isNull()) return View(there);
    View made = View::create(in);
    file(made.plain(), scope, name);
    return made;
  }
  static View open_or_create(const pstHandle<psContObj>& in, const char* name) { return open_or_create(in, name, in); }
};

// The key of a look-up: a view of the order's only key, or a tuple of views.
template <class Order>
struct KeyOf {
  using Views = typename Order::Views;
  static constexpr bool isSingle = std::tuple_size_v<Views> == 1;
  using type = std::conditional_t<isSingle, std::tuple_element_t<0, Views>, Views>;
  static Views views(const type& key) {
    if constexpr (isSingle)
      return Views(key);
    else
      return key;
  }
};
// Without a comparator elements are found by what they are.
template <>
struct KeyOf<ById> {
  using type = psId;
};

// A key of which the first parts count, with the views that it points to.
template <class Views>
struct PartialKey {
  Views views;
  std::size_t parts;
  bool isPrefix;

  template <class... P>
  static PartialKey of(bool isPrefix, const P&... parts) {
    static_assert(sizeof...(P) > 0 && sizeof...(P) <= std::tuple_size_v<Views>, "more parts than the key has");
    PartialKey key{Views(), sizeof...(P), isPrefix};
    key.fill(std::index_sequence_for<P...>(), parts...);
    return key;
  }
  RawKey raw(RawKey::End end) const { return {&views, end, parts, isPrefix}; }

 private:
  template <std::size_t... I, class... P>
  void fill(std::index_sequence<I...>, const P&... given) {
    ((std::get<I>(views) = std::tuple_element_t<I, Views>(given)), ...);
  }
};

// The reference that an element of a range is, or that its iterator has.
template <class T, class Iterator>
Ref<T> referenceAt(const Iterator& at) {
  if constexpr (std::is_convertible_v<decltype(*at), Ref<T>>)
    return *at;
  else
    return at.ref();
}

}  // namespace detail

// What the views of all collections share. A view is light: an identifier, and the collection's page held in memory. It
// can be copied, and kept from one transaction to the next. Copies are views of one collection.
//
// What is refused throws ps::Error, and so does any use when the collection has been deleted. That something is not
// there is no failure.
template <class Collection>
class CollectionView {
 public:
  // The class of the collection that is viewed.
  using Plain = Collection;

  const psId& id() const { return handle_.oid(); }
  // For the operations that are not typed.
  const pstHandle<Collection>& plain() const { return handle_; }
  // As a reference, to be stored in an object.
  operator pstRef<Collection>() const { return pstRef<Collection>(id()); }
  Ref<Collection> ref() const { return Ref<Collection>(id()); }

  int size() const {
    const int n = collection().size();
    if (n < 0) detail::throwRefused(id(), "the collection cannot be counted");
    return n;
  }
  bool empty() const {
    return asked([](Collection& all) { return all.isEmpty(); });
  }
  // Removes all elements; their objects stay.
  void clear() {
    asked([](Collection& all) {
      all.clear();
      return true;
    });
  }
  // Removes the elements whose objects have been deleted.
  void remove_all_deleted() {
    asked([](Collection& all) {
      all.removeAllDeleted();
      return true;
    });
  }
  // Deletes the collection, with all its parts. The elements stay, and the view names nothing then.
  void destroy() {
    pstHandle<psObj> all(handle_);
    if (psDelete(all) != 1) detail::throwRefused(id(), "the collection cannot be deleted");
    handle_ = pstHandle<Collection>();
  }

  friend bool operator==(const CollectionView& a, const CollectionView& b) { return a.id() == b.id(); }
  friend bool operator!=(const CollectionView& a, const CollectionView& b) { return a.id() != b.id(); }

 protected:
  explicit CollectionView(const psId& id, unsigned int orderTypeN) : handle_(id) {
    detail::checkCollection(id, Collection::pstTypeN, orderTypeN);
  }

  Collection& collection() const {
    Collection* const all = handle_.operator->();
    if (PS_UNLIKELY(all == nullptr)) detail::throwNotOpen(id());
    return *all;
  }
  // The result of an operation, in which nothing may be refused.
  template <class Operation>
  auto asked(Operation operation) const {
    Collection& all = collection();
    const detail::Watch watch;
    auto result = operation(all);
    watch.check(id(), "the collection cannot be read");
    return result;
  }
  // The same for one whose false or null result alone may come from a refusal.
  template <class Operation>
  auto done(Operation operation) const {
    Collection& all = collection();
    const detail::Watch watch;
    auto result = operation(all);
    if (!result) watch.check(id(), "the collection cannot be read or changed");
    return result;
  }

 private:
  pstHandle<Collection> handle_;
};

}  // namespace ps
