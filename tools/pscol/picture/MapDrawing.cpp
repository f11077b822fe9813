#include "pscol/picture/MapDrawing.h"

#include <algorithm>
#include <functional>

#include "pscol/picture/MapPicture.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/Text.h"
#include "pscol/picture/Treemap.h"

namespace pscol::picture {

namespace {

constexpr double headerHeight = 18;

const char* classOf(MapField::Kind kind) {
  switch (kind) {
    case MapField::Kind::objects:
      return "m-obj";
    case MapField::Kind::tree:
      return "m-tree";
    case MapField::Kind::hashTable:
      return "m-hash";
    case MapField::Kind::library:
      return "m-lib";
    case MapField::Kind::free:
      return "m-free";
    case MapField::Kind::slack:
      return "m-slack";
  }
  return "";
}

std::vector<double> amountsOf(const std::vector<MapField>& fields) {
  std::vector<double> amounts;
  amounts.reserve(fields.size());
  for (const MapField& field : fields) amounts.push_back(field.bytes);
  return amounts;
}

std::string containersText(const MapField& field) {
  return field.containers > 1 ? ", " + counted(field.containers) + " containers" : "";
}

// The smallest amount of bytes that is among the largest so many containers.
double bytesOfLast(const MapField& root, std::size_t most) {
  std::vector<double> amounts;
  for (const MapField& database : root.parts) {
    for (const MapField& field : database.parts) amounts.push_back(field.bytes);
  }
  if (amounts.size() <= most) return 0;
  std::nth_element(amounts.begin(), amounts.begin() + static_cast<std::ptrdiff_t>(most), amounts.end(),
                   std::greater<>());
  return amounts[most];
}

}  // namespace

MapDrawing::MapDrawing(const MapField& root, std::size_t mostFields, Svg& svg) : root_(root), svg_(svg) {
  const double least = svg.width() > 600 ? 260 : 420;
  const double picture = svg.width() * mapHeight(svg.width());
  smallest_ = std::max(least, share(bytesOfLast(root, mostFields) * picture, root.bytes) * 1.001);
}

void MapDrawing::draw(const Box& box) {
  if (root_.parts.empty()) {
    svg_.rect(box, "m-free f");
    svg_.text(4, box.y + 16, "Nothing is stored.", "n");
    return;
  }
  const std::vector<MapField> parts = withSmallTogether(root_.parts, share(box.width * box.height, root_.bytes));
  const std::vector<Box> boxes = squarified(amountsOf(parts), box);
  begin(parts, box);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (parts[i].parts.empty())
      drawField(parts[i], boxes[i], parts[i].name, "");
    else
      drawDatabase(parts[i], boxes[i]);
  }
  svg_.endGroup();
}

// Fields side by side have the same scale.
void MapDrawing::begin(const std::vector<MapField>& parts, const Box& box) {
  double bytes = 0;
  for (const MapField& part : parts) bytes += part.bytes;
  svg_.beginGroup(data("area-of-byte", decimal(share(box.width * box.height, bytes), 12)));
}

void MapDrawing::drawDatabase(const MapField& database, const Box& box) {
  const bool hasHeader = box.height > 48 && box.width > 50;
  svg_.rect(box, "m-slack f", titleOf(database, database.name), data("bytes", decimal(database.bytes, 0)));
  if (hasHeader)
    svg_.text(box.x + 3, box.y + 14,
              fitted(cleaned(database.name) + "  " + bytesText(database.bytes), box.width - 6, textSize, Weight::bold),
              "b n");
  Box inner = box;
  inner.y += hasHeader ? headerHeight : 0;
  inner.height -= hasHeader ? headerHeight : 0;
  const std::vector<MapField> parts =
      withSmallTogether(database.parts, share(inner.width * inner.height, database.bytes));
  const std::vector<Box> boxes = squarified(amountsOf(parts), inner);
  begin(parts, inner);
  for (std::size_t i = 0; i < parts.size(); ++i) drawContainer(parts[i], boxes[i], database.name + " / ");
  svg_.endGroup();
}

