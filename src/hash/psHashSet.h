#pragma once

#include <type_traits>

#include "core/psCollection.h"
#include "hash/psHashAdmin.h"
#include "hash/psHashBucket.h"

namespace ps::detail {
class HashAccess;
}

// A hash set: references to objects, without duplicates and in no order. Elements are found by the hash of a
// comparator, or of their identifiers when there is none. It is an extendible hash table of objects of the store, so it
// holds any number of elements and grows by a bucket at a time.
//
//   pstHandle<psHashSet> set(new (in) psHashSet(comparator, 101, 1));
//   if (set->add(word)) ...
//
// Use it when you look elements up and their order does not matter. It takes fewer steps than a sorted set.
//
// - The set never holds two elements that the comparator calls equal. add returns false for an equal element, for null,
//   and when something could not be opened; the result does not say which. remove removes the element that matches.
//   With a comparator that may be another object than the one given.
// - Elements that compare equal must hash equal, and the hash must not change under the set. While an element is
//   stored, do not change what the comparator reads of it. Move elements only by moveCurrentTo of an iterator. Remove
//   an element before its object is deleted. removeAllDeleted removes elements whose objects were deleted all the same.
// - Changes invalidate iterators other than the one that made them.
// - A raw key needs a comparator that understands it. Without one, contains returns false, and get returns null.
// - The set grows with its elements and never shrinks.
//
// A bucket is full when 9/10 of its slots are taken. It then splits by the next of the hashes' first bits. Elements
// that no bit within the directory's bound tells apart share a bucket, however many they are, and those that also share
// a slot are searched one by one. So hashes should be even in their first bits, and should differ modulo the number of
// slots. (The hash of identifiers does.) The bound is 10 bits, or about 2 more than the number of elements has, and at
// most 24.
//
// Cost: a look-up opens one bucket, sometimes a chain, and compares with the few elements that share a slot. add and
// remove also open these for update. size and isEmpty read the buckets; a position takes an iterator.
//
// Look-ups come in 4 key flavours (see psCompare), which otherwise do the same. With a callback that compares, the
// caller gives the key's hash. Adding takes a callback that hashes as well, for elements that must move.
class PS_API psHashSet : public psCollection {
  PS_PERSISTENT_CLASS(psHashSet, psCollection, 4025)

 public:
  // An empty set. Each bucket gets the given number of slots, at least 1; numbers from 4 on are rounded up to a prime.
  // 101 suits most sets. directorySize is the number of buckets at the start, rounded up to a power of 2, at most 2^24.
  // With 1 the set grows as needed.
  //
  // The administrator goes into adminContainer. For a null one, an unnamed container is created near the set; it is
  // garbage-collectable when the set's own is. The first buckets go into bucketContainer. When that is null, the
  // administrator places them, by default each in a container of its own. When the store refuses a part of the
  // construction, the set has no admin() and takes no element; it can be deleted.
  psHashSet(int slots, int directorySize, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  psHashSet(pstHandle<psCompare>& comparator, int slots, int directorySize,
            pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  psHashSet(const pstHandle<psCompare>& comparator, int slots, int directorySize,
            const pstHandle<psContObj>& adminContainer = pstHandle<psContObj>(),
            const pstHandle<psContObj>& bucketContainer = pstHandle<psContObj>())
      : psHashSet(ps::detail::lvalue(pstHandle<psCompare>(comparator)), slots, directorySize, adminContainer,
                  bucketContainer) {}
  // An identifier is not a number of slots, though it converts to one. Name the comparator by a handle.
  template <class Id, class... Rest, std::enable_if_t<std::is_same_v<Id, psId>, int> = 0>
  psHashSet(const Id& comparator, int, Rest&&...) = delete;
  // Deletes the buckets, chains and administrator. Also deletes every container that is then empty, unless it has a
  // name or is garbage-collectable. The elements stay.
  ~psHashSet() noexcept override;

  // True when the element has been added. compare, or the Java key, says what is equal to it.
  bool add(const pstHandle<psObj>& element) override;
  bool add(const pstHandle<psObj>& element, unsigned int hash, psCompareFunction compare, psHashFunction hashFunction);
  bool add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env);

  // Adds the elements of other (a map's keys). True when any has been added.
  bool addAll(pstHandle<psCollection>& other) override;
  using psCollection::addAll;
  // Adds n elements, and returns how many of them were not there. Stops when the store refuses something. Of equal
  // elements the first is added. addAll and append add in the order of hashes: an empty bucket is divided before it is
  // filled, and each is written once. They take some 40 bytes of memory for each of up to a million elements at a time.
  int append(const pstRef<psObj>* elements, int n);

  const pstRef<psHashAdmin>& admin() const override;
  // Removes all elements, bucket by bucket. Stops when something cannot be opened.
  void clear() override;
  pstRef<psCompare> comparator() const override;

  // Whether an element matches.
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& element) const override;
  using psCollection::contains;

  // The stored element that matches; null when there is none.
  pstRef<psObj> get(const void* key) const override;
  // An object is never a raw key. In a map, returns the value.
  pstRef<psObj> get(const pstHandle<psObj>& element) const;
  pstRef<psObj> get(const psObj* element) const { return get(pstHandle<psObj>(element)); }
  // The same for n elements: found[i] becomes what get gives for the i-th. Returns how many are not null.
  int getMany(const pstRef<psObj>* elements, pstRef<psObj>* found, int n) const;
  using psCollection::getMany;

  psCollectionIterator* iterator() const override;
  bool isEmpty() const override;
  bool refresh(psMode mode) const override;

  // True when an element matched and has been removed.
  bool remove(const pstHandle<psObj>& element) override;
  bool remove(const void* key);
  bool remove(unsigned int hash, psCompareFunction compare);
  bool remove(const psObj* element) { return remove(pstHandle<psObj>(element)); }

  int size() const override;

  // Puts an element where the hash says that it belongs, without looking whether it is there, and without growth. True
  // when it is in the set afterwards. The library does not call this: a split moves elements by itself and calls no
  // override.
  virtual bool rehash(const pstHandle<psObj>& element, unsigned int hash);

  virtual pstRef<psObj> get(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const;
  virtual bool contains(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const;
  virtual bool remove(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  virtual bool contains(unsigned int hash, psCompareFunction compare) const;
  virtual pstRef<psObj> get(unsigned int hash, psCompareFunction compare) const;

  // An identifier is not a hash, though it converts to a number.
  template <class First, class... Rest>
  bool contains(const psId& element, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  pstRef<psObj> get(const psId& element, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  bool remove(const psId& element, First&&, Rest&&...) = delete;

  // The hash by which an element is placed; 0 when the comparator cannot be opened.
  unsigned int hashOf(const pstHandle<psObj>& element) const;

  // Doubles the directory. Growth does this by itself when needed. False, with nothing changed, at 2^24, when the
  // directory cannot be opened for update, and for a set that was not completely constructed.
  bool expandDirectory();

  // Prints the directory's depth and, in 6 more lines, the numbers of buckets, elements and chains. Leaves out a chain
  // that cannot be read. Stops at a bucket that cannot be read.
  void statistics();

 private:
  friend class ps::detail::HashAccess;

  pstRef<psHashAdmin> admin_;
  pstRef<psCompare> comparator_;
  int slotsPerBucket_ = 0;
  int depth_ = 0;  // number of the first bits of a hash that index the directory; -1 when construction failed
  // A bucket whose elements share their first n bits is at all 2^(depth_ - n) indexes that begin with these bits.
  pstVArray<pstRef<psHashBucket>> directory_;
};

static_assert(sizeof(psHashSet) == 40, "stored layout");
