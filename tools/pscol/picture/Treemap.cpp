#include "pscol/picture/Treemap.h"

#include <algorithm>
#include <numeric>

namespace pscol::picture {

namespace {

// Boxes are laid in rows along the shorter side of what is left. Of a row with this sum, smallest and largest area, how
// much longer than wide the worst box is.
double worstRatio(double sum, double smallest, double largest, double side) {
  const double square = side * side;
  return std::max(square * largest / (sum * sum), sum * sum / (square * smallest));
}

}  // namespace

std::vector<Box> squarified(const std::vector<double>& amounts, const Box& box) {
  std::vector<Box> boxes;
  const double total = std::accumulate(amounts.begin(), amounts.end(), 0.0);
  const double scale = total > 0 ? box.width * box.height / total : 0;
  Box left = box;
  for (std::size_t begin = 0; begin < amounts.size();) {
    const bool isColumn = left.width >= left.height;
    const double side = isColumn ? left.height : left.width;
    const double largest = amounts[begin] * scale;
    double sum = largest;
    std::size_t end = begin + 1;
    while (end < amounts.size()) {
      const double next = amounts[end] * scale;
      if (worstRatio(sum + next, next, largest, side) > worstRatio(sum, amounts[end - 1] * scale, largest, side)) break;
      sum += next;
      ++end;
    }
    const double depth = side > 0 ? sum / side : 0;
    double at = 0;
    for (std::size_t i = begin; i < end; ++i) {
      const double length = depth > 0 ? amounts[i] * scale / depth : 0;
      boxes.push_back(isColumn ? Box{left.x, left.y + at, depth, length} : Box{left.x + at, left.y, length, depth});
      at += length;
    }
    if (isColumn) {
      left.x += depth;
      left.width = std::max(left.width - depth, 0.0);
    } else {
      left.y += depth;
      left.height = std::max(left.height - depth, 0.0);
    }
    begin = end;
  }
  return boxes;
}

}  // namespace pscol::picture
