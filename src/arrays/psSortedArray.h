#pragma once

#include "arrays/psUnsortedArray.h"
#include "core/psCompare.h"

// An array in ascending order: of a comparator, or of identifiers when the comparator is null. leaf says what the
// elements are. When it is not zero, they are compared themselves. When it is zero, they are nodes of a tree, and the
// lowest element of each is compared; it is read by opening the node.
class PS_API psSortedArray : public psUnsortedArray {
  PS_PERSISTENT_CLASS(psSortedArray, psUnsortedArray, 4026)

 public:
  explicit psSortedArray(int capacity) : psUnsortedArray(capacity) {}
  psSortedArray(int capacity, ps::detail::Rows rows) : psUnsortedArray(capacity, rows) {}
  ~psSortedArray() noexcept override;

  // Where the key is or belongs. With leaf not zero: the first position whose element is not less than the key. With
  // leaf zero: the first node whose lowest element is greater than the key, but 0 when the first node's lowest element
  // is equal. One after the last element when there is no such position, and 0 when the array is empty.
  //
  // Failures: 0 when the comparator cannot be opened, when the first node cannot be read, and for a raw key without a
  // comparator. One after the last element when the last node cannot be read. -1 for any other node, so the result need
  // not be a position. An entry whose comparison fails, because something cannot be opened or in Java, counts as one
  // that cannot be read, also with leaf not zero. Entries whose abbreviations decide are not read. The operations of
  // the trees can tell failures from answers. Callers of this operation cannot, except by a pending Java exception.
  int binarySearch(const pstHandle<psObj>& key, pstHandle<psCompare>& comparator, unsigned char leaf) const;
  int binarySearch(const void* key, pstHandle<psCompare>& comparator, unsigned char leaf) const;
  int binarySearch(psCompareFunction compare, unsigned char leaf) const;
  int binarySearch(_jobject*& key, _jobject*& callee, JNIEnv_* env, unsigned char leaf) const;
  int binarySearch(const psObj* key, pstHandle<psCompare>& comparator, unsigned char leaf) const {
    return binarySearch(pstHandle<psObj>(key), comparator, leaf);
  }

  // Inserts the element before those that are not less, and returns its position. -1, with nothing changed, when the
  // element is null, when the array is full or cannot be opened for update, or when the search failed. In the Java
  // flavour the Java key says where the element belongs.
  int add(const pstHandle<psObj>& element, pstHandle<psCompare>& comparator, unsigned char leaf);
  int add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env, unsigned char leaf);
};

static_assert(sizeof(psSortedArray) == sizeof(psUnsortedArray), "stored layout");
