#include "pscol/picture/Numbers.h"

#include <array>
#include <charconv>
#include <cmath>

#include "pscol/Text.h"

namespace pscol::picture {

namespace {

// With a unit behind a space that does not break.
std::string unbroken(std::string text) {
  const std::size_t space = text.find(' ');
  return space == std::string::npos ? text : text.replace(space, 1, "\u00A0");
}

std::string trimmed(std::string number) {
  if (number.find('.') == std::string::npos) return number;
  while (number.back() == '0') number.pop_back();
  if (number.back() == '.') number.pop_back();
  return number == "-0" ? "0" : number;
}

}  // namespace

std::string counted(std::uint64_t number) { return countText(number); }

std::string counted(std::uint64_t number, const std::string& one, const std::string& many) {
  return countText(number) + " " + (number == 1 ? one : many.empty() ? one + "s" : many);
}

std::string bytesText(double bytes) {
  return unbroken(pscol::bytesText(static_cast<std::uint64_t>(std::llround(bytes))));
}

std::string percentText(double share) { return unbroken(shareText(share)); }

std::string decimal(double number, int decimals) {
  std::array<char, 400> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), number, std::chars_format::fixed, decimals);
  return {digits.data(), end.ptr};
}

std::string coordinate(double number) { return trimmed(decimal(number, 2)); }

std::string fractionText(double number) { return trimmed(decimal(number, 4)); }

double share(double a, double b) { return b == 0 ? 0 : a / b; }

}  // namespace pscol::picture
