#pragma once

#include <cstdint>
#include <string>

// Numbers as pictures and reports show them. Units stand behind a space that does not break.
namespace pscol::picture {

// As in "1,234,567".
std::string counted(std::uint64_t number);
// As in "1 leaf", "2 leaves"; many is by default one with an s.
std::string counted(std::uint64_t number, const std::string& one, const std::string& many = "");
// In powers of 10 with 3 digits, as in "1.03 MB".
std::string bytesText(double bytes);
// Of a share from 0 to 1: "14 %". What is little, but not nothing, is "<1 %", and what is almost all is ">99 %".
std::string percentText(double share);
// With a fixed number of decimals, whatever the locale is.
std::string decimal(double number, int decimals);
// With at most 2 decimals and no zeros at the end, as a coordinate.
std::string coordinate(double number);
std::string fractionText(double number);  // as coordinate, with 4 decimals

// a / b, and 0 where b is 0.
double share(double a, double b);

}  // namespace pscol::picture
