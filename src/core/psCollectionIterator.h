#pragma once

#include "core/psCollection.h"

// Walks a collection. The collection creates it on the heap, and the caller deletes it. It starts before the first
// element:
//
//   std::unique_ptr<psCollectionIterator> it(set->iterator());
//   while (it->hasNext()) use(it->next(pscNoLock));
//
// Only the iterator's own remove and set may change the collection while it walks. After any other change, position it
// again. Do not use it beyond the transaction in which it was used: it would deliver what is now stored at its place,
// or null, until it is positioned again.
//
// When an element or what holds it cannot be opened, an operation returns null, false or 0. A step or a change then
// leaves the iterator where it is. A goTo or goToIndex that failed is not the same as one that found nothing: it leaves
// the iterator nowhere. Then there is no current element, and none before or after it, until the iterator is positioned
// again.
//
// The lock mode says what the caller will do with the reference. With pscLockUpdate, the storage that holds it is
// opened for update first. That must be done before writing through currentP.
class PS_API psCollectionIterator {
 public:
  psCollectionIterator() = default;

  // The address of the stored reference to the current element, valid until the iterator is used again. Without a
  // current element, it is the address of a null reference of the iterator's own.
  virtual pstRef<psObj>* currentP(psLockMode mode) = 0;

  virtual ~psCollectionIterator();

  // The collection that it walks.
  virtual pstHandle<psCollection> collection() = 0;

  // The current element; null when there is none.
  virtual pstRef<psObj> current(psLockMode mode) = 0;
  // The value of the current pair, on the key iterator of a map; elsewhere the current element.
  virtual pstRef<psObj> currentValue();

  // Position of the current element in the collection: -1 before the first element, and the collection's size after the
  // last. Less than -1 when it cannot be determined.
  virtual int currentIndex() = 0;

  // Looks for an element. Returns true when the iterator now stands on it. Returns false when there is none; in sorted
  // collections the iterator then stands just before the first element that is not less, so next delivers that element.
  // Also returns false when the search failed, because something was refused or the collection has no such keys. The
  // iterator then stands nowhere, so next delivers nothing.
  virtual bool goTo(const void* key) = 0;
  virtual bool goTo(const pstHandle<psObj>& element) = 0;

  // Returns the element at position i and stands on it. When there is none, returns null, and the iterator stands
  // before the first element or after the last.
  virtual pstRef<psObj> goToIndex(int i, psLockMode mode) = 0;

  // Whether next, or previous, will deliver an element.
  virtual bool hasNext() = 0;
  virtual bool hasPrevious();

  // Moves the object of the current element near the given one. The object gets a new identifier, and the collection
  // refers to it by that. Returns 1 on success. Returns 0 with object and collection unchanged; the iterator must then
  // be positioned again.
  //
  // An element whose place depends on its identifier gets a new place, and the iterator steps back as after remove. A
  // walk that moves such elements may meet them again and need not end, so collect the elements first.
  virtual int moveCurrentTo(const pstHandle<psObj>& near) = 0;

  // Steps to the next or the previous element and returns it; null when there is none. nextIndex and previousIndex do
  // not step: they are currentIndex() plus and minus 1.
  virtual pstRef<psObj> next(psLockMode mode) = 0;
  virtual int nextIndex();
  virtual pstRef<psObj> previous(psLockMode mode) = 0;
  virtual int previousIndex();

  // Removes the current element and steps back, so that next delivers the element after the removed one. 1 on success.
  virtual int remove() = 0;
  // Replaces the current element. 0 on iterators that cannot.
  virtual int set(const pstHandle<psObj>& element);

  virtual bool goTo(unsigned int hash, psCompareFunction compare) = 0;

  // An object is never a raw key.
  bool goTo(const psObj* element) { return goTo(pstHandle<psObj>(element)); }
  // An identifier is neither a position nor a hash, though it converts to a number.
  pstRef<psObj> goToIndex(const psId& element, psLockMode mode) = delete;
  bool goTo(const psId& element, psCompareFunction compare) = delete;

 protected:
  // A copy stands where the original does.
  psCollectionIterator(const psCollectionIterator&) = default;
  psCollectionIterator& operator=(const psCollectionIterator&) = default;
};
