#include "pscol/picture/StoreMap.h"

#include <algorithm>
#include <map>

#include "pscol/picture/Numbers.h"

namespace pscol::picture {

namespace {

constexpr unsigned int storageOfArrays = 9;  // among the class numbers

void sortBySize(std::vector<MapField>& fields) {
  std::stable_sort(fields.begin(), fields.end(),
                   [](const MapField& a, const MapField& b) { return a.bytes > b.bytes; });
}

// An engine that has no file tells no bytes of it.
double bytesOf(const psContainerInfo& container) {
  return static_cast<double>(std::max({container.fileBytes, container.recordBytes, container.all.bytes}));
}

// Without the name of the database, which stands above it.
std::string pathIn(const psDatabaseInfo& database, const std::string& path) {
  const std::string start = database.name + "/";
  return !database.name.empty() && path.rfind(start, 0) == 0 ? path.substr(start.size()) : path;
}

// What is not of the classes, and the kind of most of the rest.
void finish(MapField& field) {
  sortBySize(field.parts);
  if (!field.parts.empty()) field.kind = field.parts.front().kind;
  double known = 0;
  for (const MapField& part : field.parts) known += part.bytes;
  if (field.bytes > known) field.parts.push_back({"headers, slack", MapField::Kind::slack, field.bytes - known});
  sortBySize(field.parts);
}

}  // namespace

StoreMap::StoreMap(const psStoreInfo& store, const psSurvey& survey, const std::vector<psStoredClass>& classes,
                   const ContainerOwners& owners) {
  for (const psStoredClass& one : classes) names_[one.typeN] = one.name;
  double known = 0;
  for (const psDatabaseInfo& database : survey.databases) {
    root_.parts.push_back(databaseField(database, owners));
    known += root_.parts.back().bytes;
  }
  const double free = static_cast<double>(store.freePages) * store.enginePageSize;
  const double all = std::max(static_cast<double>(store.fileBytes), static_cast<double>(survey.recordBytes));
  if (free > 0) root_.parts.push_back({"free pages", MapField::Kind::free, free});
  if (all > known + free)
    root_.parts.push_back({"names, catalogue, inner pages", MapField::Kind::slack, all - known - free});
  root_.parts.erase(
      std::remove_if(root_.parts.begin(), root_.parts.end(), [](const MapField& field) { return field.bytes <= 0; }),
      root_.parts.end());
  sortBySize(root_.parts);
  root_.bytes = std::max(all, known + free);
}

std::string StoreMap::nameOfClass(unsigned int typeN) const {
  const auto found = names_.find(typeN);
  return found == names_.end() ? "" : found->second;
}

MapField StoreMap::databaseField(const psDatabaseInfo& database, const ContainerOwners& owners) const {
  std::map<std::string, MapField> named;
  std::map<std::string, MapField> owned;
  MapField unnamed;
  unnamed.name = "unnamed";
  for (const psContainerInfo& container : database.containers) {
    const auto owner = owners.find(container.id);
    const bool isOwned = container.name.empty() && owner != owners.end();
    MapField& field = isOwned ? owned[owner->second] : container.name.empty() ? unnamed : named[container.name];
    if (field.name.empty()) field.name = isOwned ? pathIn(database, owner->second) : container.name;
    field.bytes += bytesOf(container);
    field.objects += container.all.objects;
    ++field.containers;
    addClasses(field, container);
  }
  MapField whole;
  whole.name = nameOf(database);
  whole.containers = database.containers.size();
  if (unnamed.containers > 0) named.emplace("\1", std::move(unnamed));  // no container has this name
  for (auto* fields : {&named, &owned}) {
    for (auto& [name, field] : *fields) {
      if (field.bytes <= 0) continue;
      finish(field);
      whole.bytes += field.bytes;
      whole.objects += field.objects;
      whole.parts.push_back(std::move(field));
    }
  }
  sortBySize(whole.parts);
  return whole;
}

void StoreMap::addClasses(MapField& field, const psContainerInfo& container) const {
  for (const auto& [typeN, count] : container.classes) {
    if (count.bytes == 0) continue;
    const std::string known = typeN == 0 || typeN == storageOfArrays ? "arrays" : nameOfClass(typeN);
    const std::string name = known.empty() ? "class " + std::to_string(typeN) : known;
    auto part =
        std::find_if(field.parts.begin(), field.parts.end(), [&](const MapField& one) { return one.name == name; });
    if (part == field.parts.end()) {
      field.parts.push_back({name, kindOfClass(typeN)});
      part = field.parts.end() - 1;
    }
    part->bytes += static_cast<double>(count.bytes);
    part->objects += count.objects;
  }
}

// By the library's own numbers of its classes.
MapField::Kind kindOfClass(unsigned int typeN) {
  switch (typeN) {
    case 4010:
    case 4016:
    case 4017:
    case 4018:
    case 4019:
    case 4020:
    case 4021:
    case 4022:
    case 4026:
      return MapField::Kind::tree;
    case 4011:
    case 4024:
    case 4025:
    case 4027:
    case 4028:
    case 4029:
      return MapField::Kind::hashTable;
    case 4013:
    case 4014:
      return MapField::Kind::library;
    default:
      return MapField::Kind::objects;
  }
}

std::string nameOf(const psDatabaseInfo& database) {
  return database.name.empty() ? "#" + std::to_string(database.id.get_DB()) : database.name;
}

}  // namespace pscol::picture
