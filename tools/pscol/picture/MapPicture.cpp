#include "pscol/picture/MapPicture.h"

#include "pscol/picture/Chart.h"
#include "pscol/picture/MapDrawing.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

Svg MapPicture::draw(double width, double height, bool hasHead) const {
  const MapField& root = map_.root();
  Svg svg(width, "Map of " + storeName_ + " by bytes");
  double y = 0;
  if (hasHead) {
    double free = 0;
    for (const MapField& field : root.parts) free += field.kind == MapField::Kind::free ? field.bytes : 0;
    y = Chart(svg).head(storeName_ + " by bytes",
                        bytesText(root.bytes) + (free > 0 ? ", " + bytesText(free) + " of them free" : std::string()) +
                            "; area is bytes",
                        {}) -
        4;
  }
  MapDrawing drawing(root, mostFields_, svg);
  drawing.draw({0, y, width, height});
  y = Chart(svg).legend(y + height + 20, {{"m-obj", "objects and their arrays"},
                                          {"m-tree", "lists, sorted sets and maps"},
                                          {"m-hash", "hash tables"},
                                          {"m-lib", "comparators, administrators"},
                                          {"m-free", "free pages"},
                                          {"m-slack", "headers, names, catalogue"}});
  svg.setHeight(y + 8);
  return svg;
}

}  // namespace pscol::picture
