#pragma once

#include <type_traits>

#include "arrays/psSortedArray.h"
#include "tree/NodeAccess.h"
#include "tree/NodeKind.h"

// How the nodes below a root are created and deleted, for all their classes, which derive from psBTree side by side.
namespace ps::detail {

// The kind of the nodes of class Node, whose arrays are of class Array. Elements are sorted when the arrays are.
template <class Node, class Array>
class ChildKind final : public NodeKind {
 public:
  explicit ChildKind(const RootClass& root) : NodeKind(Node::pstTypeN, root) {}

  bool isSorted() const override { return std::is_same_v<Array, psSortedArray>; }
  pstHandle<psUnsortedArray> createElements(const pstRef<psObj>& near, int capacity, Rows rows) const override {
    return pstHandle<psUnsortedArray>(new (near) Array(capacity, rows));
  }
  pstHandle<psBTree> createNode(const pstRef<psObj>& near, const NodeParts& parts) const override {
    auto* const node = new (near) Node();
    pstHandle<psBTree> handle(node);
    if (node == nullptr) return handle;
    node->parent_ = parts.parent;
    NodeAccess::setElements(*node, parts.elements);
    setValues(*node, parts.values);
    return handle;
  }
  void setParent(psBTree& node, const pstRef<psBTree>& parent) const override {
    static_cast<Node&>(node).parent_ = parent;
  }
  pstRef<psObj> leafMark(const psBTree& leaf, const pstRef<psObj>& lowest) const override {
    return isSorted() ? lowest : pstRef<psObj>(leaf.psOid());
  }

 private:
  // For nodes that have values.
  static void setValues(Node&, const pstRef<psUnsortedArray>&) {}
};

// The administrator of the collection. A null reference when it cannot be reached.
const pstRef<psTreeAdmin>& adminAbove(const pstRef<psBTree>& parent);

// An array for a node below parent, of the capacity of parent's, in the container that the administrator provides. Null
// when that fails.
pstHandle<psUnsortedArray> createElementsBelow(const pstHandle<psBTree>& parent, const NodeKind& kind);

// Deletes the arrays of a node that is being deleted.
void deleteArrays(const psBTree& node) noexcept;

}  // namespace ps::detail
