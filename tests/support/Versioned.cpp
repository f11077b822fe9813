#include "support/Versioned.h"

PS_REGISTER_CLASS(ps::test::Versioned)

namespace ps::test {

Versioned::Versioned(std::int32_t itsKey, std::uint64_t itsVersion) : key(itsKey), version(itsVersion) {}

}  // namespace ps::test
