#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

// What an object holds, the same for all contestants: its key at the front (a number, or a word that ends with a null
// character), and other data.
constexpr std::size_t payloadBytes = 48;

using Payload = std::array<char, payloadBytes>;

// The other data differ from object to object, and do not compress.
inline Payload payloadOf(std::string_view key) {
  Payload payload{};
  std::memcpy(payload.data(), key.data(), key.size());
  std::uint64_t other = 0;
  std::memcpy(&other, payload.data(), sizeof other);
  for (std::size_t i = (key.size() / 8 + 1) * 8; i < payloadBytes; i += 8) {
    other = other * 6364136223846793005U + 1442695040888963407U;
    std::memcpy(payload.data() + i, &other, sizeof other);
  }
  return payload;
}

// The number at an address: that of a payload, or of a key.
inline std::uint64_t numberAt(const void* address) {
  std::uint64_t number = 0;
  std::memcpy(&number, address, sizeof number);
  return number;
}

inline std::string_view bytesOf(const std::uint64_t& number) {
  return {reinterpret_cast<const char*>(&number), sizeof number};
}
