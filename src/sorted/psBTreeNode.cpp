#include "sorted/psBTreeNode.h"

#include "tree/ChildNode.h"
#include "tree/NodeLinks.h"
#include "tree/NodeSplit.h"

namespace {

const pstProcessInitTermClass processInitTerm;
// Of every tree whose class has no nodes of its own.
const ps::detail::ChildKind<psBTreeNode, psSortedArray> kind(ps::detail::rootClass<psBTree>());

}  // namespace

psBTreeNode::psBTreeNode(pstHandle<psBTree>& p) : parent_(p) {
  const pstHandle<psBTreeNode> self(this);
  ps::detail::NodeAccess::setElements(*this, ps::detail::createElementsBelow(p, kind));
}

psBTreeNode::~psBTreeNode() noexcept { ps::detail::deleteArrays(*this); }

const pstRef<psTreeAdmin>& psBTreeNode::admin() const { return ps::detail::adminAbove(parent_); }

int psBTreeNode::full(int) { return ps::detail::splitNode(*this, maxNumberOfChildren() / 2, kind); }

pstHandle<psBTree> psBTreeNode::parent() const { return pstHandle<psBTree>(parent_); }

int psBTreeNode::parent(const pstHandle<psBTree>& p) {
  if (psUpdate() != 1) return 0;
  parent_ = p;
  return 1;
}
