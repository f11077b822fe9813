#pragma once

#include "core/psCollection.h"
#include "hash/psHashAdmin.h"
#include "hash/psHashBucket.h"

namespace ps::detail {
class HashAccess;
}

// A hash set: references to objects, without duplicates and in no order, found by a hash that a comparator makes of
// them, or by that of their identifiers when there is none. It is an extendible hash table of objects of the store, so
// it holds any number of elements and grows a bucket at a time.
//
//   pstHandle<psHashSet> set(new (in) psHashSet(comparator, 101, 1));
//   if (set->add(word)) ...
//
// Use it where elements are looked up and their order does not matter: it takes fewer steps than a sorted set.
//
// - Two elements that the comparator calls equal are never both in the set: add refuses the second, null, and, without
//   further distinction, what could not be placed because something could not be opened. remove removes the element
//   that matches, which with a comparator may be another object than the one given.
// - Elements that compare equal must hash equal, and the hash must not change under the set: do not change what the
//   comparator reads of an element while it is stored, do not move elements but by moveCurrentTo of an iterator, and
//   remove an element before its object is deleted. (What was deleted all the same goes with removeAllDeleted.)
// - Changes invalidate iterators other than the one that made them.
// - A raw key needs a comparator that understands it: without one, contains gives false and get null.
// - The set grows with its elements and never shrinks.
//
// A bucket is full at nine tenths of its slots and then splits by the next of the hashes' first bits. Elements that no
// bit within the directory's bound tells apart share a bucket however many they are, and those that also share a slot
// are looked through one by one: hashes should be even in their first bits, and differ modulo the number of slots. (The
// hash of identifiers is.) The bound is ten bits, or about two more than the number of elements has, 24 at most.
//
// Cost: a look-up opens one bucket, now and then a chain, and compares with the few elements that share a slot. add
// and remove open them for update as well. size and isEmpty read the buckets; a position takes an iterator.
//
// Look-ups come in four key flavours (see psCompare), which otherwise do the same. Where a callback compares, the
// caller gives the key's hash with it; adding takes a callback that hashes as well, for elements that must move.
class PS_API psHashSet : public psCollection {
  PS_PERSISTENT_CLASS(psHashSet, psCollection, 4025)

 public:
  // An empty set. Each bucket gets the given number of slots, 1 at least, from 4 on rounded up to a prime: 101 suits
  // most sets. directorySize is how many buckets there are at first, rounded up to a power of two, 2^24 at most; with 1
  // the set grows as needed. The administrator goes into adminContainer; for a null one an unnamed container is created
  // near the set, garbage-collectable when the set's own is. The first buckets go into bucketContainer, or when that is
  // null where the administrator says: by default each into a container of its own. A set whose construction the store
  // refuses in part has no admin(), takes no element and can be deleted.
  psHashSet(int slots, int directorySize, pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  psHashSet(pstHandle<psCompare>& comparator, int slots, int directorySize,
            pstHandle<psContObj> adminContainer = pstHandle<psContObj>(),
            pstHandle<psContObj> bucketContainer = pstHandle<psContObj>());
  // An identifier is no number of slots, though it converts to one: a handle is to name the comparator.
  template <class... Rest>
  psHashSet(const psId& comparator, int, Rest&&...) = delete;
  // Deletes the buckets, chains and administrator, and every container that is left empty, unnamed and not
  // garbage-collectable. The elements stay.
  ~psHashSet() noexcept override;

  // True when the element has been added. compare, or the Java key, tells what is equal to it.
  bool add(const pstHandle<psObj>& element) override;
  bool add(const pstHandle<psObj>& element, unsigned int hash, psCompareFunction compare, psHashFunction hashFunction);
  bool add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env);

  const pstRef<psHashAdmin>& admin() const override;
  pstRef<psCompare> comparator() const override;

  // Whether an element matches.
  bool contains(const void* key) const override;
  bool contains(const pstHandle<psObj>& element) const override;
  using psCollection::contains;

  // The stored element that matches, null when there is none.
  pstRef<psObj> get(const void* key) const override;
  // An object is never a raw key. (A map: the value.)
  pstRef<psObj> get(const pstHandle<psObj>& element) const;
  pstRef<psObj> get(const psObj* element) const { return get(pstHandle<psObj>(element)); }

  psCollectionIterator* iterator() const override;
  bool isEmpty() const override;
  bool refresh(psMode mode) const override;

  // True when an element matched and has been removed.
  bool remove(const pstHandle<psObj>& element) override;
  bool remove(unsigned int hash, psCompareFunction compare);
  bool remove(const psObj* element) { return remove(pstHandle<psObj>(element)); }

  int size() const override;

  // Puts an element where the hash says that it belongs, without asking whether it is there already, and without
  // growth. True when it is in the set then. The library does not call it: a split moves elements by itself, and an
  // override is not asked.
  virtual bool rehash(const pstHandle<psObj>& element, unsigned int hash);

  virtual pstRef<psObj> get(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const;
  virtual bool contains(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const;
  virtual bool remove(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  virtual bool contains(unsigned int hash, psCompareFunction compare) const;
  virtual pstRef<psObj> get(unsigned int hash, psCompareFunction compare) const;

  // An identifier is no hash, though it converts to a number.
  template <class First, class... Rest>
  bool contains(const psId& element, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  pstRef<psObj> get(const psId& element, First&&, Rest&&...) const = delete;
  template <class First, class... Rest>
  bool remove(const psId& element, First&&, Rest&&...) = delete;

  // The hash by which an element is placed; 0 when the comparator cannot be opened.
  unsigned int hashOf(const pstHandle<psObj>& element) const;

  // Doubles the directory, which growth does by itself when it is time. False, with nothing changed, at 2^24, when it
  // cannot be opened for update, and for a set that was not constructed whole.
  bool expandDirectory();

  // Prints the directory's depth and, in six more lines, how many buckets, elements and chains there are. A chain that
  // cannot be read is left out, and from a bucket that cannot be read on all that follows.
  void statistics();

 private:
  friend class ps::detail::HashAccess;

  pstRef<psHashAdmin> admin_;
  pstRef<psCompare> comparator_;
  int slotsPerBucket_ = 0;
  int depth_ = 0;  // number of the first bits of a hash that index the directory; -1 when construction failed
  // A bucket whose elements share their first n bits stands at all 2^(depth_ - n) indexes that begin with them.
  pstVArray<pstRef<psHashBucket>> directory_;
};

static_assert(sizeof(psHashSet) == 40, "stored layout");
