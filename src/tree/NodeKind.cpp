#include "tree/NodeKind.h"

namespace ps::detail {

const NodeKind* NodeKind::kinds = nullptr;

NodeKind::NodeKind(unsigned int nodeType) : nodeType_(nodeType), others_(kinds) { kinds = this; }

const NodeKind* NodeKind::of(const psBTree& node) {
  const NodeKind* kind = kinds;
  while (kind != nullptr && kind->nodeType_ != node.psGetTypeN()) kind = kind->others_;
  return kind;
}

pstHandle<psUnsortedArray> createValuesBeside(const pstRef<psUnsortedArray>& elements, int capacity) {
  return pstHandle<psUnsortedArray>(new (elements) psUnsortedArray(capacity));
}

}  // namespace ps::detail
