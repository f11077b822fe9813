#pragma once

#include "tree/psBTree.h"

namespace ps::detail {
template <class Node, class Array>
class ChildKind;
}  // namespace ps::detail

// A node of a list, other than the root. Only its tree creates and deletes nodes.
class PS_API psTreeListNode : public psBTree {
  PS_PERSISTENT_CLASS(psTreeListNode, psBTree, 4021)

 public:
  psTreeListNode() = default;
  // A node below p. Its array has the capacity of p's, and goes into the container that the tree's administrator
  // provides. When that fails, the node has no array.
  explicit psTreeListNode(pstHandle<psBTree>& p);
  // Deletes the node's array.
  ~psTreeListNode() noexcept override;

  const pstRef<psTreeAdmin>& admin() const override;

  // Stores nothing: a list's leaf is marked by itself, not by its lowest element. 1.
  int first(const pstHandle<psObj>& element) override;
  int full(int where) override;
  pstHandle<psBTree> parent() const override;
  int parent(const pstHandle<psBTree>& p) override;
  pstRef<psObj> first() const override;

 private:
  friend class ps::detail::ChildKind<psTreeListNode, psUnsortedArray>;

  pstRef<psBTree> parent_;
};

static_assert(sizeof(psTreeListNode) == 32, "stored layout");
