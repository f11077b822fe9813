#pragma once

#include "sorted/psTreeSet.h"

// A sorted map: from key objects to value objects, in the order of the keys. It is a sorted set of its keys, with a
// value for each. See psTreeSet for the order, the key flavours and the costs. When a key moves within the tree, its
// value moves with it.
//
//   pstHandle<psTreeMap> map(new (in) psTreeMap(comparator, 200));
//   map->put(word, occurrences);
//   pstHandle<psTreeList> found(map->get("word"));
//
// - A value may be null. get returns null for it, as for an absent key; contains tells the two apart.
// - The map refers to keys and values, and owns neither. What is replaced or removed stays alive.
// - As a set, a map is the set of its keys. contains, remove, first, last, indexOf and get(int), which takes the
//   position of a key, are those of the set. remove removes the value with the key. Where operations of the set add a
//   key, its value is null.
//
// Cost: get opens what contains opens, and one more array. put opens the arrays of keys and values for update, or only
// the values for a key that is there.
class PS_API psTreeMap : public psTreeSet {
  PS_PERSISTENT_CLASS(psTreeMap, psTreeSet, 4018)

 public:
  // An empty map with n pairs to a leaf, at least 4, made as a set is. The root's values go near its keys. When the
  // store refuses a part of the construction, the map has no admin() and takes no pair; it can be deleted.
  explicit psTreeMap(int n, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  explicit psTreeMap(pstHandle<psCompare>& comparator, int n,
                     pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  psTreeMap(const pstHandle<psCompare>& comparator, int n,
            const pstHandle<psContObj>& adminContainer = pstHandle<psContObj>(),
            const pstHandle<psContObj>& vArrayContainer = pstHandle<psContObj>())
      : psTreeMap(ps::detail::lvalue(pstHandle<psCompare>(comparator)), n, adminContainer, vArrayContainer) {}
  // Deletes the nodes, arrays and administrator. Also deletes every container that is then empty, unless it has a name
  // or is garbage-collectable. Keys and values stay.
  ~psTreeMap() noexcept override;

  // Stores the pair. When a matching key is there, that key object stays and its value is replaced. compare, or the
  // Java key, says where the key belongs. Returns 1; or 0, with no pair changed, for a null key or when something could
  // not be opened.
  int put(const pstHandle<psObj>& key, const pstHandle<psObj>& value);
  int put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, psCompareFunction compare);
  int put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, _jobject*& javaKey, _jobject*& callee,
          JNIEnv_* env);

  // The value of the key that matches. Null when there is no such key, when the value is null, or on failure.
  pstRef<psObj> get(const pstHandle<psObj>& key) const;
  pstRef<psObj> get(const psId& key) const { return get(pstHandle<psObj>(key)); }
  template <class T>
  pstRef<psObj> get(const pstRef<T>& key) const {
    return get(pstHandle<psObj>(key));
  }
  using psTreeSet::get;

  // The same as contains.
  bool containsKey(const void* key) const { return contains(key); }
  bool containsKey(const pstHandle<psObj>& key) const { return contains(key); }
  bool containsKey(const psObj* key) const { return contains(key); }
  // Whether this very object is a value. Searches the pairs in order, but only up to the first null value.
  bool containsValue(const pstHandle<psObj>& value) const;

  // Puts the element as a key with a null value, even when the key is there with another value. An entry of a hash map
  // is put as its pair. Always true; use put to learn the outcome.
  bool add(const pstHandle<psObj>& element) override;
  // Puts all pairs of another map, or all elements of another collection as keys with null values. Continues after a
  // put that fails, but stops when the store refuses something. True when there was any element.
  bool addAll(pstHandle<psCollection>& other) override;
  using psCollection::addAll;

  // Puts n pairs, and returns how many were put. Stops when the store refuses something. As in the set, pairs with keys
  // in ascending order are what this and addAll are made for.
  int append(const pstRef<psObj>* keys, const pstRef<psObj>* values, int n);
  using psTreeSet::append;

  // Iterators over the keys, which also give the values, and over the values.
  psCollectionIterator* iterator() const override;
  psCollectionIterator* valueIterator() const override;

  // Removes the pairs whose keys have been deleted, and makes values null that have been deleted.
  void removeAllDeleted() override;

  int full(int where) override;
  // The values of the root while it is a leaf.
  pstRef<psUnsortedArray> values() const override;

 private:
  void createValues(int n);

  pstRef<psUnsortedArray> values_;  // empty while the root is an interior node
};

static_assert(sizeof(psTreeMap) == 48, "stored layout");
