#pragma once

#include <optional>

#include "tree/TreePosition.h"

namespace ps::detail {

// Locates a key. Unless the key is there, splits nodes until its leaf has room for it. Empty on failure.
std::optional<TreePosition> locateRoom(psBTree& tree, KeyProbe& probe);

// Whether the newest element went after all others, so that the next is expected to do so too.
bool expectsAscent(const psBTree& tree);

// Whether a stored element is less than the key. Its abbreviation may decide.
bool isLess(const pstRef<psObj>& stored, const Abbreviation& abbreviation, KeyProbe& probe);

}  // namespace ps::detail
