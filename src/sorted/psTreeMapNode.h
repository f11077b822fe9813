#pragma once

#include "tree/psBTree.h"

namespace ps::detail {
template <class Node, class Array>
class ChildKind;
}  // namespace ps::detail

// A node of a sorted map, other than the root. Only its tree creates and deletes nodes.
class PS_API psTreeMapNode : public psBTree {
  PS_PERSISTENT_CLASS(psTreeMapNode, psBTree, 4019)

 public:
  psTreeMapNode() = default;
  // A node below p. Its array has the capacity of p's, and goes into the container that the tree's administrator
  // provides. A leaf has another array near it, for values. When that fails, the node has no array.
  psTreeMapNode(pstHandle<psBTree>& p, unsigned char leaf);
  // Deletes the node's arrays.
  ~psTreeMapNode() noexcept override;

  const pstRef<psTreeAdmin>& admin() const override;
  // Looks for the key below this node, and removes the pair whose key matches.
  bool remove(const pstHandle<psObj>& key) override;

  int full(int where) override;
  pstHandle<psBTree> parent() const override;
  int parent(const pstHandle<psBTree>& p) override;
  // Null in interior nodes.
  pstRef<psUnsortedArray> values() const override;

 private:
  friend class ps::detail::ChildKind<psTreeMapNode, psSortedArray>;

  pstRef<psUnsortedArray> values_;
  pstRef<psBTree> parent_;
};

static_assert(sizeof(psTreeMapNode) == 40, "stored layout");
