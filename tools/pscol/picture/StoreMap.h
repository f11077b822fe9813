#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "inspect/psStoreInfo.h"
#include "inspect/psStoredClass.h"
#include "inspect/psSurvey.h"

namespace pscol::picture {

// The name of each container that has the parts of one collection: the collection's path.
using ContainerOwners = std::unordered_map<psId, std::string>;

// A part of a store: a database, one or several containers, a class of objects, or what the engine needs.
struct MapField {
  enum class Kind { objects, tree, hashTable, library, free, slack };

  std::string name;
  Kind kind = Kind::objects;
  double bytes = 0;
  std::uint64_t objects = 0;
  std::uint64_t containers = 0;
  std::vector<MapField> parts{};  // the largest first
};

// The whole of a store by bytes: databases, free pages, and what else the file has; in databases containers, where the
// unnamed containers of a collection are one field; in containers classes.
class StoreMap {
 public:
  StoreMap(const psStoreInfo& store, const psSurvey& survey, const std::vector<psStoredClass>& classes,
           const ContainerOwners& owners);

  const MapField& root() const { return root_; }
  // "" of a class that the store does not know.
  std::string nameOfClass(unsigned int typeN) const;

 private:
  MapField databaseField(const psDatabaseInfo& database, const ContainerOwners& owners) const;
  void addClasses(MapField& field, const psContainerInfo& container) const;

  std::unordered_map<unsigned int, std::string> names_;
  MapField root_;
};

// Which kind of field the objects of a class are in.
MapField::Kind kindOfClass(unsigned int typeN);
// As in "#7" for what has no name.
std::string nameOf(const psDatabaseInfo& database);

}  // namespace pscol::picture
