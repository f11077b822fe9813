#pragma once

#include <cstdint>

#include "pstyped.h"

namespace ps::test {

// An object of tests in which several sessions work: the version tells which of them has put it where it is.
class Versioned : public psObj {
  PS_PERSISTENT_CLASS(Versioned, psObj, 20760)
  PS_FIELDS(key, version)

 public:
  Versioned(std::int32_t itsKey, std::uint64_t itsVersion);
  std::int32_t key;
  std::uint64_t version;
};
PS_ORDER(ByVersionedKey, 20761, &Versioned::key)

}  // namespace ps::test
