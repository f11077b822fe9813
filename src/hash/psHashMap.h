#pragma once

#include "hash/psHashMapEntry.h"
#include "hash/psHashSet.h"

// A hash map: from key objects to value objects, in no order. It is a hash set of its keys (see there for hashing, the
// key flavours, growth and the costs), in which each key stands in an entry, an object that holds its value too.
//
//   pstHandle<psHashMap> map(new (in) psHashMap(comparator, 101, 1));
//   map->put(word, occurrences);
//   pstHandle<psTreeList> found(map->get("word"));
//
// - A value may be null. get then gives null, as it does for a key that is not there; contains tells the two apart.
// - The map refers to keys and values, and owns neither: what is replaced or removed stays alive. It owns the entries;
//   one that a split moves to a bucket in another container becomes a new object there.
// - As a set, a map is the set of its keys. Where the set's operations add a key, its value is null, also when the key
//   was there with another.
//
// Cost: an operation opens the entries that share the key's slot, besides what the set's opens; they lie in their
// bucket's container.
class PS_API psHashMap : public psHashSet {
  PS_PERSISTENT_CLASS(psHashMap, psHashSet, 4028)

 public:
  // An empty map, made as a set is.
  psHashMap(int slots, int directorySize, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  psHashMap(pstHandle<psCompare>& comparator, int slots, int directorySize,
            pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  template <class... Rest>
  psHashMap(const psId& comparator, int, Rest&&...) = delete;
  // Deletes the entries, buckets, chains and administrator, and every container that is left empty, unnamed and not
  // garbage-collectable. Keys and values stay.
  ~psHashMap() noexcept override;

  // Binds the key to the value. When a key that matches is there, that key object stays, and its value is replaced.
  // compare, or the Java key, tells what is equal. False, with no pair changed, for a null key or when something could
  // not be opened.
  bool put(const pstHandle<psObj>& key, const pstHandle<psObj>& value);
  bool put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, unsigned int hash, psCompareFunction compare,
           psHashFunction hashFunction);
  bool put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, _jobject*& javaKey, _jobject*& callee,
           JNIEnv_* env);

  // Puts the element as a key with a null value, also where the key is there with another. What put gives.
  bool add(const pstHandle<psObj>& element) override;
  using psHashSet::add;
  // Puts all pairs of another map, or all elements of another collection as keys with null values. True when there was
  // any; a put that fails is passed over, unless the store refused something: that ends it.
  bool addAll(pstHandle<psCollection>& other) override;

  // The entry of the key that matches, null when there is none.
  pstHandle<psHashMapEntry> entry(const pstHandle<psObj>& key) const;
  pstHandle<psHashMapEntry> entry(const void* key) const;
  pstHandle<psHashMapEntry> entry(const psObj* key) const { return entry(pstHandle<psObj>(key)); }
  pstHandle<psHashMapEntry> entry(unsigned int hash, psCompareFunction compare) const;
  pstHandle<psHashMapEntry> entry(_jobject*& key, _jobject*& callee, JNIEnv_* env) const;

  // The value of the key that matches. Null when there is none, when it is null, or on failure. (The Java flavour
  // computes the hash itself.)
  pstRef<psObj> get(const pstHandle<psObj>& key) const;
  pstRef<psObj> get(const psObj* key) const { return get(pstHandle<psObj>(key)); }
  pstRef<psObj> get(const void* key) const override;
  pstRef<psObj> get(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const override;
  pstRef<psObj> get(unsigned int hash, psCompareFunction compare) const override;

  // Whether a key matches. An entry, handed in as an object, stands for its key.
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& keyOrEntry) const override;
  bool contains(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const override;
  bool contains(unsigned int hash, psCompareFunction compare) const override;
  using psHashSet::contains;

  bool containsKey(const pstHandle<psObj>& key) const;
  bool containsKey(const void* key) const;
  bool containsKey(const psObj* key) const { return containsKey(pstHandle<psObj>(key)); }
  // Whether this very object is a value; a null handle asks whether there is a null value. Looks through all pairs.
  bool containsValue(const pstHandle<psObj>& value) const;

  // Removes the pair of the key that matches. Its value; null as well when that was null, when there was none, or when
  // something could not be opened.
  pstRef<psObj> unbind(const pstHandle<psObj>& key);
  pstRef<psObj> unbind(const psObj* key) { return unbind(pstHandle<psObj>(key)); }
  pstRef<psObj> unbind(unsigned int hash, psCompareFunction compare);

  // Removes the pair of the key, or of the entry, that matches. True when its value was not null: a pair with a null
  // value goes as well, and the result is false; removeAll goes by this. The other flavours tell whether a pair was
  // removed.
  bool remove(const pstHandle<psObj>& keyOrEntry) override;
  bool remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) override;
  using psHashSet::remove;

  // Removes the pairs whose keys no longer exist, and makes values that no longer exist null.
  void removeAllDeleted() override;

  // Iterators over the entries, over the keys, which also tells the values, and over the values.
  psCollectionIterator* iterator() const override;
  psCollectionIterator* keyIterator() const override;
  psCollectionIterator* valueIterator() const override;

  // Puts an entry where the hash says that it belongs; one from another container becomes a new object near its bucket.
  // A split does not call it; see the set.
  bool rehash(const pstHandle<psObj>& entry, unsigned int hash) override;

  // Adds a pair whose key is known not to be there; bucket is the one that the hash leads to. False when it is not, or
  // the pair could not be added.
  bool addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                   unsigned int hash);
  bool addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                   unsigned int hash, psCompareFunction compare, psHashFunction hashFunction);
  bool addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                   unsigned int hash, _jobject*& javaKey, _jobject*& callee, JNIEnv_* env);

  // An identifier is no hash, though it converts to a number.
  template <class First, class... Rest>
  pstHandle<psHashMapEntry> entry(const psId& key, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  pstRef<psObj> get(const psId& key, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  pstRef<psObj> unbind(const psId& key, First&&, Rest&&...) = delete;
};

static_assert(sizeof(psHashMap) == sizeof(psHashSet), "a map has no field of its own");
