#pragma once

#include "check/CheckedOpen.h"
#include "tree/psBTree.h"

namespace ps::detail {

// No tree has more levels. What leads in a circle ends here.
constexpr int mostLevels = 64;

// The child of a node that the leaf lies below; null when the parents do not lead there.
inline pstHandle<psBTree> childAbove(const psId& leaf, const pstHandle<psBTree>& node) {
  pstHandle<psBTree> child(leaf);
  for (int steps = 0; steps < mostLevels; ++steps) {
    if (!opensAs(child)) break;
    const pstHandle<psBTree> above = child->parent();
    if (above == node) return child;
    child = above;
  }
  return {};
}

}  // namespace ps::detail
