#pragma once

#include "core/psCollection.h"

// Walks a collection. A collection makes it, on the heap, and whoever asked for it deletes it. It stands before the
// first element at first, so that this is the loop:
//
//   std::unique_ptr<psCollectionIterator> it(set->iterator());
//   while (it->hasNext()) use(it->next(pscNoLock));
//
// It is not told of changes made to the collection by anything but its own remove and set: after those, position it
// anew. It must not outlive the transaction in which it is used: one that did gives what is now stored at its place, or
// null, and is to be positioned anew as well.
//
// Where an element, or what holds it, cannot be opened, an operation gives null, false or 0. A step or a change then
// leaves the iterator where it is. A goTo or goToIndex that failed, which must not be taken for one that found nothing,
// leaves it nowhere: there is no current element, and none before or behind it, until it is positioned anew.
//
// The lock mode says what is done with the reference: with pscLockUpdate the storage that holds it is opened for update
// first, as it must be before writing through currentP.
class PS_API psCollectionIterator {
 public:
  psCollectionIterator() = default;
  psCollectionIterator(const psCollectionIterator&) = delete;
  psCollectionIterator& operator=(const psCollectionIterator&) = delete;

  // The address of the stored reference to the current element, good until the iterator is used again. Without a
  // current element it is the address of a null reference of the iterator's own.
  virtual pstRef<psObj>* currentP(psLockMode mode) = 0;

  virtual ~psCollectionIterator();

  virtual pstHandle<psCollection> collection() = 0;

  // The current element; null when there is none.
  virtual pstRef<psObj> current(psLockMode mode) = 0;
  // The value of the current pair, on the key iterator of a map; elsewhere the current element.
  virtual pstRef<psObj> currentValue();

  // Position of the current element in the collection: -1 before the first, the collection's size behind the last.
  // Below -1 when it cannot be found out.
  virtual int currentIndex() = 0;

  // Looks for an element. True when the iterator now stands on it. False when there is none, and in sorted collections
  // the iterator stands just before the first element that is not less, so that next delivers that. False also when the
  // search failed: something was refused, or the collection knows no such keys. The iterator then stands nowhere, so
  // that next delivers nothing.
  virtual bool goTo(const void* key) = 0;
  virtual bool goTo(const pstHandle<psObj>& element) = 0;

  // The element at position i, where the iterator then stands; null when there is none: the iterator then stands before
  // the first element, or behind the last.
  virtual pstRef<psObj> goToIndex(int i, psLockMode mode) = 0;

  virtual bool hasNext() = 0;
  virtual bool hasPrevious();

  // Moves the object of the current element near the given one, which gives it a new identifier, and lets the
  // collection name it by that. 1 on success; 0 with object and collection unchanged, after which the iterator is to be
  // positioned anew.
  //
  // An element whose place depends on its identifier is placed anew, and the iterator steps back as after remove. A
  // walk that moves such elements may meet them again further on and need not end: collect the elements first.
  virtual int moveCurrentTo(const pstHandle<psObj>& near) = 0;

  virtual pstRef<psObj> next(psLockMode mode) = 0;
  virtual int nextIndex();
  virtual pstRef<psObj> previous(psLockMode mode) = 0;
  virtual int previousIndex();

  // Removes the current element and steps back, so that next delivers the element behind the removed one. 1 on success.
  virtual int remove() = 0;
  // Replaces the current element; 0 on iterators that cannot.
  virtual int set(const pstHandle<psObj>& element);

  virtual bool goTo(unsigned int hash, psCompareFunction compare) = 0;

  // An object is never a raw key.
  bool goTo(const psObj* element) { return goTo(pstHandle<psObj>(element)); }
  // An identifier is no position and no hash, though it converts to a number.
  pstRef<psObj> goToIndex(const psId& element, psLockMode mode) = delete;
  bool goTo(const psId& element, psCompareFunction compare) = delete;
};
