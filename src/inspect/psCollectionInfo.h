#pragma once

#include <cstdint>

#include "store/base/psId.h"

// What kind of collection an object is; none for anything else.
enum class psCollectionKind { none, list, sortedSet, sortedMap, hashSet, hashMap };

// Whether a collection is a tree or a hash table, and whether it has values.
constexpr bool psIsTree(psCollectionKind kind) {
  return kind == psCollectionKind::list || kind == psCollectionKind::sortedSet || kind == psCollectionKind::sortedMap;
}
constexpr bool psIsHashTable(psCollectionKind kind) {
  return kind == psCollectionKind::hashSet || kind == psCollectionKind::hashMap;
}
constexpr bool psIsMap(psCollectionKind kind) {
  return kind == psCollectionKind::sortedMap || kind == psCollectionKind::hashMap;
}

// What the structures of all collections tell. Numbers count what can be read: where `unreadable` is not 0, there may
// be more of everything.
struct psCollectionInfo {
  psId id;
  psCollectionKind kind = psCollectionKind::none;
  psId comparator;  // null: ordered by identifier, or not at all
  psId admin;
  std::uint64_t elements = 0;    // of a map, pairs
  std::uint64_t parts = 0;       // nodes or buckets, the collection's own object among the nodes
  std::uint64_t unreadable = 0;  // of these
  std::uint64_t containers = 0;  // that the parts lie in
  std::uint64_t bytes = 0;       // that the collection takes in the store's records, without its elements
};
