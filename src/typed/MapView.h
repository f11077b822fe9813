#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "typed/KeyedView.h"
#include "typed/MapEntry.h"

namespace ps {

// What the views of sorted and hash maps share, beside what they share with those of sets. Base is a KeyedView. A value
// may be null.
template <class Base, class K, class V>
class MapView : public Base {
 public:
  using Base::Base;
  using typename Base::Key;
  using key_type = K;
  using mapped_type = Ref<V>;

  // Stores the pair. When a matching key is there, that key object stays, and its value is replaced.
  void put(const Ref<K>& key, const Ref<V>& value) {
    const bool isPut = this->done([&](auto& all) { return all.put(Base::asHandle(key), valueHandle(value)) != 0; });
    if (!isPut) detail::throwRefused(this->id(), "the pair cannot be put");
  }
  // Stores the pair unless a matching key is there. Whether it did.
  bool insert(const Ref<K>& key, const Ref<V>& value) {
    if (this->contains(key)) return false;
    put(key, value);
    return true;
  }
  // Puts pairs of a range: std::pairs of references, or another typed map. In a sorted map, keys in ascending order
  // fill one node after the other.
  template <class Pairs>
  void put_all(const Pairs& pairs) {
    std::vector<pstRef<psObj>> keys;
    std::vector<pstRef<psObj>> values;
    for (const auto& pair : pairs) {
      keys.emplace_back(keyOf(pair).id());
      values.emplace_back(valueOf(pair).id());
    }
    const int n = static_cast<int>(keys.size());
    const int put = this->asked([&](auto& all) { return all.append(keys.data(), values.data(), n); });
    if (put != n) detail::throwRefused(this->id(), "a pair cannot be put");
  }

  // The value of the key that matches, which may be null.
  std::optional<Ref<V>> get(const Key& key) const {
    return Base::byKey(key, [this](auto k) { return this->valueFor(k); });
  }
  std::optional<Ref<V>> get(const Ref<K>& key) const { return valueFor(Base::asHandle(key)); }

 private:
  template <class Wanted>
  std::optional<Ref<V>> valueFor(const Wanted& key) const {
    const auto isThere = [&key](auto& all) { return all.contains(key); };
    const psId value = this->done([&key](auto& all) { return all.get(key).oid(); });
    if (!value.isNull()) return Ref<V>(value);
    return this->done(isThere) ? std::optional<Ref<V>>(Ref<V>()) : std::nullopt;
  }
  static pstHandle<psObj> valueHandle(const Ref<V>& value) { return pstHandle<psObj>(value.id()); }
  static const Ref<K>& keyOf(const MapEntry<K, V>& pair) { return pair.key_ref(); }
  static const Ref<V>& valueOf(const MapEntry<K, V>& pair) { return pair.value(); }
  static Ref<K> keyOf(const std::pair<Ref<K>, Ref<V>>& pair) { return pair.first; }
  static Ref<V> valueOf(const std::pair<Ref<K>, Ref<V>>& pair) { return pair.second; }
};

}  // namespace ps
