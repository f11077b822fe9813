#pragma once

#include <cstddef>
#include <iterator>
#include <utility>

#include "typed/Ref.h"

namespace ps::detail {

enum class SetOperation { unite, intersect, subtract, differ };

// An iterator of lazy set algebra. Walk is the state of a walk over the sets: isDone(), ref() and next().
template <class T, class Walk>
class AlgebraIterator {
 public:
  using value_type = T;
  using reference = const T&;
  using pointer = const T*;
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::forward_iterator_tag;

  AlgebraIterator() = default;
  explicit AlgebraIterator(Walk walk) : walk_(std::move(walk)) {}

  const T& operator*() const { return *walk_.ref(); }
  const T* operator->() const { return walk_.ref().get(); }
  const Ref<T>& ref() const { return walk_.ref(); }

  AlgebraIterator& operator++() {
    walk_.next();
    return *this;
  }
  AlgebraIterator operator++(int) {
    AlgebraIterator before(*this);
    ++*this;
    return before;
  }

  friend bool operator==(const AlgebraIterator& a, const AlgebraIterator& b) {
    return a.walk_.isDone() || b.walk_.isDone() ? a.walk_.isDone() == b.walk_.isDone() : a.ref() == b.ref();
  }
  friend bool operator!=(const AlgebraIterator& a, const AlgebraIterator& b) { return !(a == b); }

 private:
  Walk walk_;
};

}  // namespace ps::detail
