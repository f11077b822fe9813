#pragma once

#include "core/psCollection.h"

// How hash tables take announced look-ups; see LookAhead.
namespace ps::detail {

void prefetchForObjects(const psCollection& table, const pstHandle<psObj>* keys, int n);
void prefetchForRawKeys(const psCollection& table, const void* const* keys, int n);

}  // namespace ps::detail
