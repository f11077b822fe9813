#pragma once

#include "core/psAdmin.h"
#include "core/psCompare.h"
#include "store/psPersistentClass.h"

class psCollectionIterator;

// What all collections have in common. A collection holds references to objects, its elements. It never creates, copies
// or deletes the objects themselves. It owns all its other parts, which are deleted with it.
//
// Results report failures: false, 0, null, or -1 from size. When the store refuses to open something, a changing
// operation changes nothing and returns its failure result. An operation on many elements stops there; the elements
// before it are done. A look-up then returns the same result as one that finds nothing.
class PS_API psCollection : public psObj {
  PS_PERSISTENT_GLUE(psCollection, psObj, 4023)

 public:
  psCollection() = default;
  ~psCollection() noexcept override;

  // Whether two elements are equal: by the comparator, or the same object when there is none.
  //
  // In hash collections an override decides what matches a handle. Elements that it calls equal must hash equal. In
  // sorted collections the order alone decides for add and put where an element belongs and which elements are the
  // same; otherwise the order could not be kept. There an override narrows look-ups by handle (contains, get, remove,
  // goTo): an element matches when both the order and the override say so.
  virtual bool equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const;

  // True when the collection changed.
  virtual bool add(const pstHandle<psObj>& element) = 0;
  // Adds all elements of other; of a map, its keys. True when the collection changed. Adding a collection to itself
  // changes nothing.
  virtual bool addAll(pstHandle<psCollection>& other);

  // The object that places the collection's nodes, buckets and arrays in containers.
  virtual const pstRef<psAdmin>& admin() const = 0;

  // Removes all elements.
  virtual void clear();

  virtual pstRef<psCompare> comparator() const = 0;

  // Whether every element of other is in this collection. True for an empty other.
  virtual bool containsAll(pstHandle<psCollection>& other) const;
  virtual bool contains(const void* key) const;
  virtual bool contains(const pstHandle<psObj>& element) const = 0;

  // The stored element that matches the key; in a map, its value. Null when there is none.
  virtual pstRef<psObj> get(const void* key) const = 0;

  // New iterators, which the caller deletes; null when there is no memory. iterator and keyIterator of a map deliver
  // keys (iterator of a hash map delivers entries), and valueIterator delivers values.
  virtual psCollectionIterator* iterator() const = 0;
  virtual psCollectionIterator* keyIterator() const;

  virtual bool isEmpty() const = 0;

  // Opens again, in the mode, every container that holds a part of the collection, so that it sees what others have
  // committed. False when a container cannot be opened.
  virtual bool refresh(psMode mode) const = 0;

  // True when the element was in the collection and has been removed.
  virtual bool remove(const pstHandle<psObj>& element) = 0;
  // Removes all elements of other; true when the collection changed. Removing a collection from itself empties it.
  virtual bool removeAll(pstHandle<psCollection>& other);
  // Removes the elements whose objects no longer exist.
  virtual void removeAllDeleted();
  // Removes all elements that are not in other; true when the collection changed. All are looked up before any is
  // removed: when the store refuses a look-up, all stay.
  virtual bool retainAll(pstHandle<psCollection>& other);

  // Number of elements; -1 when it cannot be determined.
  virtual int size() const = 0;

  virtual psCollectionIterator* valueIterator() const;

  // Looks up n raw keys: found[i] becomes what get(keys[i]) gives. Returns how many are not null. In a hash table the
  // look-ups wait for memory together, which takes about half the time.
  int getMany(const void* const* keys, pstRef<psObj>* found, int n) const;

  // The operations on another collection, given by a const handle, a temporary or a reference.
  bool addAll(const pstHandle<psCollection>& other) {
    return addAll(ps::detail::lvalue(pstHandle<psCollection>(other)));
  }
  bool containsAll(const pstHandle<psCollection>& other) const {
    return containsAll(ps::detail::lvalue(pstHandle<psCollection>(other)));
  }
  bool removeAll(const pstHandle<psCollection>& other) {
    return removeAll(ps::detail::lvalue(pstHandle<psCollection>(other)));
  }
  bool retainAll(const pstHandle<psCollection>& other) {
    return retainAll(ps::detail::lvalue(pstHandle<psCollection>(other)));
  }

  // An object is never a raw key.
  bool contains(const psObj* element) const { return contains(pstHandle<psObj>(element)); }
  pstRef<psObj> get(const psObj* element) const = delete;

 protected:
  // Calls the iterator's remove for every element whose object no longer exists.
  static void removeDeleted(psCollectionIterator& it);
};

static_assert(sizeof(psCollection) == 8, "a collection has no field of its own");
