#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/base/psExport.h"
#include "store/base/psId.h"

namespace ps::detail {
struct FieldShape;
}

// The value of a field, as it is stored.
struct psStoredValue {
  // Which of the members has the value.
  enum class Kind {
    boolean,
    signedInteger,
    unsignedInteger,
    floating,
    reference,  // or an identifier
    text,       // characters: of an array, or of a fixed array up to the first that is 0
    list,       // an array of anything else, or a fixed one
    structure,
    bytes,      // of a class without a description
    unreadable  // text says why
  };

  Kind kind = Kind::unreadable;
  std::string name;  // of the field; "" of an element
  std::string type;  // as in "int32", "array of reference", "Place"

  bool boolean = false;
  std::int64_t signedInteger = 0;
  std::uint64_t unsignedInteger = 0;
  double floating = 0;
  psId id;                             // of a reference
  std::string text;                    // of text and bytes; the characters or bytes as they are
  std::vector<psStoredValue> members;  // of a structure

  // Of a text and a list that are arrays: where they are stored, null when they are empty; of a list, how many elements
  // it has, and each of them.
  psId storage;
  bool isArray = false;
  std::size_t count = 0;
  PS_API psStoredValue element(std::size_t i) const;
  // A list of these elements.
  PS_API static psStoredValue listOf(std::vector<psStoredValue> elements);

  // How `element` makes elements.
  struct Elements;
  std::shared_ptr<const Elements> elements;
};
