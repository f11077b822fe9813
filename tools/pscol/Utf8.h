#pragma once

#include <cstddef>
#include <string_view>

namespace pscol {

// The bytes of the character at the beginning of a text in UTF-8, and the character; 0 when there is none. The text is
// not empty.
std::size_t decodeUtf8(std::string_view text, char32_t& character);

}  // namespace pscol
