#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

// Makes the numbers for psCompare::abbreviation. A number is never 0, and sorts as the values do:
//
//   integers, bool, enumerations  by value. Those of more than 8 bytes go by their first 8 bytes.
//   floating point                by value; 0.0 and -0.0 are equal. All NaN are equal and sort after everything else,
//   so
//                                 the comparator must sort them there too.
//   texts                         by their first 8 bytes, as unsigned characters; the shorter of 2 texts that go on
//   alike
//                                 first. std::string and memcmp sort so; strcoll need not.
//
// Values of at most 7 bytes, and double, have equal numbers only if they are equal. Otherwise neighbours may share one.
namespace ps {

namespace detail {

// Unsigned, in the order of the values, from the top bit down. width is the number of bits that count; bits is empty
// below them.
struct OrderedBits {
  std::uint64_t bits;
  unsigned width;
};

inline OrderedBits bitsOfText(std::string_view text) {
  char leading[sizeof(std::uint64_t)] = {};
  if (!text.empty()) std::memcpy(leading, text.data(), std::min(text.size(), sizeof leading));
  std::uint64_t bits = 0;
  std::memcpy(&bits, leading, sizeof bits);
  return {__builtin_bswap64(bits), std::numeric_limits<unsigned>::max()};
}

template <class Value>
OrderedBits orderedBits(const Value& value) {
  if constexpr (std::is_convertible_v<Value, std::string_view>) {
    return bitsOfText(value);
  } else if constexpr (std::is_enum_v<Value>) {
    return orderedBits(static_cast<std::underlying_type_t<Value>>(value));
  } else if constexpr (std::is_floating_point_v<Value>) {
    const double number = static_cast<double>(value) + 0.0;  // turns -0.0 into 0.0
    if (number != number) return {~std::uint64_t{0}, 64};
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return {(bits & sign) != 0 ? ~bits : bits | sign, 64};
  } else if constexpr (std::is_same_v<Value, bool>) {
    return {std::uint64_t{value} << 63, 1};
  } else {
    static_assert(Value(1) > Value(0), "a number, an enumeration or a text");
    constexpr unsigned width = sizeof(Value) * 8;
    constexpr std::uint64_t sign = Value(-1) < Value(0) ? std::uint64_t{1} << 63 : 0;
    if constexpr (width > 64) {
      return {static_cast<std::uint64_t>(value >> (width - 64)) ^ sign, width};
    } else {
      return {(static_cast<std::uint64_t>(value) << (64 - width)) ^ sign, width};
    }
  }
}

}  // namespace detail

// The number of a value.
template <class Value>
std::uint64_t abbreviationOf(const Value& value) {
  return std::max<std::uint64_t>(detail::orderedBits(value).bits, 1);
}

// The number of a pair that sorts by first, then by second. second adds to it where first takes less than 8 bytes.
template <class First, class Second>
std::uint64_t abbreviationOfPair(const First& first, const Second& second) {
  const detail::OrderedBits bits = detail::orderedBits(first);
  if (bits.width >= 64) return std::max<std::uint64_t>(bits.bits, 1);
  return std::max<std::uint64_t>(bits.bits | detail::orderedBits(second).bits >> bits.width, 1);
}

}  // namespace ps
