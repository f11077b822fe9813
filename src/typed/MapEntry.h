#pragma once

#include <cstddef>
#include <tuple>
#include <type_traits>

#include "typed/Ref.h"

namespace ps {

// A pair of a map. It can be taken apart: for (auto [word, lines] : map). The key is then a const K&, which stays valid
// while the pair does, and the value a reference, which may be null.
template <class K, class V>
class MapEntry {
 public:
  using value_type = MapEntry;

  MapEntry() = default;
  MapEntry(Ref<K> key, Ref<V> value) : key_(std::move(key)), value_(std::move(value)) {}

  const K& key() const { return *key_; }
  const Ref<K>& key_ref() const { return key_; }
  const Ref<V>& value() const { return value_; }

  template <std::size_t I>
  decltype(auto) get() const {
    if constexpr (I == 0)
      return key();
    else
      return value();
  }

  // For the iterators.
  const MapEntry& get() const { return *this; }
  const Ref<K>& ref() const { return key_; }
  template <class Cursor>
  void take(const Cursor& cursor, const pstRef<psObj>& key) {
    key_ = Ref<K>(key.oid());
    value_ = Ref<V>(cursor.value().oid());
  }

 private:
  Ref<K> key_;
  Ref<V> value_;
};

}  // namespace ps

template <class K, class V>
struct std::tuple_size<ps::MapEntry<K, V>> : std::integral_constant<std::size_t, 2> {};
template <class K, class V>
struct std::tuple_element<0, ps::MapEntry<K, V>> {
  using type = const K&;
};
template <class K, class V>
struct std::tuple_element<1, ps::MapEntry<K, V>> {
  using type = const ps::Ref<V>&;
};
