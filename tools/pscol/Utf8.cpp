#include "pscol/Utf8.h"

#include <array>

namespace pscol {

std::size_t decodeUtf8(std::string_view text, char32_t& character) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t size = first < 0x80   ? 1
                           : first < 0xC2 ? 0
                           : first < 0xE0 ? 2
                           : first < 0xF0 ? 3
                           : first < 0xF5 ? 4
                                          : 0;
  if (size == 0 || size > text.size()) return 0;
  character = size == 1 ? first : first & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80) return 0;
    character = character << 6 | (next & 0x3FU);
  }
  constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = character >= 0xD800 && character < 0xE000;
  return character < least[size] || character > 0x10FFFF || isSurrogate ? 0 : size;
}

}  // namespace pscol
