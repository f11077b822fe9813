#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "typed/AlgebraIterator.h"
#include "typed/HashSet.h"
#include "typed/SortedSet.h"

namespace ps::detail {

template <class T, class Order>
using AnySet = std::variant<SortedSet<T, Order>, HashSet<T, Order>>;

// A walk over one set after the other, each element of which is looked up in the others, that delivers what an
// operation makes of them.
template <class T, class Order>
class LookUpWalk {
 public:
  using Sets = std::vector<AnySet<T, Order>>;

  LookUpWalk() = default;
  LookUpWalk(SetOperation operation, std::shared_ptr<const Sets> sets) : operation_(operation), sets_(std::move(sets)) {
    if (sets_->empty()) return;
    walked_ = operation == SetOperation::intersect ? smallest() : 0;
    isDone_ = false;
    begin();
    settle();
  }

  bool isDone() const { return isDone_; }
  const Ref<T>& ref() const {
    return std::visit([](const auto& it) -> const Ref<T>& { return it.ref(); }, at_);
  }
  void next() {
    step();
    settle();
  }

 private:
  using Iterator = std::variant<typename SortedSet<T, Order>::iterator, typename HashSet<T, Order>::iterator>;

  bool walksAll() const { return operation_ == SetOperation::unite || operation_ == SetOperation::differ; }
  void begin() {
    std::visit([this](const auto& set) { at_ = Iterator(set.begin()); }, (*sets_)[walked_]);
  }
  void step() {
    std::visit([](auto& it) { ++it; }, at_);
  }
  std::size_t smallest() const {
    std::size_t least = 0;
    const auto sizeOf = [](const auto& any) { return std::visit([](const auto& set) { return set.size(); }, any); };
    for (std::size_t i = 1; i < sets_->size(); ++i) {
      if (sizeOf((*sets_)[i]) < sizeOf((*sets_)[least])) least = i;
    }
    return least;
  }

  // Goes to the next element of the result, which may be where the walk stands.
  void settle() {
    for (;; step()) {
      while (!ref()) {
        isDone_ = !walksAll() || walked_ + 1 == sets_->size();
        if (isDone_) return;
        ++walked_;
        begin();
      }
      if (belongs()) return;
    }
  }
  bool isIn(std::size_t i) const {
    return std::visit([this](const auto& set) { return set.contains(ref()); }, (*sets_)[i]);
  }
  bool belongs() const {
    std::size_t others = 0;
    for (std::size_t i = 0; i < sets_->size(); ++i) {
      if (i == walked_ || !isIn(i)) continue;
      // It was met in an earlier set already.
      if (walksAll() && i < walked_) return false;
      if (operation_ == SetOperation::subtract) return false;
      ++others;
    }
    if (operation_ == SetOperation::differ) return others % 2 == 0;
    return operation_ != SetOperation::intersect || others + 1 == sets_->size();
  }

  SetOperation operation_ = SetOperation::unite;
  std::shared_ptr<const Sets> sets_;
  std::size_t walked_ = 0;
  Iterator at_;
  bool isDone_ = true;
};

// See Algebra.h.
template <class T, class Order>
class LookUpAlgebra {
 public:
  using Walk = LookUpWalk<T, Order>;
  using iterator = AlgebraIterator<T, Walk>;
  using const_iterator = iterator;
  using value_type = T;

  LookUpAlgebra(SetOperation operation, typename Walk::Sets sets)
      : operation_(operation), sets_(std::make_shared<const typename Walk::Sets>(std::move(sets))) {}

  iterator begin() const { return iterator(Walk(operation_, sets_)); }
  iterator end() const { return iterator(); }
  bool empty() const { return begin() == end(); }

 private:
  SetOperation operation_;
  std::shared_ptr<const typename Walk::Sets> sets_;
};

}  // namespace ps::detail
