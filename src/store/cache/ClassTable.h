#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "store/base/StoreError.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// What the store says of the classes of its objects: a record for each, with the layouts that its objects have had.
// Every stored object names its layout, so that a program can tell what it reads when it does not know the class, or
// knows it with other fields.
class ClassTable {
 public:
  void attach(Engine& engine) { engine_ = &engine; }
  // Starts a transaction. Under another stamp, what was read is forgotten.
  void begin(std::uint64_t readStamp);
  void afterAbort() { layouts_.clear(); }

  // The number of the layout that a class has in this process. Adds it to the store if it is new there. 0, with the
  // reason, when the class's record cannot be read or written.
  std::uint16_t layoutOf(const ClassInfo& info);

  const StoreError& error() const { return error_; }

 private:
  std::uint16_t findOrAdd(const ClassInfo& info);
  std::uint16_t fail(StoreError error);

  Engine* engine_ = nullptr;
  std::uint64_t readStamp_ = 0;
  std::unordered_map<unsigned int, std::uint16_t> layouts_;  // by class number
  StoreError error_;
};

}  // namespace ps::detail
