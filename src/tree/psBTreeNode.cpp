#include "tree/psBTreeNode.h"

#include "tree/ChildNode.h"
#include "tree/NodeLinks.h"
#include "tree/NodeRemoval.h"
#include "tree/NodeSplit.h"

namespace {

const pstProcessInitTermClass processInitTerm;
const ps::detail::ChildKind<psBTreeNode, psSortedArray> kind;

}  // namespace

const ps::detail::NodeKind& ps::detail::sortedNodes() { return kind; }

psBTreeNode::psBTreeNode(pstHandle<psBTree>& p) : parent_(p) {
  const pstHandle<psBTreeNode> self(this);
  ps::detail::NodeAccess::setElements(*this, ps::detail::createElementsBelow(p, kind));
}

psBTreeNode::psBTreeNode(const ps::detail::NodeParts& parts) : parent_(parts.parent) {
  ps::detail::NodeAccess::setElements(*this, parts.elements);
}

psBTreeNode::~psBTreeNode() noexcept { ps::detail::deleteArrays(*this); }

bool psBTreeNode::add(const pstHandle<psObj>& element) {
  return ps::detail::askAbove(parent_, [&](psBTree& above) { return above.add(element); });
}

const pstRef<psTreeAdmin>& psBTreeNode::admin() const { return ps::detail::adminAbove(parent_); }

pstRef<psCompare> psBTreeNode::comparator() const {
  return ps::detail::askAbove(parent_, [](psBTree& above) { return above.comparator(); });
}

pstRef<psObj> psBTreeNode::get(const void* key) const {
  return ps::detail::askAbove(parent_, [&](psBTree& above) { return above.get(key); });
}

pstHandle<psBTree> psBTreeNode::childOf(const pstHandle<psBTree>& ancestor) const {
  return ps::detail::climbBelow(ps::detail::handleTo(*this), ancestor.oid());
}

int psBTreeNode::full(int) { return ps::detail::splitNode(*this, maxNumberOfChildren() / 2, kind); }

int psBTreeNode::newLow(pstHandle<psBTree>& oldLow) { return ps::detail::repairLow(*this, oldLow) ? 1 : 0; }

pstHandle<psBTree> psBTreeNode::parent() const { return pstHandle<psBTree>(parent_); }

int psBTreeNode::parent(const pstHandle<psBTree>& p) {
  if (psUpdate() != 1) return 0;
  parent_ = p;
  return 1;
}

int psBTreeNode::removeNode(pstHandle<psBTree>& node) {
  return ps::detail::removeNode(node, ps::detail::handleTo(*this)) ? 1 : 0;
}

bool psBTreeNode::isLeaf() const { return !ps::detail::NodeAccess::first(*this).isNull(); }

pstHandle<psBTree> psBTreeNode::root() const { return ps::detail::rootOf(*this); }
