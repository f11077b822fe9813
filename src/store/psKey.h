#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/base/FiledName.h"

// The key under which psSession::key files an object, and by which the keyed pstLookupObj finds it: a number, or a
// string of at most 400 bytes. A number and a string are never the same key.
class psKey {
 public:
  psKey(int number) : psKey(static_cast<std::int64_t>(number)) {}
  psKey(std::int64_t number) : bytes_(ps::detail::filedNumber(number)) {}
  explicit psKey(std::string_view bytes) : bytes_(ps::detail::filedBytes(bytes)) {}

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};
