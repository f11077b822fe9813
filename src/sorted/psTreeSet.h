#pragma once

#include "tree/psBTree.h"

// A sorted set: references to objects, without duplicates, in the order of a comparator, or of the objects' identifiers
// when there is none. It is a B-tree of objects of the store, so it holds any number of elements and is read page by
// page.
//
//   pstHandle<psTreeSet> set(new (in) psTreeSet(comparator, 200));
//   if (set->add(word)) ...
//
// Use it where elements are wanted in order, or looked up by a key that the comparator understands.
//
// - Two elements that the comparator calls equal are never both in the set: add refuses the second, null, and, without
//   further distinction, what could not be placed because something could not be opened. remove removes the element
//   that matches, which with a comparator may be another object than the one given.
// - The order must not change under the set: do not change what the comparator reads of an element while it is stored,
//   do not move elements but by moveCurrentTo of an iterator, and remove an element before its object is deleted. (What
//   was deleted all the same goes with removeAllDeleted; until then a comparator that opens elements makes operations
//   near it fail.)
// - Changes invalidate iterators other than the one that made them.
// - The number of entries in a node is fixed at construction. 200 suits sets that are searched; a small one makes more,
//   smaller objects, each with a container for its array.
// - A raw key needs a comparator that understands it: without one, contains and remove give false and get null.
//
// Cost: a search opens, on each of the levels (three for a million elements at 200 to a node), an array and about eight
// leaves, and compares about eight times; a comparator opens what it compares. add and remove open the leaf's array for
// update as well, and now and then a few more objects to split or remove a node. size, get(int) and indexOf walk all
// leaves.
//
// Look-ups come in four key flavours (see psCompare), which otherwise do the same.
class PS_API psTreeSet : public psBTree {
  PS_PERSISTENT_CLASS(psTreeSet, psBTree, 4017)

 public:
  // An empty set with n entries to a node, at least 4. The administrator and the root's array go into the given
  // containers; for a null one an unnamed container is created near the set, garbage-collectable when the set's own is.
  // A set whose construction the store refuses in part has no admin(), takes no element and can be deleted.
  explicit psTreeSet(int n, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  explicit psTreeSet(pstHandle<psCompare>& comparator, int n,
                     pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  // Deletes the nodes, arrays and administrator, and every container that is left empty, unnamed and not
  // garbage-collectable. The elements stay.
  ~psTreeSet() noexcept override;

  // True when the element has been added. compare, or the Java key, says where the element belongs.
  bool add(const pstHandle<psObj>& element) override;
  bool add(const pstHandle<psObj>& element, psCompareFunction compare);
  bool add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env);

  const pstRef<psTreeAdmin>& admin() const override;
  pstRef<psCompare> comparator() const override;

  // Whether an element matches.
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& element) const override;
  bool contains(psCompareFunction compare) const;
  bool contains(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  using psBTree::contains;

  // The stored element that matches, null when there is none. (get(int) takes a position.)
  pstRef<psObj> get(const void* key) const override;
  pstRef<psObj> get(const pstHandle<psObj>& element) const;
  pstRef<psObj> get(const psId& element) const { return get(pstHandle<psObj>(element)); }
  pstRef<psObj> get(const psObj* element) const { return get(pstHandle<psObj>(element)); }
  pstRef<psObj> get(const psRefBase& element) const { return get(element.oid()); }
  using psBTree::get;

  // True when an element matched and has been removed.
  bool remove(const pstHandle<psObj>& element) override;
  bool remove(psCompareFunction compare);
  bool remove(const psObj* element) { return remove(pstHandle<psObj>(element)); }

  virtual bool remove(const void* key);
  virtual pstRef<psObj> get(_jobject*& key, _jobject*& callee, JNIEnv_* env) const;
  virtual bool remove(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  virtual pstRef<psObj> get(psCompareFunction compare) const;

 private:
  friend class psTreeMap;

  pstRef<psTreeAdmin> admin_;
  pstRef<psCompare> comparator_;
};

static_assert(sizeof(psTreeSet) == 40, "stored layout");
