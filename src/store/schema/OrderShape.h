#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ps {

// What a key of an order is compared as. The numbers are part of the stored format.
enum class KeyKind : std::uint8_t {
  signedNumber = 1,
  unsignedNumber = 2,  // bool too
  floating = 3,
  text = 4,
  identifier = 5,
};

namespace detail {

// A value of an element by which it is ordered.
struct KeyShape {
  std::string field;  // the persistent member that it is; empty when a function makes it, or nothing describes it
  KeyKind kind{};
  std::uint8_t size = 0;  // of a number, in bytes
  bool descends = false;
};

// What a comparator orders by.
struct OrderShape {
  unsigned int elements = 0;   // the number of their class
  std::vector<KeyShape> keys;  // none when the comparator does not tell them
};

}  // namespace detail

}  // namespace ps
