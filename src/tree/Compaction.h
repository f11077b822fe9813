#pragma once

#include "tree/psBTree.h"

namespace ps::detail {

// Packs the leaves from left to right, deleting those that become empty. False when something that could not be opened
// ended it; what was moved by then stays moved.
bool packLeaves(const psBTree& root);

// Packs the interior nodes level by level, then takes away the root's only child, and its only child, for as long as
// there is one and children remain below it.
void packInterior(psBTree& root);

}  // namespace ps::detail
