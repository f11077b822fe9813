#pragma once

#include <pscollections.h>

#include <cstdint>

// The size of a collection, or of several of a kind together.
struct Footprint {
  std::uint64_t elements = 0;
  int depth = 0;            // levels of the highest tree; 0 for a hash map
  std::uint64_t parts = 0;  // nodes of trees, buckets of hash maps
  // Of the parts, with their arrays, chains and entries, as they lie in pages. What the pages need besides is not
  // included.
  std::uint64_t bytes = 0;

  Footprint& operator+=(const Footprint& other);
};

// These functions walk over the whole collection. They leave out what cannot be opened; the session has counted it as
// refused.
Footprint footprintOf(const psTreeMap& map);
Footprint footprintOf(const psTreeList& list);
// slots is the number of slots in each of the map's buckets. Buckets that hold nothing are found only where they share
// a container with others.
Footprint footprintOf(const psHashMap& map, int slots);
