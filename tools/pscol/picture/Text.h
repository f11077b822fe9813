#pragma once

#include <string>
#include <string_view>
#include <vector>

// Text of any script for pictures and pages. What a store has for names may be any bytes.
namespace pscol::picture {

enum class Weight { normal, bold };

// text as UTF-8 without control characters, also without those that turn the direction of writing: a replacement
// character stands in the place of each, and of each byte that is no UTF-8.
std::string cleaned(std::string_view text);
// cleaned, and safe as the content of an element or as an attribute in double quotes.
std::string escaped(std::string_view text);

// How wide a text is at most, in pixels: as the widest of the usual fonts for screens draws it. The text is clean.
double textWidth(std::string_view text, double size, Weight weight = Weight::normal);
// text, or what of it has room, with an ellipsis at the end or in the middle. "" where not even 2 letters have room.
std::string fitted(std::string_view text, double room, double size, Weight weight = Weight::normal);
std::string fittedInMiddle(std::string_view text, double room, double size, Weight weight = Weight::normal);
// At most so many characters, with an ellipsis.
std::string shortened(std::string_view text, std::size_t most);
// Lines that are no wider than room, broken between words.
std::vector<std::string> wrapped(const std::string& text, double room, double size);

}  // namespace pscol::picture
