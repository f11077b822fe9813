#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Short values with a checksum in front, seeded with their key: the numbers and identifiers to which names lead. In
// format 1 such values had no checksum, and those that have not been written since still have none.
namespace ps::detail {

std::string sealed(std::string_view key, std::string_view bytes);

// The bytes of a value that has so many, with or without a checksum. An empty view when it is damaged.
std::string_view unsealed(std::string_view key, std::string_view value, std::size_t size);

}  // namespace ps::detail
