#pragma once

#include <cstddef>
#include <iterator>
#include <utility>

#include "typed/Ref.h"

namespace ps {

namespace detail {

[[noreturn]] PS_API void throwChanged(const psId& collection);
[[noreturn]] PS_API void throwNoPosition(const psId& collection);

// What an iterator of a set stands at. MapEntry is that of a map.
template <class T>
class SetElement {
 public:
  using value_type = T;

  const T& get() const { return *ref_; }
  const Ref<T>& ref() const { return ref_; }
  template <class Cursor>
  void take(const Cursor&, const pstRef<psObj>& element) {
    ref_ = Ref<T>(element.oid());
  }

 private:
  Ref<T> ref_;
};

}  // namespace detail

// Stands at an element of a set, or at a pair of a map, or behind the last. Bidirectional, in C++17 and by the concepts
// of C++20. *it is a const reference that stays valid while this iterator stands there: the iterator keeps the
// element's page in memory. ref() is the reference to the element, or to the key.
//
// An iterator does not depend on the view that made it. When anything has changed, a step looks whether the iterator
// still stands on its element, and if not, searches the element. When that is no longer in the collection, it throws
// ps::Error of kind usage; position the iterator anew then. That costs a comparison as long as nothing has changed. A
// step beyond an end throws it too.
//
// Adaptors that give what *it of a temporary iterator is, such as std::reverse_iterator and std::views::reverse, give
// references that nobody keeps in memory. Use rbegin and rend.
template <class Cursor, class Here>
class CursorIterator {
 public:
  using value_type = typename Here::value_type;
  using reference = const value_type&;
  using pointer = const value_type*;
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::bidirectional_iterator_tag;

  CursorIterator() = default;
  // For the collections: behind the last element.
  explicit CursorIterator(Cursor cursor) : cursor_(std::move(cursor)) {}

  reference operator*() const { return here_.get(); }
  pointer operator->() const { return &here_.get(); }
  const auto& ref() const { return here_.ref(); }

  CursorIterator& operator++() {
    step([](Cursor& cursor, pstRef<psObj>& element) { return cursor.forward(element); });
    return *this;
  }
  CursorIterator operator++(int) {
    CursorIterator before(*this);
    ++*this;
    return before;
  }
  CursorIterator& operator--() {
    return ref() ? stepBack() : go([](Cursor& cursor, pstRef<psObj>& element) { return cursor.toLast(element); });
  }
  CursorIterator operator--(int) {
    CursorIterator before(*this);
    --*this;
    return before;
  }

  friend bool operator==(const CursorIterator& a, const CursorIterator& b) { return a.ref() == b.ref(); }
  friend bool operator!=(const CursorIterator& a, const CursorIterator& b) { return a.ref() != b.ref(); }

  // For the collections and for what walks over them: goes where a function sends the cursor, which says whether there
  // is an element.
  template <class Go>
  CursorIterator& go(Go goTo) {
    const detail::Watch watch;
    pstRef<psObj> element;
    if (goTo(cursor_, element)) {
      here_.take(cursor_, element);
      seen_ = detail::editStamp();
    } else {
      here_ = Here();
      seen_ = never;
    }
    watch.check(cursor_.collection(), "the collection cannot be read");
    return *this;
  }
  // The same from the element at which the iterator stands.
  template <class Go>
  CursorIterator& step(Go goTo) {
    if (PS_UNLIKELY(seen_ != detail::editStamp())) verify();
    return go(goTo);
  }
  CursorIterator& stepBack() {
    return step([](Cursor& cursor, pstRef<psObj>& element) { return cursor.back(element); });
  }
  const Cursor& cursor() const { return cursor_; }

 private:
  // Something has changed, or the iterator stands at no element: goes to where the element is now.
  void verify() {
    if (!ref()) detail::throwNoPosition(cursor_.collection());
    if (cursor_.standsOn(ref().id())) return;
    const detail::Watch watch;
    pstRef<psObj> found;
    const bool isThere = cursor_.find(ref().handle(), found) && found == ref().id();
    watch.check(cursor_.collection(), "the collection cannot be read");
    if (!isThere) detail::throwChanged(cursor_.collection());
  }

  static constexpr std::uint64_t never = ~std::uint64_t{0};

  Cursor cursor_;
  Here here_;                   // of a null reference behind the last element, and before the first
  std::uint64_t seen_ = never;  // when the cursor was known to stand there
};

// Walks back over a collection. Unlike std::reverse_iterator it stands at the element that *it is, so that it keeps it
// in memory.
template <class Iterator>
class BackIterator {
 public:
  using value_type = typename Iterator::value_type;
  using reference = typename Iterator::reference;
  using pointer = typename Iterator::pointer;
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::bidirectional_iterator_tag;

  BackIterator() = default;
  explicit BackIterator(Iterator at) : at_(std::move(at)) {}

  reference operator*() const { return *at_; }
  pointer operator->() const { return at_.operator->(); }
  const auto& ref() const { return at_.ref(); }

  BackIterator& operator++() {
    at_.stepBack();
    return *this;
  }
  BackIterator operator++(int) {
    BackIterator before(*this);
    ++*this;
    return before;
  }
  BackIterator& operator--() {
    if (ref()) {
      ++at_;
    } else {
      at_.go([](auto& cursor, pstRef<psObj>& element) { return cursor.toFirst(element); });
    }
    return *this;
  }
  BackIterator operator--(int) {
    BackIterator before(*this);
    --*this;
    return before;
  }

  friend bool operator==(const BackIterator& a, const BackIterator& b) { return a.at_ == b.at_; }
  friend bool operator!=(const BackIterator& a, const BackIterator& b) { return a.at_ != b.at_; }

 private:
  Iterator at_;
};

// Two iterators, as a range for `for` and for algorithms.
template <class Iterator>
class Range {
 public:
  Range() = default;
  Range(Iterator first, Iterator last) : first_(std::move(first)), last_(std::move(last)) {}
  const Iterator& begin() const { return first_; }
  const Iterator& end() const { return last_; }
  bool empty() const { return first_ == last_; }

 private:
  Iterator first_;
  Iterator last_;
};

}  // namespace ps
