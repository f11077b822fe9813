#include "tree/NodeKind.h"

namespace ps::detail {

const NodeKind* NodeKind::kinds = nullptr;

NodeKind::NodeKind(unsigned int nodeType, const RootClass& root) : nodeType_(nodeType), root_(root), others_(kinds) {
  kinds = this;
}

const NodeKind* NodeKind::of(const psBTree& node) {
  const NodeKind* kind = kinds;
  while (kind != nullptr && kind->nodeType_ != node.psGetTypeN()) kind = kind->others_;
  return kind;
}

const NodeKind* NodeKind::below(const psBTree& root) {
  const NodeKind* nearest = nullptr;
  for (const NodeKind* kind = kinds; kind != nullptr; kind = kind->others_) {
    const bool isNearer = nearest == nullptr || kind->root_.generation > nearest->root_.generation;
    if (isNearer && root.psIsKindOf(kind->root_.typeN)) nearest = kind;
  }
  return nearest;
}

pstHandle<psUnsortedArray> createValuesBeside(const pstRef<psUnsortedArray>& elements, int capacity) {
  return pstHandle<psUnsortedArray>(new (elements) psUnsortedArray(capacity));
}

}  // namespace ps::detail
