#include "tree/psTreeListNode.h"

#include "tree/ChildNode.h"
#include "tree/NodeLinks.h"
#include "tree/NodeRemoval.h"
#include "tree/NodeSplit.h"

namespace {

const pstProcessInitTermClass processInitTerm;
const ps::detail::ChildKind<psTreeListNode, psUnsortedArray> kind;

}  // namespace

const ps::detail::NodeKind& ps::detail::listNodes() { return kind; }

psTreeListNode::psTreeListNode(pstHandle<psBTree>& p) : parent_(p) {
  const pstHandle<psTreeListNode> self(this);
  ps::detail::NodeAccess::setElements(*this, ps::detail::createElementsBelow(p, kind));
}

psTreeListNode::psTreeListNode(const ps::detail::NodeParts& parts) : parent_(parts.parent) {
  ps::detail::NodeAccess::setElements(*this, parts.elements);
}

psTreeListNode::~psTreeListNode() noexcept { ps::detail::deleteArrays(*this); }

bool psTreeListNode::add(const pstHandle<psObj>& element) {
  return ps::detail::askAbove(parent_, [&](psBTree& above) { return above.add(element); });
}

const pstRef<psTreeAdmin>& psTreeListNode::admin() const { return ps::detail::adminAbove(parent_); }

pstRef<psCompare> psTreeListNode::comparator() const {
  return ps::detail::askAbove(parent_, [](psBTree& above) { return above.comparator(); });
}

pstRef<psObj> psTreeListNode::get(const void* key) const {
  return ps::detail::askAbove(parent_, [&](psBTree& above) { return above.get(key); });
}

pstHandle<psBTree> psTreeListNode::childOf(const pstHandle<psBTree>& ancestor) const {
  return ps::detail::climbBelow(ps::detail::handleTo(*this), ancestor.oid());
}

int psTreeListNode::first(const pstHandle<psObj>&) { return 1; }

int psTreeListNode::full(int where) {
  return ps::detail::splitNode(*this, ps::detail::keptInList(where, maxNumberOfChildren(), 1), kind);
}

int psTreeListNode::newLow(pstHandle<psBTree>& oldLow) { return ps::detail::repairLow(*this, oldLow) ? 1 : 0; }

pstHandle<psBTree> psTreeListNode::parent() const { return pstHandle<psBTree>(parent_); }

int psTreeListNode::parent(const pstHandle<psBTree>& p) {
  if (psUpdate() != 1) return 0;
  parent_ = p;
  return 1;
}

int psTreeListNode::removeNode(pstHandle<psBTree>& node) {
  return ps::detail::removeNode(node, ps::detail::handleTo(*this)) ? 1 : 0;
}

bool psTreeListNode::isLeaf() const { return !ps::detail::NodeAccess::first(*this).isNull(); }

pstHandle<psBTree> psTreeListNode::root() const { return ps::detail::rootOf(*this); }

pstRef<psObj> psTreeListNode::first() const { return ps::detail::firstOf(*this); }
