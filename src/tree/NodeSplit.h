#pragma once

#include "tree/NodeKind.h"

// Splits, for all classes of nodes. Both functions open everything that they will write, and create the new nodes,
// before the first entry moves. A new node that turns out not to be usable is deleted.
namespace ps::detail {

// Where a list is about to insert when a node is full: the values of `where` in psBTree::full. A split at the end
// leaves a full node, and a split at the start makes a nearly empty one.
enum InsertionPoint { within = 0, atEnd = 1, atStart = 2 };

// How many entries of a list's node stay in the left node when it is split. keptAtStart is the number for atStart.
int keptInList(int where, int capacity, int keptAtStart);

// Pushes the entries of a full root down into two new nodes, the first `kept` into the left one. 1; 0 with nothing
// changed.
int splitRoot(psBTree& root, int kept);

// Moves the entries after the first `kept` of a full node into a new node to its right. When the parent is full, splits
// the parent instead. 1; 0 with nothing changed.
int splitNode(psBTree& node, int kept, const NodeKind& kind);

}  // namespace ps::detail
