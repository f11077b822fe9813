#pragma once

#include <string>

#include "store/base/psId.h"

namespace ps::detail {

// What an identifier names, for a message.
std::string textOf(const psId& id);

}  // namespace ps::detail
