#pragma once

#include "arrays/psUnsortedArray.h"
#include "core/psCompare.h"

// An array in ascending order: of a comparator, or of identifiers when that is null. leaf says what the elements are:
// non-zero, they are compared themselves; zero, they are nodes of a tree, and what is compared is the lowest element of
// each, which is read by opening the node.
class PS_API psSortedArray : public psUnsortedArray {
  PS_PERSISTENT_CLASS(psSortedArray, psUnsortedArray, 4026)

 public:
  explicit psSortedArray(int capacity) : psUnsortedArray(capacity) {}
  ~psSortedArray() noexcept override;

  // Where the key is or belongs. With leaf non-zero: the first position whose element is not less than the key. With
  // leaf zero: the first node whose lowest element is greater than the key, except that 0 is given when the first
  // node's is already equal. Behind the last element when there is no such position, 0 when the array is empty.
  //
  // Failures: 0 when the comparator cannot be opened, when the first node cannot be read, and for a raw key without
  // comparator; one behind the last when the last node cannot be read; -1 for any other node, so the result need not be
  // a position. An entry whose comparison fails, because something cannot be opened or in Java, counts as one that
  // cannot be read, also with leaf non-zero. The operations of the trees can tell these from an answer, callers of this
  // one cannot, but for the Java exception that is pending.
  int binarySearch(const pstHandle<psObj>& key, pstHandle<psCompare>& comparator, unsigned char leaf) const;
  int binarySearch(const void* key, pstHandle<psCompare>& comparator, unsigned char leaf) const;
  int binarySearch(psCompareFunction compare, unsigned char leaf) const;
  int binarySearch(_jobject*& key, _jobject*& callee, JNIEnv_* env, unsigned char leaf) const;
  int binarySearch(const psObj* key, pstHandle<psCompare>& comparator, unsigned char leaf) const {
    return binarySearch(pstHandle<psObj>(key), comparator, leaf);
  }

  // Inserts the element in front of those that are not less, and returns its position. -1, with nothing changed, when
  // the element is null, the array is full or cannot be opened for update, or the search failed. In the Java flavour
  // the Java key says where the element belongs.
  int add(const pstHandle<psObj>& element, pstHandle<psCompare>& comparator, unsigned char leaf);
  int add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env, unsigned char leaf);
};

static_assert(sizeof(psSortedArray) == sizeof(psUnsortedArray), "stored layout");
