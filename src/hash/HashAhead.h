#pragma once

#include "core/psCollection.h"

// How hash tables take announced look-ups; see LookAhead. The collection is one.
namespace ps::detail {

void prefetchForObjects(const psCollection& collection, const pstHandle<psObj>* keys, int n);
void prefetchForRawKeys(const psCollection& collection, const void* const* keys, int n);

}  // namespace ps::detail
