#include "tree/Compaction.h"

#include <algorithm>

#include "tree/CountChange.h"
#include "tree/ElementCounts.h"
#include "tree/NodeEdit.h"
#include "tree/NodeLinks.h"
#include "tree/NodeRemoval.h"
#include "tree/OpenChildren.h"

namespace ps::detail {

namespace {

// Plans what changes above a node that gives up its first n entries. When none is left the node goes.
bool planLoss(const pstHandle<psBTree>& node, NodeEdit& entries, int n, NodeRemoval& removal, CountChange& counts) {
  const psId name = entries.isLeaf() ? node.oid() : entries[0].oid();
  if (n == entries.count()) return removal.planRemoval(node, name);
  if (!counts.planFewer(*node, name, entries.elementsIn(0, n))) return false;
  if (entries.isLeaf()) return entries.openMark() && removal.planSeparator(*node, entries.abbreviationAt(n));
  return removal.planLow(*node, name, entries[n], entries.abbreviationAt(n));
}

// Moves as many entries as there is room for from a node to its left neighbour, all at once or not at all. False, with
// nothing changed, when something could not be opened.
bool fill(const pstHandle<psBTree>& left, const pstHandle<psBTree>& right) {
  NodeEdit to(*left);
  NodeEdit from(*right);
  if (!to.isOpen() || !from.isOpen() || from.count() == 0) return false;
  const int n = std::min(to.capacity() - to.count(), from.count());
  OpenChildren children;
  if (!children.open(*right, from, 0, n)) return false;
  NodeRemoval ancestors;
  CountChange counts;
  const psId leftName = to.isLeaf() ? left.oid() : to[0].oid();
  if (!counts.planMore(*left, leftName, from.elementsIn(0, n)) || !planLoss(right, from, n, ancestors, counts))
    return false;

  counts.carryOut();
  to.append(from, 0, n);
  from.erase(0, n);
  from.renewMark();
  children.giveTo(left, 0, n);
  ancestors.carryOut();
  return true;
}

// Makes room in the nodes of one level for the numbers of elements below their entries, where an older release made
// none.
bool provideCounts(pstHandle<psBTree> node) {
  for (;;) {
    if (ArrayView(NodeAccess::elements(*node)).lacksCounts()) {
      NodeEdit entries(*node);
      if (!entries.isOpen() || !entries.provideCounts()) return false;
    }
    const NodeAnswer right = nextNode(*node);
    if (right.node.isNull()) return !right.failed;
    node = right.node;
  }
}

// Packs one level, from its leftmost node on.
bool packLevel(pstHandle<psBTree> node) {
  for (;;) {
    const NodeAnswer right = nextNode(*node);
    if (right.failed) return false;
    if (right.node.isNull()) return true;
    const ArrayView entries(NodeAccess::elements(*node));
    if (!entries.isOpen()) return false;
    if (entries.isFull()) {
      node = right.node;
    } else if (!fill(node, right.node)) {
      return false;
    }
  }
}

// Puts the entries of the root's only child into the root. False when the root has other children or a leaf below it,
// or when something could not be opened.
bool lowerRoot(psBTree& root) {
  if (heightOf(root) < 3) return false;
  const pstHandle<psBTree> self = handleTo(root);
  NodeEdit top(root);
  if (!top.isOpen() || top.count() != 1) return false;
  const pstHandle<psBTree> child = childAt(top, 0, root);
  if (child.isNull()) return false;
  OpenChildren grandchildren;
  NodeRemoval removal;
  NodeEdit entries(*child);
  if (!entries.isOpen() || entries.count() > top.capacity() ||
      !grandchildren.open(*child, entries, 0, entries.count()) || !removal.planDeletion(child)) {
    return false;
  }
  top.erase(0);
  top.append(entries, 0, entries.count());
  grandchildren.giveTo(self, 0, entries.count());
  removal.carryOut();
  return true;
}

}  // namespace

bool packLeaves(const psBTree& root) {
  const NodeAnswer low = leftmostLeaf(root);
  return !low.failed && packLevel(low.node);
}

void packInterior(psBTree& root) {
  const NodeAnswer low = leftmostLeaf(root);
  if (low.failed) return;
  for (pstHandle<psBTree> level = low.node->parent(); !level.isNull(); level = level->parent()) {
    if (!isReadable(level) || !provideCounts(level) || !packLevel(level)) return;
  }
  elementsBelow(root);  // and thereby notes what is not known
  while (lowerRoot(root)) {
  }
}

}  // namespace ps::detail
