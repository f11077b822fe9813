#pragma once

#include "tree/NodeKind.h"

// Splits, told once for all classes of nodes. Both open everything that they will write, and make the new nodes, before
// the first entry moves; a new node that cannot be used after all is deleted again.
namespace ps::detail {

// Where a list is about to put an element when a node is full: the values of `where` in psBTree::full. At the end a
// split leaves a full node behind, at the start it makes a nearly empty one.
enum InsertionPoint { within = 0, atEnd = 1, atStart = 2 };

// How many entries of a list's node stay left when it is split; keptAtStart is the answer for atStart.
int keptInList(int where, int capacity, int keptAtStart);

// Pushes the entries of a full root down into two new nodes: the first `kept` into the left one. 1; 0 with nothing
// changed.
int splitRoot(psBTree& root, int kept);

// Moves the entries of a full node behind the first `kept` into a new node right of it. When the parent is full, splits
// the parent instead. 1; 0 with nothing changed.
int splitNode(psBTree& node, int kept, const NodeKind& kind);

}  // namespace ps::detail
