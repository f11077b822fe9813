#pragma once

#include "sorted/psTreeSet.h"

// A sorted map: from key objects to value objects, in the order of the keys. It is a sorted set of its keys (see there
// for the order, the key flavours and the costs) that has a value beside each; whatever moves keys moves their values
// with them.
//
//   pstHandle<psTreeMap> map(new (in) psTreeMap(comparator, 200));
//   map->put(word, occurrences);
//   pstHandle<psTreeList> found(map->get("word"));
//
// - A value may be null. get then gives null, as it does for a key that is not there; contains tells the two apart.
// - The map refers to keys and values, and owns neither: what is replaced or removed stays alive.
// - As a set, a map is the set of its keys: contains, remove, first, last, indexOf and get(int), the position of a key,
//   are those of the set, and remove takes the value with the key. Where the set's operations add a key, its value is
//   null.
//
// Cost: get opens what contains does, and one array more; put opens the arrays of keys and values for update, or, for a
// key that is there, the values alone.
class PS_API psTreeMap : public psTreeSet {
  PS_PERSISTENT_CLASS(psTreeMap, psTreeSet, 4018)

 public:
  // An empty map with n pairs to a leaf, at least 4, made as a set is; the root's values go near its keys. A map whose
  // construction the store refuses in part has no admin(), takes no pair and can be deleted.
  explicit psTreeMap(int n, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  explicit psTreeMap(pstHandle<psCompare>& comparator, int n,
                     pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
                     pstHandle<psContObj> vArrayContainer = pstHandle<psContObj>());
  // Deletes the nodes, arrays and administrator, and every container that is left empty, unnamed and not
  // garbage-collectable. Keys and values stay.
  ~psTreeMap() noexcept override;

  // Stores the pair. When a key that matches is there, that key object stays, and its value is replaced. compare, or
  // the Java key, says where the key belongs. 1; 0, with no pair changed, for a null key or when something could not be
  // opened.
  int put(const pstHandle<psObj>& key, const pstHandle<psObj>& value);
  int put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, psCompareFunction compare);
  int put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, _jobject*& javaKey, _jobject*& callee,
          JNIEnv_* env);

  // The value of the key that matches. Null when there is none, when it is null, or on failure.
  pstRef<psObj> get(const pstHandle<psObj>& key) const;
  pstRef<psObj> get(const psId& key) const { return get(pstHandle<psObj>(key)); }
  template <class T>
  pstRef<psObj> get(const pstRef<T>& key) const {
    return get(pstHandle<psObj>(key));
  }
  using psTreeSet::get;

  bool containsKey(const void* key) const { return contains(key); }
  bool containsKey(const pstHandle<psObj>& key) const { return contains(key); }
  bool containsKey(const psObj* key) const { return contains(key); }
  // Whether this very object is a value. The pairs are looked through in order, up to the first whose value is null.
  bool containsValue(const pstHandle<psObj>& value) const;

  // Puts the element as a key with a null value, also where the key is there with another; an entry of a hash map as
  // its pair. True whatever came of it: ask put for that.
  bool add(const pstHandle<psObj>& element) override;
  // Puts all pairs of another map, or all elements of another collection as keys with null values. True when there was
  // any; a put that fails is passed over, unless the store refused something: that ends it.
  bool addAll(pstHandle<psCollection>& other) override;

  // Iterators over the keys, which also tell the values, and over the values.
  psCollectionIterator* iterator() const override;
  psCollectionIterator* valueIterator() const override;

  // Removes the pairs whose keys no longer exist, and makes values that no longer exist null.
  void removeAllDeleted() override;

  // The values of the root while it is a leaf.
  pstRef<psUnsortedArray> values() const override;

 private:
  void createValues(int n);

  pstRef<psUnsortedArray> values_;  // empty while the root is an interior node
};

static_assert(sizeof(psTreeMap) == 48, "stored layout");
