#pragma once

#include "store/pstHandle.h"

namespace ps::detail {

// The meaning of a raw key without a comparator that gives it another: the address of a handle, or null for the null
// handle.
inline const pstHandle<psObj>& handleOfRawKey(const void* key) {
  static const pstHandle<psObj> null;
  return key != nullptr ? *static_cast<const pstHandle<psObj>*>(key) : null;
}

}  // namespace ps::detail
