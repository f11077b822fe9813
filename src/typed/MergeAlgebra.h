#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "typed/AlgebraIterator.h"
#include "typed/SortedSet.h"

namespace ps::detail {

// A walk over sorted sets that delivers what an operation makes of them, in their order.
template <class T, class Order>
class MergeWalk {
 public:
  using Set = SortedSet<T, Order>;

  MergeWalk() = default;
  MergeWalk(SetOperation operation, const std::vector<Set>& sets) : operation_(operation), isDone_(sets.empty()) {
    for (const Set& set : sets) at_.push_back(set.begin());
    if (!isDone_) settle();
  }

  bool isDone() const { return isDone_; }
  const Ref<T>& ref() const { return at_[current_].ref(); }

  void next() {
    switch (operation_) {
      case SetOperation::unite:
      case SetOperation::differ:
        pass();
        break;
      case SetOperation::intersect:
        for (Iterator& it : at_) ++it;  // all stand at the element
        break;
      case SetOperation::subtract:
        ++at_[0];
        break;
    }
    settle();
  }

 private:
  using Iterator = typename Set::iterator;

  static bool isAtEnd(const Iterator& it) { return !it.ref(); }
  static int compare(const Iterator& a, const Iterator& b) {
    if (a.ref() == b.ref()) return 0;
    if constexpr (Set::isById)
      return compareViews(a.ref().id(), b.ref().id());
    else
      return Order::template compareObjects<0>(*a, *b);
  }

  // Goes to the next element of the result, which may be where the walk stands.
  void settle() {
    switch (operation_) {
      case SetOperation::unite:
        isDone_ = !findLeast();
        break;
      case SetOperation::differ:
        while (!(isDone_ = !findLeast()) && equal_ % 2 == 0) pass();
        break;
      case SetOperation::intersect:
        intersect();
        break;
      case SetOperation::subtract:
        subtract();
        break;
    }
  }

  // Finds the least element at which a set stands, the first set that has it, and how many do.
  bool findLeast() {
    equal_ = 0;
    for (std::size_t i = 0; i < at_.size(); ++i) {
      if (isAtEnd(at_[i])) continue;
      const int order = equal_ == 0 ? -1 : compare(at_[i], at_[current_]);
      if (order < 0) {
        current_ = i;
        equal_ = 1;
      } else if (order == 0) {
        ++equal_;
      }
    }
    return equal_ > 0;
  }
  // Steps over the least element in all sets that have it. The set that delivers it goes last.
  void pass() {
    for (std::size_t i = current_ + 1; i < at_.size() && equal_ > 1; ++i) {
      if (isAtEnd(at_[i]) || compare(at_[i], at_[current_]) != 0) continue;
      ++at_[i];
      --equal_;
    }
    ++at_[current_];
  }

  // Each set in turn leaps to the greatest element that any has reached, until all have it.
  void intersect() {
    std::size_t agreed = 1;
    std::size_t greatest = 0;
    std::size_t passed = at_.size();  // the set that had been the greatest, which another one has passed
    for (std::size_t i = 1 % at_.size(); agreed < at_.size(); i = (i + 1) % at_.size()) {
      isDone_ = isAtEnd(at_[greatest]);
      if (isDone_) return;
      const int order = bringTo(at_[i], at_[greatest], i == passed);
      if (order != 0) {
        passed = greatest;
        greatest = i;
        agreed = 0;
      }
      ++agreed;
    }
    isDone_ = isAtEnd(at_[0]);
  }

  void subtract() {
    for (; !(isDone_ = isAtEnd(at_[0])); ++at_[0]) {
      const auto isThere = [this](Iterator& it) { return bringTo(it, at_[0]) == 0; };
      if (std::none_of(at_.begin() + 1, at_.end(), isThere)) return;
    }
  }

  // Brings a set to the first element that is not less than another set's. How that compares then: 0 or 1. A few steps
  // cost less than a search, where elements are near. isLess: the set is known to stand at a lesser element.
  static int bringTo(Iterator& it, const Iterator& wanted, bool isLess = false) {
    constexpr int fewSteps = 2;
    for (int steps = 0; !isAtEnd(it); ++steps) {
      const int order = isLess && steps == 0 ? -1 : compare(it, wanted);
      if (order >= 0) return order;
      if (steps < fewSteps) {
        ++it;
        continue;
      }
      const pstHandle<psObj>& key = wanted.ref().handle();
      it.step([&key](auto& cursor, pstRef<psObj>& element) { return cursor.seekForward(key, element); });
    }
    return 1;
  }

  SetOperation operation_ = SetOperation::unite;
  std::vector<Iterator> at_;
  std::size_t current_ = 0;  // the set whose element is delivered
  std::size_t equal_ = 0;    // how many sets have it, in a union or a symmetric difference
  bool isDone_ = true;
};

// See Algebra.h.
template <class T, class Order>
class MergeAlgebra {
 public:
  using iterator = AlgebraIterator<T, MergeWalk<T, Order>>;
  using const_iterator = iterator;
  using value_type = T;

  MergeAlgebra(SetOperation operation, std::vector<SortedSet<T, Order>> sets)
      : operation_(operation), sets_(std::move(sets)) {}

  iterator begin() const { return iterator(MergeWalk<T, Order>(operation_, sets_)); }
  iterator end() const { return iterator(); }
  bool empty() const { return begin() == end(); }

 private:
  SetOperation operation_;
  std::vector<SortedSet<T, Order>> sets_;
};

}  // namespace ps::detail
