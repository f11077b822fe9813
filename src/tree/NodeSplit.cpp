#include "tree/NodeSplit.h"

#include "tree/NewNode.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

namespace {

// A full node about to be split, with all that leaves it: open for update.
class SplitSource {
 public:
  explicit SplitSource(const psBTree& node) : node_(node), entries_(node) {}

  // Opens the children that the entries from `moved` on stand for. False when something is refused, or when the node is
  // not full or has nothing to move.
  bool open(int moved) {
    if (!entries_.isOpen() || !entries_.isFull() || moved >= entries_.count()) return false;
    return children_.open(node_, entries_, moved, entries_.count());
  }

  NodeEdit& entries() { return entries_; }
  const OpenChildren& children() const { return children_; }

  // What the node is named by in its parent.
  psId name() const { return entries_.isLeaf() ? node_.psOid() : entries_[0].oid(); }

 private:
  const psBTree& node_;
  NodeEdit entries_;
  OpenChildren children_;
};

}  // namespace

int keptInList(int where, int capacity, int keptAtStart) {
  if (where == within) return capacity / 2;
  return where == atEnd ? capacity - 1 : keptAtStart;
}

int splitRoot(psBTree& root, int kept) {
  const pstHandle<psBTree> self = handleTo(root);
  SplitSource source(root);
  NodeEdit& entries = source.entries();
  if (kept < 1 || !source.open(0) || kept >= entries.count() || self.open(pscUpdate) != 1) return 0;
  const pstHandle<psTreeAdmin> admin = administratorOf(root);
  if (admin.isNull()) return 0;
  const NodeKind& kind = *NodeKind::below(root);
  NewNode left(kind);
  NewNode right(kind);
  if (!left.create(admin, root, entries) || !right.create(admin, root, entries)) return 0;
  if (!entries.provideCounts() || (!entries.isLeaf() && !entries.provideNodes())) return 0;

  left.take(entries, source.children(), 0, kept);
  right.take(entries, source.children(), kept, entries.count());
  NodeAccess::initFirst(root, pstRef<psObj>());
  entries.becomeInterior();
  left.insertInto(entries, 0);
  right.insertInto(entries, 1);
  return 1;
}

int splitNode(psBTree& node, int kept, const NodeKind& kind) {
  const pstHandle<psBTree> self = handleTo(node);
  const pstHandle<psBTree> parent = node.parent();
  if (kept < 1 || !isReadable(parent)) return 0;
  const ArrayView above(NodeAccess::elements(*parent));
  if (!above.isOpen()) return 0;
  if (above.isFull()) return parent->full(0);

  SplitSource source(node);
  NodeEdit& entries = source.entries();
  NodeEdit siblings(*parent);
  if (!source.open(kept) || !siblings.isOpen()) return 0;
  const int index = siblings.find(source.name());
  if (index < 0) return 0;
  const pstHandle<psTreeAdmin> admin = administratorOf(node);
  if (admin.isNull()) return 0;
  NewNode sibling(kind);
  if (!sibling.create(admin, *parent, entries) || (!entries.isLeaf() && !entries.provideCounts())) return 0;

  sibling.take(entries, source.children(), kept, entries.count());
  entries.truncate(kept);
  siblings.setElementsBelow(index, entries.elementsIn(0, kept));
  sibling.insertInto(siblings, index + 1);
  return 1;
}

}  // namespace ps::detail
