#pragma once

#include <cstdint>

#include "store/base/psId.h"

namespace ps::detail {

// The identifier as a number that sorts as identifiers do: database first, then container, page and slot.
inline std::uint64_t orderOf(const psId& id) {
  return std::uint64_t{id.get_DB()} << 48 | std::uint64_t{id.get_OC()} << 32 | std::uint64_t{id.get_page()} << 16 |
         std::uint64_t{id.get_slot()};
}

}  // namespace ps::detail
