#include "tree/psBTreeNode.h"

#include "tree/NodeKind.h"
#include "tree/NodeLinks.h"
#include "tree/NodeRemoval.h"
#include "tree/NodeSplit.h"

namespace {

const pstProcessInitTermClass processInitTerm;

// What admin() gives where the root cannot be reached.
const pstRef<psTreeAdmin> noAdmin;

}  // namespace

namespace ps::detail {

class SortedNodeKind final : public NodeKind {
 public:
  SortedNodeKind() : NodeKind(psBTreeNode::pstTypeN) {}
  pstHandle<psUnsortedArray> createElements(const pstRef<psContObj>& near, int capacity) const override {
    return pstHandle<psUnsortedArray>(new (near) psSortedArray(capacity));
  }
  pstHandle<psBTree> createNode(const pstRef<psContObj>& near, const NodeParts& parts) const override {
    return pstHandle<psBTree>(new (near) psBTreeNode(parts));
  }
  void setParent(psBTree& node, const pstRef<psBTree>& parent) const override {
    static_cast<psBTreeNode&>(node).parent_ = parent;
  }
  pstRef<psObj> leafMark(const psBTree&, const pstRef<psObj>& lowest) const override { return lowest; }
};

namespace {

const SortedNodeKind sortedNodeKind;

}  // namespace

const NodeKind& sortedNodes() { return sortedNodeKind; }

}  // namespace ps::detail

psBTreeNode::psBTreeNode(pstHandle<psBTree>& p) : parent_(p) {
  const pstHandle<psBTreeNode> self(this);
  const pstHandle<psBTree> root = p.open(pscRead) == 1 ? p->root() : pstHandle<psBTree>();
  if (root.isNull() || root.open(pscRead) != 1) return;
  const pstHandle<psTreeAdmin> admin(root->admin());
  if (admin.isNull() || admin.open(pscRead) != 1) return;
  const pstRef<psContObj> place = admin->provideVArrayContainer();
  if (place.isNull()) return;
  ps::detail::NodeAccess::setElements(*this, ps::detail::sortedNodes().createElements(place, p->maxNumberOfChildren()));
}

psBTreeNode::psBTreeNode(const ps::detail::NodeParts& parts) : parent_(parts.parent) {
  ps::detail::NodeAccess::setElements(*this, parts.elements);
}

psBTreeNode::~psBTreeNode() noexcept {
  pstHandle<psUnsortedArray> elements(ps::detail::NodeAccess::elements(*this));
  if (elements.isValid()) psDelete(elements);
}

bool psBTreeNode::add(const pstHandle<psObj>& element) {
  const pstHandle<psBTree> above(parent_);
  return above.open(pscRead) == 1 && above->add(element);
}

const pstRef<psTreeAdmin>& psBTreeNode::admin() const {
  const pstHandle<psBTree> above(parent_);
  return above.open(pscRead) == 1 ? above->admin() : noAdmin;
}

pstRef<psCompare> psBTreeNode::comparator() const {
  const pstHandle<psBTree> above(parent_);
  return above.open(pscRead) == 1 ? above->comparator() : pstRef<psCompare>();
}

pstRef<psObj> psBTreeNode::get(const void* key) const {
  const pstHandle<psBTree> above(parent_);
  return above.open(pscRead) == 1 ? above->get(key) : pstRef<psObj>();
}

pstHandle<psBTree> psBTreeNode::childOf(const pstHandle<psBTree>& ancestor) const {
  return ps::detail::climbBelow(ps::detail::handleTo(*this), ancestor.oid());
}

int psBTreeNode::full(int) {
  return ps::detail::splitNode(*this, maxNumberOfChildren() / 2, ps::detail::sortedNodes());
}

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
