#pragma once

#include <functional>

#include "store/base/psObj.h"

namespace ps::detail {

// Makes a copy of an object, with copies of its arrays' storage, near another. Returns the copy's address, or null with
// the reason signalled. A failure leaves nothing in the store.
psObj* copyObject(const psId& object, const psId& near);

// Moves an object, with its arrays' storage and its names, near another. Returns its new identifier, or the null
// identifier with the reason signalled. follow, if there is one, is called with the new identifier while the object is
// in both places. Whoever names the object can then follow it, or return false to leave it where it was.
// A reference to a function, std::cref, takes no memory.
psId moveObject(const psId& object, const psId& near, const std::function<bool(const psId& moved)>& follow = nullptr);

}  // namespace ps::detail
