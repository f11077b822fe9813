#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ps::detail {

// Values in the binary form of PostgreSQL's protocol. Numbers are big-endian.
inline void appendNumber(std::string& to, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) to.push_back(static_cast<char>(number >> shift));
}

inline std::string number32(std::uint32_t number) {
  std::string bytes;
  appendNumber(bytes, number);
  return bytes;
}

inline std::uint64_t numberIn(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

// An array of bytea or integer, as a parameter.
class WireArray {
 public:
  enum class Of : std::uint32_t { bytes = 17, numbers = 23 };

  explicit WireArray(Of kind = Of::bytes) : kind_(kind) {}

  void add(std::string_view bytes) {
    ++count_;
    appendNumber(elements_, static_cast<std::uint32_t>(bytes.size()));
    elements_.append(bytes);
  }
  void add(std::uint32_t number) { add(number32(number)); }
  void addNull() {
    ++count_;
    hasNull_ = true;
    appendNumber(elements_, 0xFFFFFFFFU);
  }

  std::uint32_t size() const { return count_; }
  std::size_t bytes() const { return elements_.size(); }
  std::string encoded() const {
    std::string array;
    array.reserve(20 + elements_.size());
    appendNumber(array, count_ == 0 ? 0 : 1);
    appendNumber(array, hasNull_ ? 1 : 0);
    appendNumber(array, static_cast<std::uint32_t>(kind_));
    if (count_ == 0) return array;
    appendNumber(array, count_);
    appendNumber(array, 1);
    return array.append(elements_);
  }
  void clear() { *this = WireArray(kind_); }

 private:
  Of kind_;
  std::uint32_t count_ = 0;
  bool hasNull_ = false;
  std::string elements_;
};

// Calls visit with each element of an array that a result has; null elements are left out.
template <class Visit>
void visitArray(std::string_view array, const Visit& visit) {
  constexpr std::size_t head = 20;
  if (array.size() < head) return;
  std::size_t at = head;
  for (std::uint64_t left = numberIn(array.substr(12, 4)); left > 0 && at + 4 <= array.size(); --left) {
    const auto length = static_cast<std::uint32_t>(numberIn(array.substr(at, 4)));
    at += 4;
    if (length == 0xFFFFFFFFU) continue;
    visit(array.substr(at, length));
    at += length;
  }
}

}  // namespace ps::detail
