#pragma once

#include "tree/psBTree.h"

namespace ps::detail {
class SortedAccess;
}  // namespace ps::detail

// A sorted set: references to objects, without duplicates, in the order of a comparator, or of the objects' identifiers
// when there is none. It is a B-tree of objects of the store, so it holds any number of elements and is read page by
// page.
//
//   pstHandle<psTreeSet> set(new (in) psTreeSet(comparator, 200));
//   if (set->add(word)) ...
//
// Use it when you need elements in order, or look them up by a key that the comparator understands.
//
// - The set never holds two elements that the comparator calls equal. add returns false for an equal element, for null,
//   and when something could not be opened; the result does not say which. remove removes the element that matches.
//   With a comparator that may be another object than the one given.
// - The order must not change under the set. While an element is stored, do not change what the comparator reads of it.
//   Move elements only by moveCurrentTo of an iterator. Remove an element before its object is deleted.
//   removeAllDeleted removes elements whose objects were deleted all the same; until then operations near such an
//   element fail if the comparator opens elements.
// - Changes invalidate iterators other than the one that made them.
// - The number of entries in a node is fixed at construction. 200 suits sets that are searched. A smaller number makes
//   more and smaller objects, each with a container for its array.
// - A raw key needs a comparator that understands it. Without one, contains and remove return false, and get returns
//   null.
//
// Cost: at 200 entries to a node, 1,000,000 elements make 3 levels. On each level a search opens an array and about 8
// leaves, and compares about 8 times; a comparator opens what it compares. add and remove also open the arrays on the
// way for update, and sometimes a few more objects to split or remove a node. Where the comparator abbreviates, a
// search opens and compares little more than what it finds, and hardly anything for a key that is missing. get(int) and
// indexOf cost a descent or two, and size one array.
//
// Look-ups come in 4 key flavours (see psCompare), which otherwise do the same.
class PS_API psTreeSet : public psBTree {
  PS_PERSISTENT_CLASS(psTreeSet, psBTree, 4017)

 public:
  // An empty set with n entries to a node, at least 4. The administrator and the root's array go into the given
  // containers. For a null one, an unnamed container is created near the set; it is garbage-collectable when the set's
  // own is. When the store refuses a part of the construction, the set has no admin() and takes no element; it can be
  // deleted.
  explicit psTreeSet(int n, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  explicit psTreeSet(pstHandle<psCompare>& comparator, int n,
                     pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  psTreeSet(const pstHandle<psCompare>& comparator, int n,
            const pstHandle<psContObj>& adminContainer = pstHandle<psContObj>(),
            const pstHandle<psContObj>& vArrayContainer = pstHandle<psContObj>())
      : psTreeSet(ps::detail::lvalue(pstHandle<psCompare>(comparator)), n, adminContainer, vArrayContainer) {}
  // Deletes the nodes, arrays and administrator. Also deletes every container that is then empty, unless it has a name
  // or is garbage-collectable. The elements stay.
  ~psTreeSet() noexcept override;

  // True when the element has been added. compare, or the Java key, says where the element belongs.
  bool add(const pstHandle<psObj>& element) override;
  bool add(const pstHandle<psObj>& element, psCompareFunction compare);
  bool add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env);

  // Adds the elements of other (a map's keys). True when any has been added.
  bool addAll(pstHandle<psCollection>& other) override;
  using psCollection::addAll;
  // Adds n elements, and returns how many of them were not there. Stops when the store refuses something. addAll and
  // append are made for elements in ascending order: those that are greater than all before them fill one node after
  // the other, each written once. Others are added as by add.
  int append(const pstRef<psObj>* elements, int n);

  const pstRef<psTreeAdmin>& admin() const override;
  pstRef<psCompare> comparator() const override;

  // Whether an element matches.
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& element) const override;
  bool contains(psCompareFunction compare) const;
  bool contains(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  using psBTree::contains;

  // The stored element that matches; null when there is none. (get(int) takes a position.)
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
  friend class ps::detail::SortedAccess;

  pstRef<psTreeAdmin> admin_;
  pstRef<psCompare> comparator_;
};

static_assert(sizeof(psTreeSet) == 40, "stored layout");
