#pragma once

#include "tree/psBTree.h"

namespace ps::detail {

// Opens again every container that holds a part of the tree. A run of parts in the same container opens it once. False
// when a container cannot be opened or a node cannot be reached.
bool refreshTree(const psBTree& root, psMode mode);

}  // namespace ps::detail
