#include "sorted/psTreeMapNode.h"

#include "sorted/psTreeMap.h"
#include "tree/ChildNode.h"
#include "tree/ElementChange.h"
#include "tree/NodeLinks.h"
#include "tree/NodeSplit.h"

template <>
void ps::detail::ChildKind<psTreeMapNode, psSortedArray>::setValues(psTreeMapNode& node,
                                                                    const pstRef<psUnsortedArray>& values) {
  node.values_ = values;
}

namespace {

const pstProcessInitTermClass processInitTerm;
const ps::detail::ChildKind<psTreeMapNode, psSortedArray> kind(ps::detail::rootClass<psTreeMap>());

}  // namespace

psTreeMapNode::psTreeMapNode(pstHandle<psBTree>& p, unsigned char leaf) : parent_(p) {
  const pstHandle<psTreeMapNode> self(this);
  const pstHandle<psUnsortedArray> elements = ps::detail::createElementsBelow(p, kind);
  ps::detail::NodeAccess::setElements(*this, elements);
  if (leaf != 0 && !elements.isNull()) values_ = ps::detail::createValuesBeside(elements, elements->size());
}

psTreeMapNode::~psTreeMapNode() noexcept { ps::detail::deleteArrays(*this); }

const pstRef<psTreeAdmin>& psTreeMapNode::admin() const { return ps::detail::adminAbove(parent_); }

bool psTreeMapNode::remove(const pstHandle<psObj>& key) {
  return ps::detail::removeMatch(*this, ps::detail::HandleProbe(key, ps::detail::comparatorOf(*this)));
}

int psTreeMapNode::full(int) { return ps::detail::splitNode(*this, maxNumberOfChildren() / 2, kind); }

pstHandle<psBTree> psTreeMapNode::parent() const { return pstHandle<psBTree>(parent_); }

int psTreeMapNode::parent(const pstHandle<psBTree>& p) {
  if (psUpdate() != 1) return 0;
  parent_ = p;
  return 1;
}

pstRef<psUnsortedArray> psTreeMapNode::values() const { return values_; }
