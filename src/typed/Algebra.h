#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "typed/LookUpAlgebra.h"
#include "typed/MergeAlgebra.h"

// Union, intersection, difference and symmetric difference of any number of sets, as ranges that are computed while
// they are walked:
//
//   for (const Package& package : ps::intersection(installed, obsolete)) ...
//   cheap.assign(ps::difference(all, expensive, broken));
//
// The sets have one order. Of equal elements the range has that of the first set in which there is one. A symmetric
// difference has what is in an odd number of the sets.
//
// When all sets are sorted, so is the range, and a walk over it is one over the sets, in which those that have nothing
// to contribute leap ahead. When one is a hash set, the elements of one set after the other are looked up in the
// others: an intersection walks the smallest set only, and a difference its first one.
//
// A range may be kept and walked again. Its iterators are forward iterators, like those of sets: *it is a const T& that
// stays valid while the iterator stands there. Do not change the sets during a walk; assign() reads all first.
namespace ps {

namespace detail {

template <class First, class... Rest>
auto algebra(SetOperation operation, const First& first, const Rest&... rest) {
  using T = typename First::Element;
  using Order = typename First::Order;
  static_assert((std::is_same_v<T, typename Rest::Element> && ...), "the sets have elements of one class");
  static_assert((std::is_same_v<Order, typename Rest::Order> && ...), "the sets have one order");
  if constexpr (First::isSorted && (Rest::isSorted && ...))
    return MergeAlgebra<T, Order>(operation, {first, rest...});
  else
    return LookUpAlgebra<T, Order>(operation, {first, rest...});
}

template <class Set>
auto algebraOf(SetOperation operation, const std::vector<Set>& sets) {
  using T = typename Set::Element;
  using Order = typename Set::Order;
  if constexpr (Set::isSorted)
    return MergeAlgebra<T, Order>(operation, sets);
  else
    return LookUpAlgebra<T, Order>(operation, {sets.begin(), sets.end()});
}

}  // namespace detail

// What is in any of the sets.
template <class Set, class... Sets>
auto set_union(const Set& set, const Sets&... others) {
  return detail::algebra(detail::SetOperation::unite, set, others...);
}
template <class Set>
auto set_union(const std::vector<Set>& sets) {
  return detail::algebraOf(detail::SetOperation::unite, sets);
}

// What is in all of them.
template <class Set, class... Sets>
auto intersection(const Set& set, const Sets&... others) {
  return detail::algebra(detail::SetOperation::intersect, set, others...);
}
template <class Set>
auto intersection(const std::vector<Set>& sets) {
  return detail::algebraOf(detail::SetOperation::intersect, sets);
}

// What is in the first and in none of the others.
template <class Set, class... Sets>
auto difference(const Set& set, const Sets&... others) {
  return detail::algebra(detail::SetOperation::subtract, set, others...);
}
template <class Set>
auto difference(const std::vector<Set>& sets) {
  return detail::algebraOf(detail::SetOperation::subtract, sets);
}

// What is in an odd number of them.
template <class Set, class... Sets>
auto symmetric_difference(const Set& set, const Sets&... others) {
  return detail::algebra(detail::SetOperation::differ, set, others...);
}
template <class Set>
auto symmetric_difference(const std::vector<Set>& sets) {
  return detail::algebraOf(detail::SetOperation::differ, sets);
}

}  // namespace ps
