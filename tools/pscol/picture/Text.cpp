#include "pscol/picture/Text.h"

#include <algorithm>
#include <array>

#include "pscol/Utf8.h"

namespace pscol::picture {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr std::string_view ellipsis = "\u2026";

// From ' ' to '~', in hundredths of the size.
constexpr std::array<unsigned char, 95> normalWidths{
    32, 40, 46, 84, 64, 95, 78, 27, 39,  39, 50, 84, 32, 36, 32, 34, 64, 64, 64, 64, 64, 64, 64, 64,
    64, 64, 34, 34, 84, 84, 84, 53, 100, 68, 69, 70, 77, 63, 58, 77, 75, 29, 29, 66, 56, 86, 75, 79,
    60, 79, 69, 63, 61, 73, 68, 99, 69,  61, 69, 39, 34, 39, 84, 50, 50, 61, 63, 55, 63, 62, 35, 63,
    63, 28, 28, 58, 28, 97, 63, 61, 63,  63, 41, 52, 39, 63, 59, 82, 59, 59, 52, 64, 34, 64, 84};
constexpr std::array<unsigned char, 95> boldWidths{
    35, 46, 52, 84, 70, 100, 87, 31,  46,  46, 52, 84, 38, 42, 38, 37, 70, 70, 70, 70, 70, 70,  70, 70,
    70, 70, 40, 40, 84, 84,  84, 58,  100, 77, 76, 73, 83, 68, 68, 82, 84, 37, 37, 77, 64, 100, 84, 85,
    73, 85, 77, 72, 68, 81,  77, 110, 77,  72, 73, 46, 37, 46, 84, 50, 50, 67, 72, 59, 72, 68,  44, 72,
    71, 34, 34, 67, 34, 104, 71, 69,  72,  72, 49, 60, 48, 71, 65, 92, 65, 65, 58, 71, 37, 71,  84};

bool isMark(char32_t c) {
  return (c >= 0x300 && c < 0x370) || (c >= 0x591 && c < 0x5C0) || (c >= 0x64B && c < 0x660) ||
         (c >= 0x200B && c < 0x2010) || (c >= 0x20D0 && c < 0x2100) || (c >= 0xFE00 && c < 0xFE10) ||
         (c >= 0xFE20 && c < 0xFE30) || (c >= 0x1F3FB && c < 0x1F400) || (c >= 0xE0000 && c < 0xE01F0);
}

bool isForbidden(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x206F) ||
         (c >= 0xFDD0 && c < 0xFDF0) || c == 0xFEFF || (c & 0xFFFE) == 0xFFFE || c > 0x10FFFF;
}

// How many bytes the character that begins at `at` has; 1 where none begins. c becomes the character.
std::size_t decode(std::string_view text, std::size_t at, char32_t& c) {
  const std::size_t size = decodeUtf8(text.substr(at), c);
  if (size == 0) c = replacement;
  return size == 0 ? 1 : size;
}

// In hundredths of the size.
int widthOf(char32_t c, Weight weight) {
  if (c >= ' ' && c <= '~') return weight == Weight::bold ? boldWidths[c - ' '] : normalWidths[c - ' '];
  if (isMark(c)) return 0;
  if (c == 0xA0 || c == 0xB7) return weight == Weight::bold ? 38 : 32;
  const int bold = weight == Weight::bold ? 10 : 0;
  if (c < 0x250) return 78 + bold;
  if (c < 0x400) return 72 + bold;
  if (c < 0x590) return 80 + bold;
  if (c < 0x1100) return 90 + bold;
  if (c < 0x1F000) return 104 + bold;
  return 140;
}

std::vector<std::string_view> charactersOf(std::string_view text) {
  std::vector<std::string_view> characters;
  char32_t c = 0;
  for (std::size_t at = 0, size = 0; at < text.size(); at += size) {
    size = decode(text, at, c);
    if (isMark(c) && !characters.empty())
      characters.back() = {characters.back().data(), characters.back().size() + size};
    else
      characters.push_back(text.substr(at, size));
  }
  return characters;
}

// The start of the text, then an ellipsis, then the last `kept` characters.
std::string cut(std::string_view text, double room, double size, Weight weight, std::size_t kept) {
  if (textWidth(text, size, weight) <= room) return std::string(text);
  const std::vector<std::string_view> characters = charactersOf(text);
  kept = std::min(kept, characters.size());
  std::string tail(ellipsis);
  for (std::size_t i = characters.size() - kept; i < characters.size(); ++i) tail += characters[i];
  const double most = room - textWidth(tail, size, weight);
  std::string head;
  double width = 0;
  std::size_t taken = 0;
  for (; taken < characters.size(); ++taken) {
    width += textWidth(characters[taken], size, weight);
    if (width > most) break;
    head += characters[taken];
  }
  return taken < 2 ? "" : head + tail;
}

}  // namespace

std::string cleaned(std::string_view text) {
  std::string clean;
  char32_t c = 0;
  for (std::size_t at = 0, size = 0; at < text.size(); at += size) {
    size = decode(text, at, c);
    if (c == replacement || isForbidden(c))
      clean += "\uFFFD";
    else
      clean += text.substr(at, size);
  }
  return clean;
}

std::string escaped(std::string_view text) {
  std::string safe;
  for (const char c : cleaned(text)) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

double textWidth(std::string_view text, double size, Weight weight) {
  int hundredths = 0;
  char32_t c = 0;
  for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
    length = decode(text, at, c);
    hundredths += widthOf(c, weight);
  }
  return hundredths * size / 100;
}

std::string fitted(std::string_view text, double room, double size, Weight weight) {
  return cut(text, room, size, weight, 0);
}

std::string fittedInMiddle(std::string_view text, double room, double size, Weight weight) {
  return cut(text, room, size, weight, 3);
}

std::string shortened(std::string_view text, std::size_t most) {
  const std::vector<std::string_view> characters = charactersOf(text);
  if (characters.size() <= most) return std::string(text);
  std::string head;
  for (std::size_t i = 0; i + 1 < most; ++i) head += characters[i];
  return head + std::string(ellipsis);
}

std::vector<std::string> wrapped(const std::string& text, double room, double size) {
  std::vector<std::string> lines;
  std::string line;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    const std::string word = text.substr(at, end - at);
    const double width = textWidth(line, size) + textWidth(" ", size) + textWidth(word, size);
    if (!line.empty() && width > room) {
      lines.push_back(line);
      line.clear();
    }
    if (!line.empty()) line += ' ';
    line += word;
    at = end + 1;
  }
  lines.push_back(line);
  return lines;
}

}  // namespace pscol::picture
