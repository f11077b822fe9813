#include "pscol/Text.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <cwchar>
#include <nlohmann/json.hpp>

#include "pscol/Utf8.h"

namespace pscol {

namespace {

// Three digits of a number and its unit.
std::string scaled(double number, const char* unit) {
  std::array<char, 32> text{};
  const int decimals = number < 9.995 ? 2 : number < 99.95 ? 1 : 0;
  std::snprintf(text.data(), text.size(), "%.*f %s", decimals, number, unit);
  return text.data();
}

// What a terminal would obey: the control characters, those of directions of writing among them.
bool isControl(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || (character >= 0x200B && character <= 0x200F) ||
         (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

void appendEscaped(std::string& text, unsigned char byte) {
  static constexpr std::string_view named = "\n\r\t";
  static constexpr std::string_view letters = "nrt";
  const std::size_t known = named.find(static_cast<char>(byte));
  text += '\\';
  if (known != std::string_view::npos)
    text += letters[known];
  else
    text += "x" + hexadecimal(std::string(1, static_cast<char>(byte)));
}

}  // namespace

std::string countText(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, ",");
  return digits;
}

std::string bytesText(std::uint64_t bytes) {
  if (bytes < 1000) return std::to_string(bytes) + " B";
  static constexpr std::array<const char*, 5> units{"kB", "MB", "GB", "TB", "PB"};
  double number = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; number >= 999.5 && unit + 1 < units.size(); ++unit) number /= 1000;
  return scaled(number, units[unit]);
}

std::string shareText(double part) {
  if (part > 0 && part < 0.01) return "<1 %";
  if (part < 1 && part > 0.99) return ">99 %";
  return std::to_string(std::lround(part * 100)) + " %";
}

std::string durationText(double seconds) {
  constexpr double minute = 60;
  constexpr double hour = 60 * minute;
  constexpr double day = 24 * hour;
  if (seconds < 2 * minute) return scaled(seconds, "s");
  if (seconds < 2 * hour) return std::to_string(std::lround(seconds / minute)) + " min";
  if (seconds < 2 * day) return std::to_string(std::lround(seconds / hour)) + " h";
  return std::to_string(std::lround(seconds / day)) + " d";
}

std::string timeText(std::int64_t secondsSince1970) {
  const std::time_t time = secondsSince1970;
  std::tm parts{};
  std::array<char, 64> text{};
  if (::gmtime_r(&time, &parts) == nullptr) return std::to_string(secondsSince1970);
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts);
  return text.data();
}

std::string idText(const psId& id) {
  std::string text = std::to_string(id.get_DB());
  for (const unsigned int part : {id.get_OC(), id.get_page(), id.get_slot()}) text += "-" + std::to_string(part);
  return text;
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    char32_t character = 0;
    const std::size_t size = decodeUtf8(text, character);
    if (size == 0 || (size == 1 && isControl(character))) {
      appendEscaped(result, static_cast<unsigned char>(text[0]));
    } else if (isControl(character)) {
      for (std::size_t i = 0; i < size; ++i) appendEscaped(result, static_cast<unsigned char>(text[i]));
    } else {
      result.append(text.substr(0, size));
    }
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return result;
}

std::string inQuotes(std::string_view text) { return '"' + printable(text) + '"'; }

bool isUtf8(std::string_view text) {
  for (char32_t character = 0; !text.empty();) {
    const std::size_t size = decodeUtf8(text, character);
    if (size == 0) return false;
    text.remove_prefix(size);
  }
  return true;
}

std::string hexadecimal(std::string_view bytes) {
  static constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4U];
    text += digits[static_cast<unsigned char>(byte) & 0xFU];
  }
  return text;
}

nlohmann::ordered_json textJson(std::string_view text) {
  if (isUtf8(text)) return std::string(text);
  nlohmann::ordered_json bytes;
  bytes["hex"] = hexadecimal(text);
  return bytes;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (char32_t character = 0; !text.empty();) {
    const std::size_t size = decodeUtf8(text, character);
    const int width = size == 0 ? 1 : ::wcwidth(static_cast<wchar_t>(character));
    columns += width < 0 ? 1 : static_cast<std::size_t>(width);
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return columns;
}

}  // namespace pscol
