#pragma once

#include <cstdint>
#include <string>
#include <vector>

// How a program has laid out the objects of a class.
struct psStoredLayout {
  std::uint16_t number = 0;  // from 1
  bool isSound = true;       // otherwise its description is damaged
  bool isInUse = true;       // false when no object of it is left
  std::uint32_t size = 0;    // bytes of an object in memory
  std::uint32_t version = 0;
  unsigned int base = 0;     // class number
  bool isDescribed = false;  // the class, or a base, tells its fields
  // A field, and where it is in the object.
  struct Field {
    std::string name;
    std::string type;  // as in "int32", "array of reference"
    std::uint32_t offset = 0;
    unsigned int owner = 0;  // number of the class, or base class, that has it
  };
  std::vector<Field> fields;
  std::string encoded;  // all of it, as bytes, for psStoreBuilder
};

// A class as the store knows it.
struct psStoredClass {
  unsigned int typeN = 0;
  std::string name;
  bool isSound = true;        // otherwise the record is damaged
  bool isRegistered = false;  // this program has the class, and did not adopt it from a store
  std::vector<psStoredLayout> layouts;
};
