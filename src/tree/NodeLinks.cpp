#include "tree/NodeLinks.h"

#include <array>
#include <utility>

#include "store/session/SeveralWriters.h"

namespace ps::detail {

namespace {

const NodeAnswer nowhere;
const NodeAnswer unknown{pstHandle<psBTree>(), true};

NodeAnswer opened(const pstHandle<psBTree>& node) { return isReadable(node) ? NodeAnswer{node, false} : unknown; }

// What is opened first to reach the child that an entry stands for.
psId childIdAt(const ArrayView& entries, int i) {
  const psId node = entries.nodeAt(i);
  return node.isNull() ? entries[i].oid() : node;
}

bool isMarkedLeaf(const psBTree& node) { return !NodeAccess::first(node).isNull(); }

}  // namespace

pstHandle<psBTree> climbBelow(pstHandle<psBTree> node, const psId& ancestor, int* levels) {
  while (isReadable(node)) {
    pstHandle<psBTree> above = node->parent();
    if (above.isNull() || above == ancestor) return node;
    node = std::move(above);
    if (levels != nullptr) ++*levels;
  }
  return pstHandle<psBTree>();
}

pstHandle<psBTree> childAt(const pstRef<psObj>& entry, const psId& node, const psBTree& ancestor) {
  const psId id = ancestor.psOid();
  if (!node.isNull()) {
    pstHandle<psBTree> known(node);
    if (isReadable(known) && known->parent() == id) return known;
  }
  pstHandle<psBTree> child(entry);
  while (isReadable(child)) {
    pstHandle<psBTree> above = child->parent();
    if (above == id) return child;
    child = std::move(above);
  }
  return pstHandle<psBTree>();
}

pstHandle<psBTree> rootOf(const psBTree& node) { return climbBelow(handleTo(node), psId()); }

pstHandle<psTreeAdmin> administratorOf(const psBTree& node) {
  const pstHandle<psBTree> root = rootOf(node);
  if (root.isNull()) return pstHandle<psTreeAdmin>();
  pstHandle<psTreeAdmin> admin(root->admin());
  return !admin.isNull() && admin.open(pscRead) == 1 ? admin : pstHandle<psTreeAdmin>();
}

void announceFrom(const ArrayView& entries, int i) {
  if (residentType(childIdAt(entries, i)) != 0) return;
  std::array<psId, mostAnnounced> ids;
  std::size_t n = 0;
  for (; n < ids.size() && i < entries.count(); ++i) ids[n++] = childIdAt(entries, i);
  announceOpening(ids.data(), n);
}

NodeAnswer leftmostLeaf(const psBTree& node) {
  if (isMarkedLeaf(node)) return opened(handleTo(node));
  const ArrayView entries(NodeAccess::elements(node));
  if (!entries.isOpen()) return unknown;
  return opened(entries.count() == 0 ? handleTo(node) : pstHandle<psBTree>(entries[0]));
}

NodeAnswer rightmostLeaf(const psBTree& node) {
  pstHandle<psBTree> at = handleTo(node);
  while (isReadable(at)) {
    if (isMarkedLeaf(*at)) return {at, false};
    const ArrayView entries(NodeAccess::elements(*at));
    if (!entries.isOpen()) return unknown;
    if (entries.count() == 0) return {at, false};
    at = childAt(entries, entries.count() - 1, *at);
  }
  return unknown;
}

pstRef<psObj> firstOf(const psBTree& node) {
  const NodeAnswer low = leftmostLeaf(node);
  if (low.failed) return pstRef<psObj>();
  const ArrayView elements(NodeAccess::elements(*low.node));
  return elements.count() > 0 ? elements[0] : pstRef<psObj>();
}

NodeAnswer nextNode(const psBTree& node) {
  // Up to the first ancestor in which something follows. All the nodes passed have the same leftmost leaf until one is
  // not the first of its siblings; height counts how far down from there the answer lies.
  const NodeAnswer low = leftmostLeaf(node);
  if (low.failed) return unknown;
  int height = 0;
  if (climbBelow(low.node, node.parent().oid(), &height).isNull()) return unknown;

  psId lowest = low.node.oid();
  for (pstHandle<psBTree> above = node.parent(); !above.isNull(); above = above->parent()) {
    if (!isReadable(above)) return unknown;
    const ArrayView entries(NodeAccess::elements(*above));
    const int i = entries.find(lowest);
    if (i < 0) return unknown;
    if (i + 1 < entries.count()) {
      announceFrom(entries, i + 1);
      pstHandle<psBTree> next(entries[i + 1]);
      for (; height > 0; --height) {
        if (!isReadable(next)) return unknown;
        next = next->parent();
      }
      return opened(next);
    }
    lowest = entries[0].oid();
  }
  return nowhere;
}

NodeAnswer previousLeaf(const psBTree& node) {
  const NodeAnswer low = leftmostLeaf(node);
  if (low.failed) return unknown;
  for (pstHandle<psBTree> above = node.parent(); !above.isNull(); above = above->parent()) {
    if (!isReadable(above)) return unknown;
    const ArrayView entries(NodeAccess::elements(*above));
    const int i = entries.find(low.node.oid());
    if (i < 0) return unknown;
    if (i > 0) {
      const pstHandle<psBTree> child = childAt(entries, i - 1, *above);
      return child.isNull() ? unknown : rightmostLeaf(*child);
    }
  }
  return nowhere;
}

bool LeafWalk::enter(const pstHandle<psBTree>& parent) {
  parent_ = parent;
  if (!isReadable(parent_)) return false;
  siblings_.emplace(NodeAccess::elements(*parent_));
  return siblings_->isOpen();
}

void LeafWalk::advance() {
  const NodeAnswer from = std::exchange(leaf_, nowhere);
  if (!siblings_) {
    const pstHandle<psBTree> above = from.node->parent();
    if (above.isNull()) return;
    leaf_ = unknown;
    if (!enter(above)) return;
    index_ = siblings_->find(from.node.oid());
    if (index_ < 0) return;
  }
  if (index_ + 1 == siblings_->count()) {
    leaf_ = nextNode(*parent_);
    if (leaf_.node.isNull()) return;
    if (!enter(leaf_.node)) {
      leaf_ = unknown;
      return;
    }
    index_ = -1;
  }
  announceFrom(*siblings_, ++index_);
  leaf_ = opened(pstHandle<psBTree>((*siblings_)[index_]));
}

int heightOf(const psBTree& node) {
  const NodeAnswer low = leftmostLeaf(node);
  int levels = 1;
  return low.failed || climbBelow(low.node, node.parent().oid(), &levels).isNull() ? 0 : levels;
}

}  // namespace ps::detail
