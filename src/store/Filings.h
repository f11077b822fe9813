#pragma once

#include <string>

#include "store/base/psId.h"
#include "store/psFiling.h"

namespace ps::detail {

// What is filed under a name or key, in its stored form.
psFiling filingOf(const std::string& name, const psId& object);

// The order in which the names and keys of a scope are listed.
bool precedes(const psFiling& a, const psFiling& b);

}  // namespace ps::detail
