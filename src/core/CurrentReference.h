#pragma once

#include "store/pstHandle.h"

// What iterators do with the reference at which they stand. current is open for update, or null when there is no
// reference or it cannot be opened. Return 1 on success; 0, with nothing changed, on failure.
namespace ps::detail {

int replaceReference(pstRef<psObj>* current, const pstRef<psObj>& reference);

// Moves the object, which the reference follows.
int moveReferenced(pstRef<psObj>* current, const pstHandle<psObj>& near);

}  // namespace ps::detail
