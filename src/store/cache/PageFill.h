#pragma once

#include "store/cache/Page.h"

// How far pages are filled.
namespace ps::detail {

// What an object takes in the record of its page, if it is no array's storage.
std::size_t recordedSize(std::uint32_t type, std::uint32_t size);

// Whether another object is to be placed in the page. capacity is the size in memory that it may grow to.
bool fits(const Page& page, std::uint32_t type, std::uint32_t size, std::uint32_t capacity);

}  // namespace ps::detail
