#pragma once

#include <optional>

#include "tree/NodeLinks.h"

// Numbers of elements and positions, by what the nodes keep beside their entries (see CountChange). Where that is not
// known, the children are asked. The cost is a descent when all is known, and otherwise 2 objects opened for each leaf
// of which nothing is known.
namespace ps::detail {

// The number of elements below a node. Empty when something could not be opened.
std::optional<int> elementsBelow(const psBTree& node);

// The number of elements in the leaves before a node. Empty when something could not be opened.
std::optional<int> elementsBefore(const psBTree& node);

// The leaf that holds the element at a position; the last leaf when there is no such position.
struct LeafAt {
  pstHandle<psBTree> leaf;  // open for reading; null when it could not be found out
  int before = 0;           // number of elements in the leaves before it
};
LeafAt leafAt(const psBTree& root, int position);

}  // namespace ps::detail
