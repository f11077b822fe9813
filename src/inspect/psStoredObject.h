#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/psStoredValue.h"
#include "store/base/psId.h"

// What one class of an object's class and its bases keeps.
struct psStoredLevel {
  unsigned int typeN = 0;
  std::string className;  // "" when the store does not know it
  std::uint32_t version = 0;
  std::vector<psStoredValue> fields;  // one of kind bytes for what has no description
};

// An object as it is stored, described by the store. It need not be of a class that this program has. Or the storage of
// an array, which has class number 9, and one field of kind bytes.
struct psStoredObject {
  psId id;
  unsigned int typeN = 0;
  std::string className;     // "" when the store does not know it
  std::uint16_t layout = 0;  // number of its layout in the class table; 0 without one
  std::uint32_t size = 0;    // bytes in memory
  std::uint64_t bytes = 0;   // in the store's record, without its arrays
  bool isStorage = false;
  bool isNamed = false;               // it has names, or is a scope of names
  std::vector<psStoredLevel> levels;  // the class, then its bases, as far as they keep something
};