// Classes have fields of their own where there is room, and more than one.
void MapDrawing::drawContainer(const MapField& field, const Box& box, const std::string& path) {
  const auto large = std::count_if(field.parts.begin(), field.parts.end(),
                                   [&](const MapField& part) { return part.bytes > field.bytes * 0.02; });
  if (large < 2 || box.height < 60 || box.width < 90)
    return drawField(field, box, path + field.name + containersText(field), large == 1 ? field.parts.front().name : "");
  svg_.rect(box, std::string(classOf(field.kind)) + " f", titleOf(field, path + field.name + containersText(field)),
            data("bytes", decimal(field.bytes, 0)));
  const std::string name = fittedInMiddle(cleaned(field.name), box.width - 8, smallText, Weight::bold);
  const std::string longer = cleaned(field.name) + containersText(field);
  svg_.text(box.x + 4, box.y + 13, textWidth(longer, smallText, Weight::bold) < box.width - 8 ? longer : name, "b n j");
  const Box inner{box.x + 3, box.y + headerHeight, box.width - 6, box.height - headerHeight - 3};
  const std::vector<Box> boxes = squarified(amountsOf(field.parts), inner);
  begin(field.parts, inner);
  for (std::size_t i = 0; i < field.parts.size(); ++i) {
    const MapField& part = field.parts[i];
    drawField(part, boxes[i], path + field.name + " / " + part.name,
              part.objects > 0 ? counted(part.objects, "object") : "");
  }
  svg_.endGroup();
}

void MapDrawing::drawField(const MapField& field, const Box& box, const std::string& path, const std::string& extra) {
  svg_.rect(box, std::string(classOf(field.kind)) + " f", titleOf(field, path) + (extra.empty() ? "" : ", " + extra),
            data("bytes", decimal(field.bytes, 0)));
  drawLabels(field, box, extra);
}

// Names are cut in the middle, since what tells them apart is often at the end.
void MapDrawing::drawLabels(const MapField& field, const Box& box, const std::string& extra) {
  if (box.height < 18 || box.width < 34) return;
  const double room = box.width - 8;
  const std::string name = cleaned(field.name);
  const bool isSmall = textWidth(name, textSize) > room;
  std::string label = isSmall ? fittedInMiddle(name, room, smallText) : name;
  constexpr double leastStart = 40;  // of a label that says something
  if (label.empty() && room > leastStart) label = fitted(name, room, smallText);
  if (label.empty()) return;
  svg_.text(box.x + 4, box.y + 13, label, isSmall ? "n j" : "n");
  const std::string bytes = bytesText(field.bytes);
  if (box.height >= 32 && textWidth(bytes, smallText) <= room) svg_.text(box.x + 4, box.y + 27, bytes, "n j");
  const std::string more =
      extra.empty() && field.containers > 1 ? counted(field.containers) + " containers" : cleaned(extra);
  if (box.height >= 46 && textWidth(more, smallText) <= room) svg_.text(box.x + 4, box.y + 41, more, "n j");
}

std::vector<MapField> MapDrawing::withSmallTogether(const std::vector<MapField>& parts, double areaOfByte) const {
  const auto small = std::partition_point(parts.begin(), parts.end(),
                                          [&](const MapField& part) { return part.bytes * areaOfByte >= smallest_; });
  if (parts.end() - small < 3) return parts;
  std::vector<MapField> result(parts.begin(), small);
  MapField rest = *small;
  rest.name = counted(static_cast<std::uint64_t>(parts.end() - small)) + " smaller";
  rest.parts.clear();
  for (auto part = small + 1; part != parts.end(); ++part) {
    rest.bytes += part->bytes;
    rest.objects += part->objects;
    rest.containers += part->containers;
  }
  const auto place = std::partition_point(result.begin(), result.end(),
                                          [&](const MapField& part) { return part.bytes >= rest.bytes; });
  result.insert(place, std::move(rest));
  return result;
}

std::string MapDrawing::titleOf(const MapField& field, const std::string& path) const {
  return shortened(cleaned(path), 120) + ": " + counted(static_cast<std::uint64_t>(field.bytes)) + " bytes (" +
         percentText(share(field.bytes, root_.bytes)) + " of the store)";
}

}  // namespace pscol::picture
