#include "list/psTreeListNode.h"

#include "list/psTreeList.h"
#include "tree/ChildNode.h"
#include "tree/NodeLinks.h"
#include "tree/NodeSplit.h"

namespace {

const pstProcessInitTermClass processInitTerm;
const ps::detail::ChildKind<psTreeListNode, psUnsortedArray> kind(ps::detail::rootClass<psTreeList>());

}  // namespace

psTreeListNode::psTreeListNode(pstHandle<psBTree>& p) : parent_(p) {
  const pstHandle<psTreeListNode> self(this);
  ps::detail::NodeAccess::setElements(*this, ps::detail::createElementsBelow(p, kind));
}

psTreeListNode::~psTreeListNode() noexcept { ps::detail::deleteArrays(*this); }

const pstRef<psTreeAdmin>& psTreeListNode::admin() const { return ps::detail::adminAbove(parent_); }

int psTreeListNode::first(const pstHandle<psObj>&) { return 1; }

int psTreeListNode::full(int where) {
  return ps::detail::splitNode(*this, ps::detail::keptInList(where, maxNumberOfChildren(), 1), kind);
}

pstHandle<psBTree> psTreeListNode::parent() const { return pstHandle<psBTree>(parent_); }

int psTreeListNode::parent(const pstHandle<psBTree>& p) {
  if (psUpdate() != 1) return 0;
  parent_ = p;
  return 1;
}

pstRef<psObj> psTreeListNode::first() const { return ps::detail::firstOf(*this); }
