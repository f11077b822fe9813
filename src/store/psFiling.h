#pragma once

#include <cstdint>
#include <string>

#include "store/pstHandle.h"

// An object, and the kind of name or key that it is filed under in a scope, as psSession::names delivers it.
struct psFiling {
  // A name, a key that is a number, or a key that is a string of bytes.
  enum class Kind { name, number, bytes };

  Kind kind = Kind::name;
  std::string text;         // the name, or the key that is a string; of a number, its digits
  std::int64_t number = 0;  // the key that is a number
  pstHandle<psObj> object;  // not open
};
