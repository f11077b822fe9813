#pragma once

#include <optional>

#include "tree/TreePosition.h"

namespace ps::detail {

// Locates a key. Unless the key is there, splits nodes until its leaf has room for it. Empty on failure.
std::optional<TreePosition> locateRoom(psBTree& tree, KeyProbe& probe);

}  // namespace ps::detail
