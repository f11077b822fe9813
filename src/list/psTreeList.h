#pragma once

#include "tree/psBTree.h"

// A positional list: references to objects in the order in which they were put, addressed by position from 0 on. The
// same object may stand in it several times, and so may null references. It is a B-tree of objects of the store, so it
// holds any number of elements and is read page by page.
//
//   pstHandle<psTreeList> list(new (in) psTreeList(200));
//   if (list->add(word) == 1) ...
//
// Use it where the order is the application's own. Elements are found by position or by identity: two references are
// equal when they name the same object, and a raw key is the address of a pstHandle<psObj> (a null one means the null
// reference).
//
// - A position that does not exist changes nothing: 0, or null from get.
// - remove takes the first occurrence of the object. So does removeLast: it removes last(), which may stand further
// left
//   as well. removeRange(size() - 1, size() - 1) removes the last position. removeAll removes as many occurrences of an
//   object as the other collection holds.
// - Elements whose objects are deleted stay until removeAllDeleted removes them.
// - moveCurrentTo of an iterator keeps the element's position; other occurrences of the object are not told.
// - Changes invalidate iterators other than the one that made them.
// - The number of entries in a node is fixed at construction. 200 suits most lists. Appending leaves full nodes behind,
//   insertion in the middle half-full ones; compact packs them.
//
// Cost: the ends are reached along one path from the root, and adding there writes one leaf. Any other position costs a
// walk over the leaves before it, two objects opened for each; so does size. To visit many positions, use one iterator.
// contains, remove and indexOf read the elements from the left.
class PS_API psTreeList : public psBTree {
  PS_PERSISTENT_CLASS(psTreeList, psBTree, 4020)

 public:
  // An empty list with the given number of entries to a node, at least 4. The administrator and the root's array go
  // into the given containers; for a null one an unnamed container is created near the list, garbage-collectable when
  // the list's own is. A list whose construction the store refuses in part has no admin(), takes no element and can be
  // deleted.
  explicit psTreeList(int maxNumberOfChildren, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                      pstHandle<psContObj> arrayContainer = pstHandle<psContObj>());
  // Deletes the nodes, arrays and administrator, and every container that is left empty, unnamed and not
  // garbage-collectable. The elements stay.
  ~psTreeList() noexcept override;

  // Appends the element. True when it has been added.
  bool add(const pstHandle<psObj>& element) override;
  // Appends the elements of other (a map's keys), in its order. True when all were added; it stops at the first that
  // could not be. False when other is this list.
  bool addAll(pstHandle<psCollection>& other) override;

  const pstRef<psTreeAdmin>& admin() const override;
  // Null: a list has none.
  pstRef<psCompare> comparator() const override;
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& element) const override;
  // Null: a list knows no keys. (get(int) takes a position.)
  pstRef<psObj> get(const void* key) const override;
  psCollectionIterator* iterator() const override;
  bool remove(const pstHandle<psObj>& element) override;
  using psBTree::contains;
  using psBTree::get;

  // Stores nothing: a list's leaf is marked by itself, not by its lowest element. 1.
  int first(const pstHandle<psObj>& element) override;
  int full(int where) override;
  pstRef<psObj> first() const override;

  // Inserts the element so that it gets position index, which may be size(). 1 or 0.
  int add(int index, const pstHandle<psObj>& element);
  // Inserts the elements of other (a map's keys) so that the first gets position index, in one pass. 1 when all were
  // added; 0 at the first that could not be, and when other is this list.
  int addAll(int index, pstHandle<psCollection>& other);
  int addFirst(const pstHandle<psObj>& element);
  int addLast(const pstHandle<psObj>& element);

  // Removes the positions from `from` to `to`, both included. 1; 0 with nothing removed when there are no such
  // positions, and 0 when something could not be opened on the way.
  int removeRange(int from, int to);

  // Replaces the element at position index. 1 or 0.
  int set(int index, const pstHandle<psObj>& element);

 private:
  pstRef<psTreeAdmin> admin_;
};

static_assert(sizeof(psTreeList) == 32, "stored layout");
