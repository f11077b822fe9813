#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Payload.h"

// Keys in the order in which they will be used, with their bytes beside each other: what is measured then does not wait
// for the keys themselves. A key is the eight bytes of a number, or a word with a null character behind it.
class KeyList {
 public:
  explicit KeyList(std::size_t capacity) {
    bytes_.reserve(capacity * payloadBytes);
    keys_.reserve(capacity);
  }
  KeyList(KeyList&&) = default;
  KeyList& operator=(KeyList&&) = default;

  // There must be capacity left.
  void add(std::string_view key) {
    const std::size_t start = bytes_.size();
    bytes_.insert(bytes_.end(), key.begin(), key.end());
    keys_.emplace_back(bytes_.data() + start, key.size());
    bytes_.resize((bytes_.size() / 8 + 1) * 8);  // a null character at least, and numbers stay aligned
  }

  void clear() {
    bytes_.clear();
    keys_.clear();
  }

  std::size_t size() const { return keys_.size(); }
  auto begin() const { return keys_.begin(); }
  auto end() const { return keys_.end(); }

 private:
  std::vector<char> bytes_;
  std::vector<std::string_view> keys_;
};
