#pragma once

#include "store/psPersistentClass.h"
#include "store/pstVArray.h"

namespace ps::detail {
class ArrayView;
class ArrayEdit;
}  // namespace ps::detail

// The null reference that operations give where there is no element. Never written.
PS_API extern const pstRef<psObj> nullPsObjRef;

// An array of references of fixed capacity, filled from the front: the contents of the trees' nodes. Elements are
// addressed by position and compared by identity; null references are elements like others.
//
// An operation that changes the array opens it for update itself; where the store refuses that, and where the array is
// full, or empty, or has no such position, it changes nothing and gives its failure result. An array that cannot be
// read looks empty.
class PS_API psUnsortedArray : public psObj {
  PS_PERSISTENT_CLASS(psUnsortedArray, psObj, 4022)

 public:
  // An empty array with room for capacity elements. When the store cannot allocate it, size() is 0.
  explicit psUnsortedArray(int capacity);
  ~psUnsortedArray() noexcept override;

  // The address of element i, also of one behind the last used. Open the array for update before writing through it. A
  // position outside the capacity, like first() and last() of an empty array, gives a null reference that belongs to
  // nobody.
  pstRef<psObj>& operator[](int i) { return at(i); }
  pstRef<psObj>& first() const { return at(0); }
  pstRef<psObj>& last() const { return at(lastIndex_); }

  int lastIndex() const { return lastIndex_; }  // -1 when empty
  int usedSize() const { return lastIndex_ + 1; }
  int size() const { return static_cast<int>(entries_.size()); }  // the capacity
  bool isEmpty() const { return lastIndex_ == -1; }
  bool notEmpty() const { return !isEmpty(); }
  bool notFull() const { return usedSize() < size(); }
  bool isFull() const { return !notFull(); }

  // Appends the element. add returns the last index afterwards, whether or not it was added.
  int add(const pstRef<psObj>& element);
  bool addLast(const pstRef<psObj>& element);
  bool addLast(const pstHandle<psObj>& element);

  // Stores the element at i, anywhere within the capacity; positions skipped hold null references. 1 or 0.
  int atPut(int i, const pstRef<psObj>& element);
  // Makes room at i, which may be usedSize(), and stores the element there. 1 or 0.
  int insertBefore(const pstHandle<psObj>& element, int i);

  // The first, or last, position of the object, searched from start on (downwards for lastIndexOf); -1 when there is
  // none. The array knows no keys, so a raw key is nowhere.
  int find(const pstHandle<psObj>& element) const;
  int find(const void* key) const;
  int find(const psObj* element) const { return find(pstHandle<psObj>(element)); }
  bool contains(const pstHandle<psObj>& element) const { return find(element) >= 0; }
  bool contains(const void* key) const { return find(key) >= 0; }
  bool contains(const psObj* element) const { return find(element) >= 0; }
  int indexOf(const pstHandle<psObj>& element, int start) const;
  int lastIndexOf(const pstHandle<psObj>& element, int start) const;
  int lastIndexOf(const pstHandle<psObj>& element) const { return lastIndexOf(element, lastIndex_); }

  // The neighbour of the object; nullPsObjRef when there is none. An object that is absent comes before the first
  // element.
  const pstRef<psObj>& after(const pstHandle<psObj>& element) const;
  const pstRef<psObj>& before(const pstHandle<psObj>& element) const;

  // True when the object was there and its first occurrence has been removed.
  bool remove(pstHandle<psObj>& element);
  // 1 or 0.
  int removeIndex(int i);
  void removeFirst();
  void removeLast();
  void removeAll();

  // Changes the capacity, to no less than usedSize().
  void resize(int capacity);

 private:
  friend class ps::detail::ArrayView;
  friend class ps::detail::ArrayEdit;

  pstRef<psObj>& at(int i) const;

  int lastIndex_ = -1;
  pstVArray<pstRef<psObj>> entries_;  // behind lastIndex_ all null
};

static_assert(sizeof(psUnsortedArray) == 24, "stored layout");
