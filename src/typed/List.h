#pragma once

#include <iterator>
#include <optional>
#include <vector>

#include "list/psTreeList.h"
#include "typed/CollectionView.h"
#include "typed/CursorIterator.h"
#include "typed/ListIterator.h"

namespace ps {

// A positional list of references to objects of class T, which may be null, and of which one may be there several
// times:
//
//   auto visits = ps::List<Visit>::open_or_create(in, "visits");
//   visits.push_back(ps::make<Visit>(in, now));
//   for (const ps::Ref<Visit>& visit : visits) ...
//
// Positions are from 0. One that does not exist throws ps::Error of kind usage. It is a view of a psTreeList, which
// tells the costs. See CollectionView for the other operations.
template <class T>
class List : public CollectionView<psTreeList>, public detail::Opened<List<T>> {
  using Base = CollectionView<psTreeList>;

 public:
  using value_type = Ref<T>;
  using iterator = ListIterator<T>;
  using const_iterator = iterator;
  using const_reverse_iterator = ListIterator<T, -1>;
  using reverse_iterator = const_reverse_iterator;
  using size_type = int;
  using difference_type = std::ptrdiff_t;
  // Entries to a node, where none are given.
  static constexpr int usualCapacity = 200;

  // A view of the list that a reference, an identifier or a name leads to. Throws ps::Error when there is none.
  explicit List(const psId& id) : Base(id, detail::anyComparator) {}
  List(const pstRef<psTreeList>& list) : List(list.oid()) {}
  List(const Ref<psTreeList>& list) : List(list.id()) {}
  List(const pstHandle<psObj>& scope, const char* name) : List(detail::requireFiled(scope, name)) {}

  // A new list in a container, with its parts, and with so many entries to a node.
  static List create(const pstHandle<psContObj>& in, int capacity = usualCapacity) {
    const pstHandle<psTreeList> made(new (in) psTreeList(capacity, in, in));
    detail::requireComplete(made, in);
    return List(made.oid());
  }

  iterator begin() const { return iterator(id(), 0); }
  iterator end() const { return iterator(id(), size()); }
  reverse_iterator rbegin() const { return reverse_iterator(id(), size() - 1); }
  reverse_iterator rend() const { return reverse_iterator(id(), -1); }

  // The element at a position.
  Ref<T> operator[](int index) const { return at(index); }
  Ref<T> at(int index) const { return *iterator(id(), index); }
  Ref<T> front() const { return at(0); }
  Ref<T> back() const { return at(size() - 1); }

  void push_back(const Ref<T>& element) {
    require(asked([&element](psTreeList& all) { return all.add(element.handle()); }));
  }
  void push_front(const Ref<T>& element) { insert(0, element); }
  // Inserts before a position, which may be size().
  void insert(int index, const Ref<T>& element) {
    require(asked([&](psTreeList& all) { return all.add(index, element.handle()) == 1; }));
  }
  // Appends the elements of a range: of references, or of a typed collection. Fills one node after the other.
  template <class Elements>
  void append(const Elements& elements) {
    std::vector<pstRef<psObj>> ids;
    const auto end = elements.end();
    for (auto it = elements.begin(); it != end; ++it) ids.emplace_back(detail::referenceAt<T>(it).id());
    const int n = static_cast<int>(ids.size());
    require(asked([&](psTreeList& all) { return all.append(ids.data(), n); }) == n);
  }
  // Makes the list contain exactly the elements of a range, in its order.
  template <class Elements>
  void assign(const Elements& elements) {
    const std::vector<Ref<T>> copy(elements.begin(), elements.end());
    clear();
    append(copy);
  }
  // Replaces the element at a position.
  void set(int index, const Ref<T>& element) {
    require(asked([&](psTreeList& all) { return all.set(index, element.handle()) == 1; }));
  }
  // Removes what is at a position, or at positions from one up to another, which is not removed.
  void erase(int index) { erase(index, index + 1); }
  void erase(int from, int to) {
    if (from == to) return;
    require(asked([&](psTreeList& all) { return all.removeRange(from, to - 1) == 1; }));
  }
  void pop_back() { erase(size() - 1); }
  void pop_front() { erase(0); }

  // By identity; these read the list from its beginning. remove removes the first occurrence. False when there is none.
  bool contains(const Ref<T>& element) const {
    return done([&element](psTreeList& all) { return all.contains(element.handle()); });
  }
  bool remove(const Ref<T>& element) {
    return done([&element](psTreeList& all) { return all.remove(element.handle()); });
  }
  // The first position, from the given one on, at which the element is.
  std::optional<int> index_of(const Ref<T>& element, int from = 0) const {
    const int index = asked([&](psTreeList& all) { return all.indexOf(element.handle(), from); });
    return index < 0 ? std::nullopt : std::optional<int>(index);
  }

  // Packs the nodes of a list that has lost elements, or got some in the middle.
  void compact() {
    asked([](psTreeList& all) {
      all.compact();
      return true;
    });
  }

 private:
  // What is not done was refused, which asked has thrown, or there is no such position.
  void require(bool isDone) const {
    if (!isDone) detail::throwNoPosition(id());
  }
};

}  // namespace ps
