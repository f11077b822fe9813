#pragma once

#include "hash/psHashMapEntry.h"
#include "hash/psHashSet.h"

// A hash map: from key objects to value objects, in no order. It is a hash set of its keys, each of which is in an
// entry, an object that also holds its value. See psHashSet for hashing, the key flavours, growth and the costs.
//
//   pstHandle<psHashMap> map(new (in) psHashMap(comparator, 101, 1));
//   map->put(word, occurrences);
//   pstHandle<psTreeList> found(map->get("word"));
//
// - A value may be null. get returns null for it, as for an absent key; contains tells the two apart.
// - The map refers to keys and values, and owns neither. What is replaced or removed stays alive. The map owns the
//   entries. An entry that a split moves to a bucket in another container becomes a new object there.
// - As a set, a map is the set of its keys. Where operations of the set add a key, its value is null, even when the key
//   was there with another value.
//
// Cost: besides what the set opens, an operation opens the entries that share the key's slot. They lie in the container
// of their bucket.
class PS_API psHashMap : public psHashSet {
  PS_PERSISTENT_CLASS(psHashMap, psHashSet, 4028)

 public:
  // An empty map, made as a set is.
  psHashMap(int slots, int directorySize, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  psHashMap(pstHandle<psCompare>& comparator, int slots, int directorySize,
            pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  psHashMap(const pstHandle<psCompare>& comparator, int slots, int directorySize,
            const pstHandle<psContObj>& adminContainer = pstHandle<psContObj>(),
            const pstHandle<psContObj>& bucketContainer = pstHandle<psContObj>())
      : psHashMap(ps::detail::lvalue(pstHandle<psCompare>(comparator)), slots, directorySize, adminContainer,
                  bucketContainer) {}
  template <class Id, class... Rest, std::enable_if_t<std::is_same_v<Id, psId>, int> = 0>
  psHashMap(const Id& comparator, int, Rest&&...) = delete;
  // Deletes the entries, buckets, chains and administrator. Also deletes every container that is then empty, unless it
  // has a name or is garbage-collectable. Keys and values stay.
  ~psHashMap() noexcept override;

  // Stores the pair. When a matching key is there, that key object stays and its value is replaced. compare, or the
  // Java key, says what is equal. False, with no pair changed, for a null key or when something could not be opened.
  bool put(const pstHandle<psObj>& key, const pstHandle<psObj>& value);
  bool put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, unsigned int hash, psCompareFunction compare,
           psHashFunction hashFunction);
  bool put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, _jobject*& javaKey, _jobject*& callee,
           JNIEnv_* env);

  // Puts the element as a key with a null value, even when the key is there with another value. Returns what put
  // returns.
  bool add(const pstHandle<psObj>& element) override;
  using psHashSet::add;
  // Puts all pairs of another map, or all elements of another collection as keys with null values. Continues after a
  // put that fails, but stops when the store refuses something. True when there was any element.
  bool addAll(pstHandle<psCollection>& other) override;
  using psCollection::addAll;
  // Puts n pairs, and returns how many were put. Stops when the store refuses something. Of pairs with equal keys the
  // first key is stored, and the last value. This and addAll are made for many pairs; see the set's.
  int append(const pstRef<psObj>* keys, const pstRef<psObj>* values, int n);
  using psHashSet::append;

  // The entry of the key that matches; null when there is none.
  pstHandle<psHashMapEntry> entry(const pstHandle<psObj>& key) const;
  pstHandle<psHashMapEntry> entry(const void* key) const;
  pstHandle<psHashMapEntry> entry(const psObj* key) const { return entry(pstHandle<psObj>(key)); }
  pstHandle<psHashMapEntry> entry(unsigned int hash, psCompareFunction compare) const;
  pstHandle<psHashMapEntry> entry(_jobject*& key, _jobject*& callee, JNIEnv_* env) const;

  // The value of the key that matches. Null when there is no such key, when the value is null, or on failure. (The Java
  // flavour computes the hash itself.)
  pstRef<psObj> get(const pstHandle<psObj>& key) const;
  pstRef<psObj> get(const psObj* key) const { return get(pstHandle<psObj>(key)); }
  pstRef<psObj> get(const void* key) const override;
  pstRef<psObj> get(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const override;
  pstRef<psObj> get(unsigned int hash, psCompareFunction compare) const override;

  // Whether a key matches. An entry that is passed as an object stands for its key.
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& keyOrEntry) const override;
  bool contains(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const override;
  bool contains(unsigned int hash, psCompareFunction compare) const override;
  using psHashSet::contains;

  // The same as contains.
  bool containsKey(const pstHandle<psObj>& key) const;
  bool containsKey(const void* key) const;
  bool containsKey(const psObj* key) const { return containsKey(pstHandle<psObj>(key)); }
  // Whether this very object is a value. A null handle asks whether there is a null value. Searches all pairs.
  bool containsValue(const pstHandle<psObj>& value) const;

  // Removes the pair of the key that matches, and returns its value. Null when the value was null, when there was no
  // such key, or when something could not be opened.
  pstRef<psObj> unbind(const pstHandle<psObj>& key);
  pstRef<psObj> unbind(const void* key);
  pstRef<psObj> unbind(const psObj* key) { return unbind(pstHandle<psObj>(key)); }
  pstRef<psObj> unbind(unsigned int hash, psCompareFunction compare);

  // Removes the pair of the key, or of the entry, that matches. True when its value was not null. A pair with a null
  // value is removed too, but the result is false; removeAll uses this result. The other flavours return whether a pair
  // was removed.
  bool remove(const pstHandle<psObj>& keyOrEntry) override;
  bool remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) override;
  using psHashSet::remove;

  // Removes the pairs whose keys have been deleted, and makes values null that have been deleted.
  void removeAllDeleted() override;

  // Iterators over the entries, over the keys, which also give the values, and over the values.
  psCollectionIterator* iterator() const override;
  psCollectionIterator* keyIterator() const override;
  psCollectionIterator* valueIterator() const override;

  // Puts an entry where the hash says that it belongs. An entry from another container becomes a new object near its
  // bucket. A split does not call this; see psHashSet::rehash.
  bool rehash(const pstHandle<psObj>& entry, unsigned int hash) override;

  // Adds a pair whose key must not be in the map yet; bucket is the one that the hash leads to. False when it is not,
  // or when the pair could not be added.
  bool addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                   unsigned int hash);
  bool addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                   unsigned int hash, psCompareFunction compare, psHashFunction hashFunction);
  bool addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                   unsigned int hash, _jobject*& javaKey, _jobject*& callee, JNIEnv_* env);

  // An identifier is not a hash, though it converts to a number.
  template <class First, class... Rest>
  pstHandle<psHashMapEntry> entry(const psId& key, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  pstRef<psObj> get(const psId& key, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  pstRef<psObj> unbind(const psId& key, First&&, Rest&&...) = delete;
};

static_assert(sizeof(psHashMap) == sizeof(psHashSet), "a map has no field of its own");
