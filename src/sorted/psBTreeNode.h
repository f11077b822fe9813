#pragma once

#include "tree/psBTree.h"

namespace ps::detail {
template <class Node, class Array>
class ChildKind;
}  // namespace ps::detail

// A node of a sorted set, other than the root. Only its tree creates and deletes nodes.
class PS_API psBTreeNode : public psBTree {
  PS_PERSISTENT_CLASS(psBTreeNode, psBTree, 4016)

 public:
  psBTreeNode() = default;
  // A node below p. Its array has the capacity of p's, and goes into the container that the tree's administrator
  // provides. When that fails, the node has no array.
  explicit psBTreeNode(pstHandle<psBTree>& p);
  // Deletes the node's array.
  ~psBTreeNode() noexcept override;

  const pstRef<psTreeAdmin>& admin() const override;

  int full(int where) override;
  pstHandle<psBTree> parent() const override;
  int parent(const pstHandle<psBTree>& p) override;

 private:
  friend class ps::detail::ChildKind<psBTreeNode, psSortedArray>;

  pstRef<psBTree> parent_;
};

static_assert(sizeof(psBTreeNode) == 32, "stored layout");
