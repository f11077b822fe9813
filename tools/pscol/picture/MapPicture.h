#pragma once

#include <string>
#include <vector>

#include "pscol/picture/StoreMap.h"
#include "pscol/picture/Svg.h"

namespace pscol::picture {

// Of a map of this width, without its head and legend.
constexpr double mapHeight(double width) { return width > 600 ? 560 : 520; }

// A treemap of a store: the area of a field is its share of the bytes of the field around it, headers left out. What
// is too small to be seen is one field together.
class MapPicture {
 public:
  // map must outlive the picture; at most so many containers have a field of their own.
  MapPicture(const StoreMap& map, std::string storeName, std::size_t mostFields = 300)
      : map_(map), storeName_(std::move(storeName)), mostFields_(mostFields) {}

  Svg draw(double width, double height, bool hasHead) const;

 private:
  const StoreMap& map_;
  std::string storeName_;
  std::size_t mostFields_;
};

}  // namespace pscol::picture
