#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// Numbers in the bytes of a record.
namespace ps::detail {

// Appends a number in as few bytes as it needs: 7 bits each, the lowest first, the top bit set in all but the last.
inline void appendVarint(std::string& bytes, std::uint32_t value) {
  for (; value >= 0x80; value >>= 7) bytes.push_back(static_cast<char>(value | 0x80));
  bytes.push_back(static_cast<char>(value));
}

template <class Number>
void appendNumber(std::string& bytes, Number value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class Number>
Number numberIn(const char* bytes) {
  Number value{};
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

// Reads what was appended. Once something is missing or malformed, isSound is false and every result is 0.
class RecordReader {
 public:
  explicit RecordReader(std::string_view bytes) : at_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  bool isSound() const { return isSound_; }
  bool isAtEnd() const { return at_ == end_; }

  std::uint32_t varint() {
    std::uint32_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 7) {
      if (at_ == end_) break;
      const auto byte = static_cast<unsigned char>(*at_++);
      value |= static_cast<std::uint32_t>(byte & 0x7F) << shift;
      if (byte < 0x80) return value;
    }
    return fail();
  }

  template <class Number>
  Number number() {
    const std::string_view bytes = take(sizeof(Number));
    return isSound_ ? numberIn<Number>(bytes.data()) : Number{};
  }

  // The next bytes.
  std::string_view take(std::size_t count) {
    if (count > static_cast<std::size_t>(end_ - at_)) {
      fail();
      return {};
    }
    at_ += count;
    return {at_ - count, count};
  }

 private:
  std::uint32_t fail() {
    isSound_ = false;
    at_ = end_;
    return 0;
  }

  const char* at_;
  const char* end_;
  bool isSound_ = true;
};

}  // namespace ps::detail
