#pragma once

#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>

#include "tree/TreeCursor.h"
#include "typed/CursorIterator.h"

namespace ps {

// Stands at a position of a list, or behind the last. Random access, in C++17 and by the concepts of C++20: *it is a
// const Ref<T>&, null where the list has a null element, and stays valid while this iterator stands there. Two
// iterators of one list are compared by their positions.
//
// Steps of 1 read the next element; longer ones descend the tree when the iterator is next used. So does the first use
// after anything has changed: when another element is now at the position, it throws ps::Error of kind usage. Position
// the iterator anew then.
//
// With direction -1 it walks from the last to the first. (*it of a std::reverse_iterator would be a reference into a
// temporary iterator.)
template <class T, int direction = 1>
class ListIterator {
 public:
  using value_type = Ref<T>;
  using reference = const Ref<T>&;
  using pointer = const Ref<T>*;
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::random_access_iterator_tag;

  ListIterator() = default;
  // For the lists.
  ListIterator(const psId& list, std::ptrdiff_t index) : cursor_(list), index_(index) {}

  reference operator*() const { return element(); }
  pointer operator->() const { return &element(); }
  // Valid until the next call: the iterator that stands there is a temporary one.
  reference operator[](std::ptrdiff_t n) const { return elsewhere_ = *(*this + n); }
  const Ref<T>& ref() const { return element(); }
  std::ptrdiff_t index() const { return index_; }

  ListIterator& operator++() { return *this += 1; }
  ListIterator& operator--() { return *this -= 1; }
  ListIterator operator++(int) {
    ListIterator before(*this);
    ++*this;
    return before;
  }
  ListIterator operator--(int) {
    ListIterator before(*this);
    --*this;
    return before;
  }
  ListIterator& operator+=(std::ptrdiff_t n) {
    index_ += direction * n;
    return *this;
  }
  ListIterator& operator-=(std::ptrdiff_t n) { return *this += -n; }
  friend ListIterator operator+(ListIterator it, std::ptrdiff_t n) { return it += n; }
  friend ListIterator operator+(std::ptrdiff_t n, ListIterator it) { return it += n; }
  friend ListIterator operator-(ListIterator it, std::ptrdiff_t n) { return it -= n; }
  friend std::ptrdiff_t operator-(const ListIterator& a, const ListIterator& b) {
    return direction * (a.index_ - b.index_);
  }

  friend bool operator==(const ListIterator& a, const ListIterator& b) { return a.index_ == b.index_; }
  friend bool operator!=(const ListIterator& a, const ListIterator& b) { return a.index_ != b.index_; }
  friend bool operator<(const ListIterator& a, const ListIterator& b) { return a - b < 0; }
  friend bool operator>(const ListIterator& a, const ListIterator& b) { return b < a; }
  friend bool operator<=(const ListIterator& a, const ListIterator& b) { return !(b < a); }
  friend bool operator>=(const ListIterator& a, const ListIterator& b) { return !(a < b); }

 private:
  static constexpr std::ptrdiff_t nowhere = std::numeric_limits<std::ptrdiff_t>::min();

  const Ref<T>& element() const {
    if (at_ != nowhere && PS_UNLIKELY(seen_ != detail::editStamp())) verify();
    if (at_ != index_) move();
    return here_;
  }
  // Whatever was changed: the same element must be where the cursor stands.
  void verify() const {
    const Ref<T> before = here_;
    const std::ptrdiff_t from = std::exchange(at_, nowhere);
    const detail::Watch watch;
    pstRef<psObj> element;
    const bool isThere = cursor_.toIndex(static_cast<int>(from), element);
    watch.check(cursor_.collection(), "the list cannot be read");
    if (!isThere || before.id() != element.oid()) detail::throwChanged(cursor_.collection());
    at_ = from;
    seen_ = detail::editStamp();
  }
  // Brings the cursor to the position.
  void move() const {
    const detail::Watch watch;
    const std::ptrdiff_t from = std::exchange(at_, nowhere);
    pstRef<psObj> element;
    const bool isThere = from != nowhere && index_ == from + 1   ? cursor_.forward(element)
                         : from != nowhere && index_ == from - 1 ? cursor_.back(element)
                                                                 : cursor_.toIndex(static_cast<int>(index_), element);
    watch.check(cursor_.collection(), "the list cannot be read");
    if (!isThere) detail::throwNoPosition(cursor_.collection());
    here_ = Ref<T>(element.oid());
    at_ = index_;
    seen_ = detail::editStamp();
  }

  mutable detail::TreeCursor cursor_;
  std::ptrdiff_t index_ = 0;
  mutable std::ptrdiff_t at_ = nowhere;  // where the cursor stands
  mutable std::uint64_t seen_ = 0;       // when it was known to
  mutable Ref<T> here_;                  // the element there
  mutable Ref<T> elsewhere_;             // what operator[] gave
};

}  // namespace ps
