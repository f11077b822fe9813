#pragma once

#include "store/SessionCore.h"

namespace ps::detail {

// Makes a copy of an object, with copies of its arrays' storage, near another; the copy's address, or null with the
// reason signalled. Nothing is left behind by a failure.
psObj* copyObject(SessionCore& session, const psId& object, const psId& near);

// Moves an object, with its arrays' storage and its names, near another; its new identifier, or the null one.
psId moveObject(SessionCore& session, const psId& object, const psId& near);

}  // namespace ps::detail
