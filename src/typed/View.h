#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "store/base/psId.h"
#include "store/pstRef.h"
#include "typed/String.h"

namespace ps {

// What a key of an order is compared, hashed and looked up as: numbers and enumerations as themselves, texts as
// std::string_view, references as psId. Specialise it for other types.
//
// isAsStored says that a member of the type shows what is stored in it, so that programs without the class can order by
// it too. What a specialisation of yours makes of a value is known to your program alone: leave it out there.
template <class T, class = void>
struct View {
  static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>,
                "PS_ORDER: values of this type have no order; use a function that returns a number, a std::string_view "
                "or a psId");
  // What a value counts as, and how it becomes that.
  using type = T;
  static constexpr bool isAsStored = true;
  static T of(const T& value) { return value; }
};
template <>
struct View<String> {
  using type = std::string_view;
  static constexpr bool isAsStored = true;
  static std::string_view of(const String& text) { return text.viewIfReadable(); }
};
template <>
struct View<pstVArray<char>> {
  using type = std::string_view;
  static constexpr bool isAsStored = true;
  static std::string_view of(const pstVArray<char>& text) {
    const unsigned int n = text.size();
    return n == 0 ? std::string_view() : std::string_view(text.head(), n);
  }
};
template <std::size_t N>
struct View<char[N]> {
  using type = std::string_view;
  static constexpr bool isAsStored = true;
  static std::string_view of(const char (&text)[N]) { return {text, strnlen(text, N)}; }
};
template <>
struct View<std::string_view> {
  using type = std::string_view;
  static std::string_view of(std::string_view text) { return text; }
};
template <>
struct View<psId> {
  using type = psId;
  static constexpr bool isAsStored = true;
  static psId of(const psId& id) { return id; }
};
template <class T>
struct View<pstRef<T>> {
  using type = psId;
  static constexpr bool isAsStored = true;
  static psId of(const pstRef<T>& reference) { return reference.oid(); }
};

namespace detail {

// A total order: -0 equals 0, and NaN comes last and equals itself. Texts compare as unsigned characters.
template <class V>
int compareViews(const V& a, const V& b) {
  if constexpr (std::is_same_v<V, std::string_view>) {
    const int result = a.compare(b);
    return (result > 0) - (result < 0);
  } else if constexpr (std::is_same_v<V, psId>) {
    return (orderOf(a) > orderOf(b)) - (orderOf(a) < orderOf(b));
  } else {
    if constexpr (std::is_floating_point_v<V>) {
      if (std::isnan(a) || std::isnan(b)) return static_cast<int>(std::isnan(a)) - static_cast<int>(std::isnan(b));
    }
    return (a > b) - (a < b);
  }
}

// Hashes lead to the places of elements in stored tables, so these functions never change.
inline std::uint64_t mixed(std::uint64_t bits) {
  bits ^= bits >> 32;
  bits *= 0x9E3779B97F4A7C15U;
  bits ^= bits >> 29;
  bits *= 0xBF58476D1CE4E5B9U;
  return bits ^ bits >> 32;
}

inline std::uint64_t wordAt(const char* bytes, std::size_t size) {
  std::uint64_t word = 0;
  if (size > 0) std::memcpy(&word, bytes, size);
  return word;
}

// Equal views hash alike, also those of different widths of one kind of number.
template <class V>
std::uint64_t hashOfView(const V& view) {
  if constexpr (std::is_same_v<V, std::string_view>) {
    std::uint64_t hash = view.size() * 0x9E3779B97F4A7C15U;
    std::size_t i = 0;
    for (; i + sizeof hash <= view.size(); i += sizeof hash) hash = mixed(hash ^ wordAt(view.data() + i, sizeof hash));
    return mixed(hash ^ wordAt(view.data() + i, view.size() - i));
  } else if constexpr (std::is_same_v<V, psId>) {
    return mixed(orderOf(view));
  } else if constexpr (std::is_floating_point_v<V>) {
    double number = static_cast<double>(view);
    if (std::isnan(number)) return mixed(~std::uint64_t{0});
    if (number == 0) number = 0;  // not -0
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return mixed(bits);
  } else {
    return mixed(static_cast<std::uint64_t>(view));
  }
}

}  // namespace detail

}  // namespace ps
