#pragma once

#include "store/cache/Page.h"

// How far pages are filled.
namespace ps::detail {

// Counts an object of the page in what its record will take, in so many bytes of it.
void noteRecorded(Page& page, std::uint32_t type, std::uint32_t size, std::size_t bytes);

// What an object takes in a record, unless it is packed.
std::size_t recordedSize(std::uint32_t type, std::uint32_t size);

// Whether another object is to be placed in the page. capacity is the size in memory that it may grow to.
bool fits(const Page& page, std::uint32_t type, std::uint32_t size, std::uint32_t capacity);

}  // namespace ps::detail
