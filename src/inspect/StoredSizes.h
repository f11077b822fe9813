#pragma once

#include <cstdint>

#include "store/cache/TypeRegistry.h"
#include "store/verify/RecordedPages.h"

namespace ps::detail {

// Tells what objects take in the store's records.
class StoredSizes {
 public:
  explicit StoredSizes(Engine& engine) : objects_(engine), storages_(engine) {}

  // Bytes of an object and its arrays, if its class is one that this process has. 0 when it cannot be read.
  std::uint64_t of(const psId& id);

 private:
  RecordedPages objects_;
  RecordedPages storages_;
  ClassLookup classOf_;
};

}  // namespace ps::detail
