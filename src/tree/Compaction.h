#pragma once

#include "tree/psBTree.h"

namespace ps::detail {

// Packs the leaves from left to right and deletes those that become empty. False when something could not be opened;
// what was moved before stays moved.
bool packLeaves(const psBTree& root);

// Packs the interior nodes level by level. Then, while the root has a single child with children below it, removes that
// level.
void packInterior(psBTree& root);

}  // namespace ps::detail
