#pragma once

#include <cstdint>

#include "store/base/psId.h"

// Where an element of a collection is.
struct psElementInfo {
  psId element;             // of a map, the key
  psId value;               // of a map; may be null
  psId part;                // the leaf, or the bucket
  std::uint32_t place = 0;  // its position in the leaf, or its slot in the bucket
};
