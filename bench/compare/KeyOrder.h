#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Payload.h"

// Order and hash of what lies at two addresses, which are those of payloads or of keys. Hashes are spread over all
// their bits.

struct ByNumber {
  static int compare(const void* a, const void* b) {
    const std::uint64_t first = numberAt(a);
    const std::uint64_t second = numberAt(b);
    return (first > second) - (first < second);
  }
  static std::uint64_t hash(const void* address) { return numberAt(address) * 0x9E3779B97F4A7C15U; }
};

struct ByWord {
  static int compare(const void* a, const void* b) {
    return std::strcmp(static_cast<const char*>(a), static_cast<const char*>(b));
  }
  // FNV-1a, with a multiplication that makes the first bits depend on the last letters.
  static std::uint64_t hash(const void* address) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char* letter = static_cast<const char*>(address); *letter != '\0'; ++letter) {
      hash = (hash ^ static_cast<unsigned char>(*letter)) * 0x100000001B3U;
    }
    return hash * 0x9E3779B97F4A7C15U;
  }
};
