#pragma once

#include <pscollections.h>

#include <cstdint>

// What a collection consists of, or several of a kind together.
struct Footprint {
  std::uint64_t elements = 0;
  int depth = 0;            // levels of the highest tree; 0 for a hash map
  std::uint64_t parts = 0;  // nodes of trees, buckets of hash maps
  // Of the parts, with their arrays, chains and entries, as these lie in pages; what the pages need besides is not in
  // it.
  std::uint64_t bytes = 0;

  Footprint& operator+=(const Footprint& other);
};

// These go over the whole collection. What cannot be opened is left out: the session has counted it as refused.
Footprint footprintOf(const psTreeMap& map);
Footprint footprintOf(const psTreeList& list);
// The map's buckets have so many slots each. Those that hold nothing are found where they share a container with
// others.
Footprint footprintOf(const psHashMap& map, int slots);
