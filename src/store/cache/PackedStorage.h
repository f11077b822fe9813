#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/cache/StorageRows.h"

// The packed form of storage: without the zeros at its end, without others if that saves bytes, and with its rows. A
// large array is never packed, so that a change in it moves nothing else and writes one chunk.
namespace ps::detail {

// Appends the packed form, and returns true, when the storage has rows or is smaller so.
bool appendPacked(const ObjectHeader& header, std::string& bytes);

// Whether the bytes are a packed form of storage of that class number and size.
bool isPackedForm(std::string_view bytes, std::uint32_t type, std::uint32_t size);

// Writes the elements and the rows of a packed form.
void unpack(std::string_view bytes, std::uint32_t type, std::uint32_t size, char* storage);

}  // namespace ps::detail
