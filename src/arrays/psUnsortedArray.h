#pragma once

#include "store/psPersistentClass.h"
#include "store/pstVArray.h"

class psUnsortedArray;

namespace ps::detail {

class ArrayView;
class ArrayEdit;

// The 2 classes of arrays.
template <>
struct UsualClasses<psUnsortedArray> {
  static constexpr std::uint32_t unsorted = 4022;
  static constexpr std::uint32_t sorted = 4026;
  static constexpr bool include(std::uint32_t type) { return type == sorted || type == unsorted; }
};

}  // namespace ps::detail

// The null reference that operations return when there is no element. Never written.
PS_API extern const pstRef<psObj> nullPsObjRef;

// An array of references with a fixed capacity, filled from the front. It holds the contents of the trees' nodes.
// Elements are addressed by position and compared by identity. Null references are elements like any other.
//
// An operation that changes the array opens it for update itself. It changes nothing and returns its failure result
// when the store refuses that, when the array is full or empty, or when there is no such position. An array that cannot
// be read looks empty.
class PS_API psUnsortedArray : public psObj {
  PS_PERSISTENT_CLASS(psUnsortedArray, psObj, 4022)

 public:
  // An empty array with room for capacity elements. When the store cannot allocate it, size() is 0.
  explicit psUnsortedArray(int capacity);
  // The library's own: with room for what it notes of each element.
  psUnsortedArray(int capacity, ps::detail::Rows rows);
  ~psUnsortedArray() noexcept override;

  // The address of element i, which may lie after the last used one. Open the array for update before you write through
  // it. A position outside the capacity gives a null reference that belongs to no array; so do first() and last() of an
  // empty array.
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

  // Appends the element. add returns the last index afterwards, whether or not the element was added.
  int add(const pstRef<psObj>& element);
  bool addLast(const pstRef<psObj>& element);
  bool addLast(const pstHandle<psObj>& element);

  // Stores the element at i, anywhere within the capacity. Positions that are skipped hold null references. 1 or 0.
  int atPut(int i, const pstRef<psObj>& element);
  // Makes room at i, which may be usedSize(), and stores the element there. 1 or 0.
  int insertBefore(const pstHandle<psObj>& element, int i);

  // The first or last position of the object, searched from start (downwards for lastIndexOf); -1 when there is none.
  // The array has no keys, so a raw key is never found.
  int find(const pstHandle<psObj>& element) const;
  int find(const void* key) const;
  int find(const psObj* element) const { return find(pstHandle<psObj>(element)); }
  bool contains(const pstHandle<psObj>& element) const { return find(element) >= 0; }
  bool contains(const void* key) const { return find(key) >= 0; }
  bool contains(const psObj* element) const { return find(element) >= 0; }
  int indexOf(const pstHandle<psObj>& element, int start) const;
  int lastIndexOf(const pstHandle<psObj>& element, int start) const;
  int lastIndexOf(const pstHandle<psObj>& element) const { return lastIndexOf(element, lastIndex_); }

  // The neighbour of the object; nullPsObjRef when there is none. An absent object counts as standing before the first
  // element.
  const pstRef<psObj>& after(const pstHandle<psObj>& element) const;
  const pstRef<psObj>& before(const pstHandle<psObj>& element) const;

  // True when the object was there and its first occurrence has been removed.
  bool remove(pstHandle<psObj>& element);
  bool remove(const pstHandle<psObj>& element) { return remove(ps::detail::lvalue(pstHandle<psObj>(element))); }
  // 1 or 0.
  int removeIndex(int i);
  void removeFirst();
  void removeLast();
  void removeAll();

  // Changes the capacity, but not below usedSize().
  void resize(int capacity);

 private:
  friend class ps::detail::ArrayView;
  friend class ps::detail::ArrayEdit;

  pstRef<psObj>& at(int i) const;

  int lastIndex_ = -1;
  pstVArray<pstRef<psObj>> entries_;  // all null after lastIndex_
};

static_assert(sizeof(psUnsortedArray) == 24, "stored layout");
