#pragma once

#include "tree/psBTree.h"

namespace ps::detail {

// What a node is made with.
struct NodeParts {
  pstRef<psBTree> parent;
  pstRef<psUnsortedArray> elements;
  pstRef<psUnsortedArray> values;  // null but in leaves of maps
};

// What the algorithms on nodes must know of a class of nodes and cannot ask through its published operations, which may
// be refused: the classes derive from psBTree side by side and have their fields in different places.
//
// There is one object of each kind, for as long as the process runs.
class NodeKind {
 public:
  NodeKind(const NodeKind&) = delete;
  NodeKind& operator=(const NodeKind&) = delete;

  // The kind of a node other than a root; null for others.
  static const NodeKind* of(const psBTree& node);

  // An array for the elements of a node; null when the store cannot create it.
  virtual pstHandle<psUnsortedArray> createElements(const pstRef<psContObj>& near, int capacity) const = 0;
  // A node made of the given parts; null when the store cannot create it.
  virtual pstHandle<psBTree> createNode(const pstRef<psContObj>& near, const NodeParts& parts) const = 0;
  // Writes the parent of a node that is open for update.
  virtual void setParent(psBTree& node, const pstRef<psBTree>& parent) const = 0;
  // What marks a leaf of this kind with this lowest element as a leaf.
  virtual pstRef<psObj> leafMark(const psBTree& leaf, const pstRef<psObj>& lowest) const = 0;

 protected:
  explicit NodeKind(unsigned int nodeType);
  ~NodeKind() = default;

 private:
  static const NodeKind* kinds;

  unsigned int nodeType_;
  const NodeKind* others_;
};

// An array for the values beside a leaf's elements, near them; null when the store cannot create it.
pstHandle<psUnsortedArray> createValuesBeside(const pstRef<psUnsortedArray>& elements, int capacity);

// Nodes of sets: psBTreeNode, with sorted arrays; a leaf is marked by its lowest element.
const NodeKind& sortedNodes();

// Nodes of maps: psTreeMapNode, like those of sets, with values in leaves.
const NodeKind& mapNodes();

// Nodes of lists: psTreeListNode, with unsorted arrays; a leaf is marked by itself.
const NodeKind& listNodes();

}  // namespace ps::detail
