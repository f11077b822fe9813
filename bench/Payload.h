#pragma once

#include <array>
#include <cstdint>
#include <cstring>

// What an object holds, the same for all contestants: its key, and five numbers more.
using Payload = std::array<std::uint64_t, 6>;

// The other numbers differ from object to object, and do not compress.
inline Payload payloadOf(std::uint64_t key) {
  Payload payload{key};
  for (std::size_t i = 1; i < payload.size(); ++i) {
    payload[i] = payload[i - 1] * 6364136223846793005U + 1442695040888963407U;
  }
  return payload;
}

// The number at an address, that of a payload above all, which may be any.
inline std::uint64_t numberAt(const void* address) {
  std::uint64_t number = 0;
  std::memcpy(&number, address, sizeof number);
  return number;
}

// Spread over all its bits.
inline std::uint64_t hashOf(std::uint64_t key) { return key * 0x9E3779B97F4A7C15U; }
