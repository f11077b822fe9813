#pragma once

#include <vector>

#include "pscol/picture/Svg.h"

namespace pscol::picture {

// Divides a box into boxes whose areas are in proportion to the amounts, none of them longer than it must be. The
// amounts are more than 0, the largest first.
std::vector<Box> squarified(const std::vector<double>& amounts, const Box& box);

}  // namespace pscol::picture
