#pragma once

#include "tree/psBTree.h"

namespace ps::detail {

// Opens again every container that holds a part of the tree, each run of neighbours in one container once. False when
// one cannot be opened or a node cannot be reached.
bool refreshTree(const psBTree& root, psMode mode);

}  // namespace ps::detail
