#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ps::detail {

// The bytes under which a name or key is filed begin with a letter, so that a name, a number and a string of bytes are
// never the same key.
inline std::string filedName(const char* name) { return name != nullptr ? std::string("\"") + name : std::string(); }
inline std::string filedNumber(std::int64_t number) { return "#" + std::to_string(number); }
inline std::string filedBytes(std::string_view bytes) { return "$" + std::string(bytes); }

inline bool isFiledName(std::string_view filed) { return filed.substr(0, 1) == "\""; }
inline bool isFiledNumber(std::string_view filed) { return filed.substr(0, 1) == "#"; }

// What the library itself files, under another letter, is neither a name nor a key.
inline std::string filedInternally(std::string_view word) { return "%" + std::string(word); }
inline bool isFiledInternally(std::string_view filed) { return filed.substr(0, 1) == "%"; }

// A filed name or key as the application knows it.
inline std::string textOfFiled(std::string_view filed) { return std::string(filed.substr(filed.empty() ? 0 : 1)); }

}  // namespace ps::detail
