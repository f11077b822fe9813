#include "tree/ElementChange.h"

#include "tree/InsertionSearch.h"
#include "tree/NodeLinks.h"
#include "tree/TreeAppender.h"

namespace ps::detail {

bool insertElement(const TreePosition& position, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  if (position.matched) return false;
  NodeEdit entries(*position.leaf);
  if (!entries.isOpen() || (position.index == 0 && !entries.openMark())) return false;
  CountChange counts;
  if (!counts.planMore(*position.leaf, position.leaf.oid(), 1, position.path)) return false;
  std::optional<NodeRemoval> separator;
  if (position.isLast && !position.isByAbbreviations && entries.hasAbbreviations()) {
    if (!separator.emplace().planUnknownAfter(*position.leaf)) return false;
    separator->carryOut();
  }
  entries.insert(position.index, element, value, position.abbreviation);
  entries.renewMark();
  counts.carryOut();
  return true;
}

bool addElement(psBTree& tree, KeyProbe&& probe, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  if (element.isNull()) return false;
  if (TreeAppender::appendSingly(tree, probe, element, value)) return true;
  const std::optional<TreePosition> at = locateRoom(tree, probe);
  return at && insertElement(*at, element, value);
}

bool ElementRemoval::plan(const pstHandle<psBTree>& leaf, int index, const TreePath& path) {
  if (!isReadable(leaf)) return false;
  entries_.emplace(*leaf);
  index_ = index;
  if (!entries_->isOpen() || index < 0 || index >= entries_->count()) return false;
  if (entries_->count() == 1 && !leaf->parent().isNull()) return leaf_.emplace().planRemoval(leaf, leaf.oid());
  return (index > 0 || entries_->openMark()) && counts_.planFewer(*leaf, leaf.oid(), 1, path);
}

void ElementRemoval::carryOut() {
  if (leaf_) {
    leaf_->carryOut();
  } else {
    entries_->erase(index_);
    entries_->renewMark();
    counts_.carryOut();
  }
}

bool removeElement(const pstHandle<psBTree>& leaf, int index, const TreePath& path) {
  ElementRemoval removal;
  if (!removal.plan(leaf, index, path)) return false;
  removal.carryOut();
  return true;
}

bool removeLastLeaf(psBTree& root) {
  const NodeAnswer last = rightmostLeaf(root);
  if (last.failed) return false;
  if (last.node != root.psOid()) return removeNode(last.node, last.node);
  NodeEdit entries(root);
  if (!entries.isOpen() || entries.count() == 0 || !entries.openMark()) return false;
  entries.truncate(0);
  entries.renewMark();
  return true;
}

bool removeMatch(const psBTree& node, KeyProbe&& probe) {
  const TreePosition at = locateMatch(node, probe);
  return !at.failed && at.matched && removeElement(at.leaf, at.index, at.path);
}

namespace {

bool replaceWithin(const pstHandle<psBTree>& leaf, int index, const TreePosition& position,
                   const pstRef<psObj>& element) {
  NodeEdit entries(*leaf);
  const int newIndex = position.index;
  if (!entries.isOpen() || !entries.openMark()) return false;
  const pstRef<psObj> value = entries.valueAt(index);
  entries.erase(index);
  entries.insert(newIndex > index ? newIndex - 1 : newIndex, element, value, position.abbreviation);
  entries.renewMark();
  return true;
}

}  // namespace

bool replaceElement(const pstHandle<psBTree>& leaf, int index, const TreePosition& position,
                    const pstRef<psObj>& element) {
  if (position.matched) return false;
  if (leaf == position.leaf) return replaceWithin(leaf, index, position, element);
  ElementRemoval removal;
  if (!removal.plan(leaf, index) || !insertElement(position, element, removal.value())) return false;
  removal.carryOut();
  return true;
}

}  // namespace ps::detail
