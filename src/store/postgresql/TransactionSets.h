#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ps::detail {

// What an update transaction relies on: for each key that it has read the stamp of the value, the first 8 bytes, or
// that there was none; for each range of keys that it has read how many pairs were there; and what others had counted
// to the records whose counts it has read, see CountedRecord.h.
struct ReadSet {
  struct Range {
    std::string first;
    std::string last;  // behind the range
    std::uint32_t pairs = 0;
  };

  std::map<std::string, std::optional<std::string>, std::less<>> stamps;
  std::vector<Range> ranges;
  std::map<std::string, std::int64_t, std::less<>> counts;

  // What was known first counts.
  void note(std::string_view key, std::optional<std::string_view> value) {
    constexpr std::size_t stampSize = 8;
    if (stamps.find(key) != stamps.end()) return;
    auto& stamp = stamps[std::string(key)];
    if (value.has_value()) stamp = std::string(value->substr(0, stampSize));
  }
  void clear() {
    stamps.clear();
    ranges.clear();
    counts.clear();
  }
};

// What it has written: a value, or nothing for an erased key.
using WriteSet = std::map<std::string, std::optional<std::string>, std::less<>>;

// The first key behind all that begin with a prefix.
inline std::string behindPrefix(std::string_view prefix) {
  constexpr std::size_t longestKey = 511;
  std::string key(prefix);
  while (!key.empty() && key.back() == '\xFF') key.pop_back();
  if (key.empty()) return std::string(longestKey + 1, '\xFF');
  ++key.back();
  return key;
}

}  // namespace ps::detail
