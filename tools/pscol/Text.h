#pragma once

#include <store/base/psId.h>

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace pscol {

// Numbers and names as people read them.
std::string countText(std::uint64_t number);  // 1,234,567
std::string bytesText(std::uint64_t bytes);   // 812 B, 1.23 MB
std::string shareText(double part);           // 87 %; "<1 %" and ">99 %" instead of 0 and 100 where these are not exact
std::string durationText(double seconds);     // 3.2 s, 12 min, 5 h
std::string timeText(std::int64_t secondsSince1970);  // 2026-11-27 12:42:15 UTC
std::string idText(const psId& id);                   // 1-2-3-4

// A text with what a terminal would obey, or cannot show, as \n, \x1b and the like.
std::string printable(std::string_view text);
std::string inQuotes(std::string_view text);  // the same in quotation marks

bool isUtf8(std::string_view text);
// A text as JSON: a string, or, when it is not UTF-8, an object with its bytes in hexadecimal digits.
nlohmann::ordered_json textJson(std::string_view text);
std::string hexadecimal(std::string_view bytes);

// How many columns of a terminal a text takes.
std::size_t columnsOf(std::string_view text);

}  // namespace pscol
