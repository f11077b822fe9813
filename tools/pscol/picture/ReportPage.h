#pragma once

#include <functional>
#include <string>

#include "pscol/picture/Advice.h"
#include "pscol/picture/Svg.h"

// What the sections of a report have in common.
namespace pscol::picture {

constexpr double wideWidth = 1040;
constexpr double narrowWidth = 344;

// A picture for wide windows and one for narrow ones; the page shows one of them.
std::string bothWidths(const std::function<Svg(double width)>& draw);
// In its colour.
std::string severityWord(Advice::Severity severity);

}  // namespace pscol::picture
