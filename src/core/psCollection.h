#pragma once

#include "core/psAdmin.h"
#include "core/psCompare.h"
#include "store/psPersistentClass.h"

class psCollectionIterator;

// What all collections have in common. A collection holds references to objects, its elements; it never creates, copies
// or deletes the objects themselves. It owns everything else that it consists of, which goes when the collection is
// deleted.
//
// Results report failures: false, 0, null, or -1 from size. A changing operation that meets something that the store
// refuses to open changes nothing and gives its failure result; one on many elements stops there, with the elements
// before it done. A look-up that meets such a thing gives the same result as one that finds nothing.
class PS_API psCollection : public psObj {
  PS_PERSISTENT_GLUE(psCollection, psObj, 4023)

 public:
  psCollection() = default;
  ~psCollection() noexcept override;

  // Whether two elements are equal: by the comparator, or the same object when there is none.
  //
  // An override decides for hash collections what matches a handle; elements that it calls equal must hash equal. In
  // sorted collections the order alone says where an element belongs and that two are the same for add and put, or the
  // order could not be kept. There an override narrows look-ups by handle (contains, get, remove, goTo): an element
  // matches when the order says so and the override agrees.
  virtual bool equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const;

  // True when the collection changed.
  virtual bool add(const pstHandle<psObj>& element) = 0;
  // Adds all elements of other (a map's keys); true when the collection changed. Adding a collection to itself changes
  // nothing.
  virtual bool addAll(pstHandle<psCollection>& other);

  // The object that places the collection's nodes, buckets and arrays in containers.
  virtual const pstRef<psAdmin>& admin() const = 0;

  // Removes all elements.
  virtual void clear();

  virtual pstRef<psCompare> comparator() const = 0;

  // Whether every element of other is in this collection; so it is for an empty other.
  virtual bool containsAll(pstHandle<psCollection>& other) const;
  virtual bool contains(const void* key) const;
  virtual bool contains(const pstHandle<psObj>& element) const = 0;

  // The stored element that matches the key (a map: its value); null when there is none.
  virtual pstRef<psObj> get(const void* key) const = 0;

  // New iterators, which the caller deletes. Those of a map deliver keys (a hash map's its entries), keys and values.
  virtual psCollectionIterator* iterator() const = 0;
  virtual psCollectionIterator* keyIterator() const;

  virtual bool isEmpty() const = 0;

  // Opens again, in the mode, every container that holds a part of the collection, so that what others have committed
  // is seen. False when one cannot be opened.
  virtual bool refresh(psMode mode) const = 0;

  // True when the element was there and has been removed.
  virtual bool remove(const pstHandle<psObj>& element) = 0;
  // Removes all elements of other; true when the collection changed. Removing a collection from itself empties it.
  virtual bool removeAll(pstHandle<psCollection>& other);
  // Removes the elements whose objects no longer exist.
  virtual void removeAllDeleted();
  // Removes all elements that are not in other; true when the collection changed.
  virtual bool retainAll(pstHandle<psCollection>& other);

  // Number of elements; -1 when it cannot be found out.
  virtual int size() const = 0;

  virtual psCollectionIterator* valueIterator() const;

  // An object is never a raw key.
  bool contains(const psObj* element) const { return contains(pstHandle<psObj>(element)); }
  pstRef<psObj> get(const psObj* element) const = delete;

 protected:
  // Calls the iterator's remove for every element whose object no longer exists.
  static void removeDeleted(psCollectionIterator& it);
};

static_assert(sizeof(psCollection) == 8, "a collection has no field of its own");
