#pragma once

#include <optional>

#include "arrays/ArrayView.h"
#include "tree/NodeAccess.h"

// The links between nodes, for all classes of nodes.
namespace ps::detail {

// The result of looking for a node. "No such node" and "could not be opened" are different answers.
struct NodeAnswer {
  pstHandle<psBTree> node;  // open for reading; null when there is none, or when the answer could not be found out
  bool failed = false;
};

// Opens the handle for reading unless it is open. An open handle is not opened again, so nothing can be refused. A null
// handle is not readable.
template <class T>
bool isReadable(const pstHandle<T>& object) {
  return !object.isNull() && object.operator->() != nullptr;
}

inline pstHandle<psBTree> handleTo(const psBTree& node) { return pstHandle<psBTree>(&node); }

// Climbs to the node whose parent is ancestor, or to the root when ancestor is not above. Null when a node cannot be
// opened. levels counts the nodes climbed to.
pstHandle<psBTree> climbBelow(pstHandle<psBTree> node, const psId& ancestor, int* levels = nullptr);

// The child that an entry of ancestor stands for, open for reading; null when it cannot be reached. Unless node is that
// child, which whoever keeps the entries may know, the leaf that the entry names is opened too.
pstHandle<psBTree> childAt(const pstRef<psObj>& entry, const psId& node, const psBTree& ancestor);

// The same by the ancestor's entries, open for reading or for update.
template <class Entries>
pstHandle<psBTree> childAt(const Entries& entries, int i, const psBTree& ancestor) {
  return childAt(entries[i], entries.nodeAt(i), ancestor);
}

// The root of the node's tree, open for reading; null when a node on the way cannot be opened.
pstHandle<psBTree> rootOf(const psBTree& node);

// The administrator of the node's tree, open for reading; null when something cannot be opened.
pstHandle<psTreeAdmin> administratorOf(const psBTree& node);

// Says that the children are about to be opened for which the entries stand from one on, unless that one is in memory.
void announceFrom(const ArrayView& entries, int i);

NodeAnswer leftmostLeaf(const psBTree& node);
NodeAnswer rightmostLeaf(const psBTree& node);

// The first element below the node, read from its array; null when there is none or it cannot be read.
pstRef<psObj> firstOf(const psBTree& node);

NodeAnswer nextNode(const psBTree& node);
NodeAnswer previousLeaf(const psBTree& node);

// Number of levels from the node down to its leaves, itself included. 0 when that cannot be determined.
int heightOf(const psBTree& node);

// Walks over a tree's leaves from left to right, along the arrays of their parents.
class LeafWalk {
 public:
  // Begins at the leftmost leaf below the node.
  explicit LeafWalk(const psBTree& node) : leaf_(leftmostLeaf(node)) {}

  // The current leaf, open for reading. Null after the last one, and when the next could not be reached.
  const pstHandle<psBTree>& leaf() const { return leaf_.node; }
  bool failed() const { return leaf_.failed; }
  void advance();

 private:
  // Continues below this node. False when it cannot be read.
  bool enter(const pstHandle<psBTree>& parent);

  NodeAnswer leaf_;
  pstHandle<psBTree> parent_;
  std::optional<ArrayView> siblings_;
  int index_ = 0;
};

// Calls visit(leaf, array) for the tree's leaves from left to right until it returns false. The leaf's array is open
// for reading, but its storage is not looked up, so counting costs 2 opens per leaf. False when a leaf could not be
// read.
template <class Visit>
bool visitLeaves(const psBTree& tree, Visit visit) {
  LeafWalk walk(tree);
  for (; !walk.leaf().isNull(); walk.advance()) {
    const pstHandle<psUnsortedArray> array(NodeAccess::elements(*walk.leaf()));
    if (!isReadable(array)) return false;
    if (!visit(walk.leaf(), array)) return true;
  }
  return !walk.failed();
}

}  // namespace ps::detail
