#pragma once

#include "store/pstHandle.h"

namespace ps::detail {

// What a raw key means to those who leave its meaning to the library: the address of a handle, or null for the null
// handle.
inline const pstHandle<psObj>& handleOfRawKey(const void* key) {
  static const pstHandle<psObj> null;
  return key != nullptr ? *static_cast<const pstHandle<psObj>*>(key) : null;
}

}  // namespace ps::detail
