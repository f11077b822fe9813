#pragma once

#include <functional>

#include "store/base/psObj.h"

namespace ps::detail {

// Makes a copy of an object, with copies of its arrays' storage, near another; the copy's address, or null with the
// reason signalled. Nothing is left behind by a failure.
psObj* copyObject(const psId& object, const psId& near);

// Moves an object, with its arrays' storage and its names, near another; its new identifier, or the null one with the
// reason signalled. follow, when there is one, is called with the new identifier while the object is in both places:
// whoever names it can follow it, and gives false to have it stay where it was.
psId moveObject(const psId& object, const psId& near, const std::function<bool(const psId& moved)>& follow = nullptr);

}  // namespace ps::detail
