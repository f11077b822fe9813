#pragma once

#include "tree/psBTree.h"

// A positional list: references to objects in the order in which they were inserted, addressed by position from 0. A
// list may hold the same object several times, and null references. It is a B-tree of objects of the store, so it holds
// any number of elements and is read page by page.
//
//   pstHandle<psTreeList> list(new (in) psTreeList(200));
//   if (list->add(word) == 1) ...
//
// Use it when the application itself decides the order. Elements are found by position or by identity. Two references
// are equal when they name the same object. A raw key is the address of a pstHandle<psObj>; a null raw key means the
// null reference.
//
// - A position that does not exist changes nothing: the result is 0, or null from get.
// - remove removes the first occurrence of the object. So does removeLast: it removes the first occurrence of last(),
//   which may be further left. removeRange(size() - 1, size() - 1) removes the last position. removeAll removes as many
//   occurrences of an object as the other collection holds.
// - Elements whose objects are deleted stay until removeAllDeleted removes them.
// - moveCurrentTo of an iterator keeps the element's position. Other occurrences of the object keep the old identifier.
// - Changes invalidate iterators other than the one that made them.
// - The number of entries in a node is fixed at construction. 200 suits most lists. Appending leaves full nodes, and
//   insertion in the middle leaves nodes half full; compact packs them.
//
// Cost: every position is reached along one path from the root, and size() reads one array. A change writes its leaf
// and the arrays along that path. contains, remove and indexOf by identity read the elements from the left: where you
// know the position, use removeRange or an iterator's remove.
class PS_API psTreeList : public psBTree {
  PS_PERSISTENT_CLASS(psTreeList, psBTree, 4020)

 public:
  // An empty list with the given number of entries to a node, at least 4. The administrator and the root's array go
  // into the given containers. For a null one, an unnamed container is created near the list; it is garbage-collectable
  // when the list's own is. When the store refuses a part of the construction, the list has no admin() and takes no
  // element; it can be deleted.
  explicit psTreeList(int maxNumberOfChildren, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                      pstHandle<psContObj> arrayContainer = pstHandle<psContObj>());
  // Deletes the nodes, arrays and administrator. Also deletes every container that is then empty, unless it has a name
  // or is garbage-collectable. The elements stay.
  ~psTreeList() noexcept override;

  // Appends the element. True when it has been added.
  bool add(const pstHandle<psObj>& element) override;
  // Appends the elements of other (a map's keys), in its order. True when all were added; stops at the first that could
  // not be added. False when other is this list.
  bool addAll(pstHandle<psCollection>& other) override;
  using psCollection::addAll;

  // Appends n elements, and returns how many were appended; stops at the first that could not be. addAll and append
  // fill one node after the other, each written once.
  int append(const pstRef<psObj>* elements, int n);

  const pstRef<psTreeAdmin>& admin() const override;
  // Null: a list has no comparator.
  pstRef<psCompare> comparator() const override;
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& element) const override;
  // Null: a list has no keys. (get(int) takes a position.)
  pstRef<psObj> get(const void* key) const override;
  psCollectionIterator* iterator() const override;
  bool remove(const pstHandle<psObj>& element) override;
  using psBTree::contains;
  using psBTree::get;

  // Stores nothing: a list's leaf is marked by itself, not by its lowest element. 1.
  int first(const pstHandle<psObj>& element) override;
  int full(int where) override;
  pstRef<psObj> first() const override;

  // Inserts the element at position index, which may be size(). 1 or 0.
  int add(int index, const pstHandle<psObj>& element);
  // Inserts the elements of other (a map's keys) from position index on, in one pass. 1 when all were added. 0 at the
  // first that could not be added, and when other is this list.
  int addAll(int index, pstHandle<psCollection>& other);
  int addAll(int index, const pstHandle<psCollection>& other) {
    return addAll(index, ps::detail::lvalue(pstHandle<psCollection>(other)));
  }
  // Add the element before all others, or after them. 1 or 0.
  int addFirst(const pstHandle<psObj>& element);
  int addLast(const pstHandle<psObj>& element);

  // Removes the positions from `from` to `to`, both included; 1 on success. 0 with nothing removed when there are no
  // such positions. 0 also when something could not be opened during the removal.
  int removeRange(int from, int to);

  // Replaces the element at position index. 1 or 0.
  int set(int index, const pstHandle<psObj>& element);

 private:
  pstRef<psTreeAdmin> admin_;
};

static_assert(sizeof(psTreeList) == 32, "stored layout");
