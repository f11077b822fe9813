#pragma once

#include <cstdint>
#include <cstring>

#include "store/schema/Field.h"

// Numbers in the bytes of objects.
namespace ps::detail {

constexpr bool isUnsigned(FieldKind kind) { return kind == FieldKind::unsignedInteger || kind == FieldKind::boolean; }
constexpr bool isInteger(FieldKind kind) {
  return isUnsigned(kind) || kind == FieldKind::signedInteger || kind == FieldKind::character;
}

// The integer of 1, 2, 4 or 8 bytes at an address, extended to 64 bits as its sign demands.
inline std::uint64_t integerAt(const char* place, FieldKind kind, std::uint32_t size) {
  std::uint64_t value = 0;
  std::memcpy(&value, place, size);
  const unsigned shift = 64 - 8 * size;
  if (isUnsigned(kind)) return value;
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(value << shift) >> shift);
}

inline double floatingAt(const char* place, std::uint32_t size) {
  float narrow = 0;
  double wide = 0;
  if (size == sizeof wide) {
    std::memcpy(&wide, place, sizeof wide);
    return wide;
  }
  std::memcpy(&narrow, place, sizeof narrow);
  return static_cast<double>(narrow);
}

}  // namespace ps::detail
