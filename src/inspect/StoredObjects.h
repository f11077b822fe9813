#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "inspect/ValueReader.h"
#include "inspect/psStoredClass.h"
#include "inspect/psStoredObject.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

// Reads objects and classes of a store by the store's own descriptions.
class StoredObjects {
 public:
  explicit StoredObjects(SessionCore& session)
      : engine_(session.engine()), classes_(session.cache().classes()), pages_(engine_), values_(engine_, classes_) {}

  RecordedPages::Found read(const psId& id, psStoredObject& object);
  // All objects of a container, and the storage of arrays too if that is wanted. False when the engine cannot be read.
  using Visitor = std::function<bool(const psStoredObject&)>;
  bool scan(const psId& container, bool withStorage, const Visitor& visit, std::vector<psId>& unreadable);

  // The classes that the store knows. False when they cannot be read.
  bool list(std::vector<psStoredClass>& classes);

  // "" when it is not known.
  std::string nameOf(unsigned int typeN);

 private:
  psStoredObject describe(const psId& id, const RecordedObject& recorded);
  static psStoredObject describeStorage(const psId& id, const RecordedObject& recorded);
  void describeLevels(const RecordedObject& recorded, psStoredObject& object);
  void addLevel(unsigned int number, std::uint32_t version, const std::vector<FieldShape>& fields,
                const RecordedObject& recorded, psStoredObject& object);
  void addUndescribed(const RecordedObject& recorded, psStoredObject& object);
  const StoredClass& stored(unsigned int number);
  const ClassShape* shapeOf(unsigned int number, std::uint16_t layout);
  unsigned int baseOf(unsigned int number);

  Engine& engine_;
  ClassTable& classes_;
  RecordedPages pages_;
  ValueReader values_;
  std::unordered_map<unsigned int, StoredClass> stored_;
};

}  // namespace ps::detail
