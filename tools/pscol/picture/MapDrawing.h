#pragma once

#include <string>
#include <vector>

#include "pscol/picture/Chart.h"
#include "pscol/picture/StoreMap.h"
#include "pscol/picture/Svg.h"

namespace pscol::picture {

// One treemap while it is drawn from the outside in.
class MapDrawing {
 public:
  MapDrawing(const MapField& root, std::size_t mostFields, Svg& svg);

  void draw(const Box& box);

 private:
  void drawDatabase(const MapField& database, const Box& box);
  void drawContainer(const MapField& field, const Box& box, const std::string& path);
  void drawField(const MapField& field, const Box& box, const std::string& path, const std::string& extra);
  void drawLabels(const MapField& field, const Box& box, const std::string& extra);
  void begin(const std::vector<MapField>& parts, const Box& box);
  std::vector<MapField> withSmallTogether(const std::vector<MapField>& parts, double areaOfByte) const;
  std::string titleOf(const MapField& field, const std::string& path) const;

  const MapField& root_;
  Svg& svg_;
  double smallest_;  // area of a field of its own
};

}  // namespace pscol::picture
