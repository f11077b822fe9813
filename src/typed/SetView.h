#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "typed/KeyedView.h"

namespace ps {

// What the views of sorted and hash sets share, beside what they share with those of maps. Base is a KeyedView.
template <class Base, class T>
class SetView : public Base {
 public:
  using Base::Base;
  using typename Base::Key;
  // The class of the elements.
  using Element = T;

  // Adds the element. False when an equal one is there.
  bool insert(const Ref<T>& element) {
    return this->done([&element](auto& all) { return all.add(Base::asHandle(element)); });
  }
  // Adds the elements of a range: of references, or of a typed collection. Returns how many were not there. In a sorted
  // set, elements in ascending order fill one node after the other.
  template <class Elements>
  int insert_all(const Elements& elements) {
    return append(idsOf(elements));
  }
  // Replaces all elements by those of a range, which may be made of this set, as lazy set algebra is.
  template <class Elements>
  void assign(const Elements& elements) {
    const std::vector<pstRef<psObj>> ids = idsOf(elements);
    this->clear();
    append(ids);
  }

  // The element that matches the key.
  std::optional<Ref<T>> get(const Key& key) const {
    const psId id =
        this->done([&key](auto& all) { return Base::byKey(key, [&all](auto k) { return all.get(k).oid(); }); });
    return id.isNull() ? std::nullopt : std::optional<Ref<T>>(Ref<T>(id));
  }

 private:
  template <class Elements>
  static std::vector<pstRef<psObj>> idsOf(const Elements& elements) {
    std::vector<pstRef<psObj>> ids;
    const auto end = elements.end();
    for (auto it = elements.begin(); it != end; ++it) ids.emplace_back(detail::referenceAt<T>(it).id());
    return ids;
  }
  int append(const std::vector<pstRef<psObj>>& ids) {
    return this->asked([&ids](auto& all) { return all.append(ids.data(), static_cast<int>(ids.size())); });
  }
};

}  // namespace ps
