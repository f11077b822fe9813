#include "inspect/TreeWalker.h"

#include <algorithm>

#include "arrays/ArrayView.h"
#include "check/CheckedOpen.h"
#include "check/NodeClimb.h"
#include "store/base/IdText.h"
#include "tree/NodeAccess.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {

bool TreeWalker::run(const pstHandle<psBTree>& root) {
  root_ = root;
  found_.id = root.oid();
  psNodeInfo first;
  complaint_ = look(root, 1, first);
  if (!complaint_.empty()) return false;
  found_.comparator = root_->comparator().oid();
  found_.admin = root_->admin().oid();
  found_.capacity = first.capacity;
  parts_ = {};
  walk(root, root.oid(), 1, 0);
  found_.bytes += sizes_.of(found_.admin);
  found_.containers = parts_.containers();
  return true;
}

// Looks at one node. Why it cannot be read, as the rest of a sentence.
std::string TreeWalker::look(const Node& node, int level, psNodeInfo& info) {
  info.id = node.oid();
  info.level = level;
  if (level > mostLevels) return "lies below more levels than a tree has";
  if (!opensAs(node)) return "is no node that can be read";
  if (!parts_.add(node.oid())) return "is in the tree twice";
  const pstHandle<psUnsortedArray> entries(NodeAccess::elements(*node));
  info.entries = entries.oid();
  if (!opensAs(entries) || !fits(*entries)) return "has entries that cannot be read";
  const ArrayView view(*entries);
  if (!parts_.add(entries.oid()) || !view.isOpen()) return "has entries that cannot be read";
  info.used = static_cast<std::uint32_t>(view.count());
  info.capacity = static_cast<std::uint32_t>(entries->size());
  info.isLeaf = !NodeAccess::first(*node).isNull() || view.count() == 0;
  if (view.count() > 0) info.first = view[0].oid();
  info.bytes = sizes_.of(node.oid()) + sizes_.of(entries.oid());
  info.values = node->values().oid();
  if (!info.values.isNull()) info.bytes += sizes_.of(info.values);
  return {};
}

// entry is what names the node in its parent; without a node, nothing leads there.
void TreeWalker::walk(const Node& node, const psId& entry, int level, std::uint32_t child) {
  psNodeInfo info;
  if (node.isNull()) {
    info.level = level;
    info.complaint = "cannot be found, since " + textOf(entry) + " does not lead up to it";
  } else {
    info.complaint = look(node, level, info);
  }
  info.child = child;
  info.elementsBefore = found_.elements;
  deliver(info);
  if (!goes_ || !info.isReadable()) return;
  if (!info.isLeaf) return walkChildren(node, level);
  found_.elements += info.used;
  if (visitElement_ != nullptr) deliverElements(info);
}

void TreeWalker::walkChildren(const Node& node, int level) {
  const pstHandle<psUnsortedArray> entries(NodeAccess::elements(*node));
  const ArrayView view(*entries);
  for (int i = 0; i < view.count() && goes_; ++i)
    walk(childAbove(view[i].oid(), node), view[i].oid(), level + 1, static_cast<std::uint32_t>(i));
}

void TreeWalker::deliverElements(const psNodeInfo& leaf) {
  const ArrayView elements(pstHandle<psUnsortedArray>(leaf.entries));
  const pstHandle<psUnsortedArray> valueArray(leaf.values);
  const bool hasValues = !leaf.values.isNull() && opensAs(valueArray) && fits(*valueArray);
  const ArrayView values(hasValues ? valueArray : pstHandle<psUnsortedArray>());
  for (int i = 0; i < elements.count() && goes_; ++i) {
    const psId value = i < values.count() ? values[i].oid() : psId();
    goes_ = visitElement_({elements[i].oid(), value, leaf.id, static_cast<std::uint32_t>(i)});
  }
}

void TreeWalker::deliver(const psNodeInfo& info) {
  const auto level = static_cast<std::size_t>(info.level);
  if (found_.levels.size() < level) found_.levels.resize(level);
  psTreeLevel& counts = found_.levels[level - 1];
  ++counts.nodes;
  ++found_.parts;
  found_.bytes += info.bytes;
  if (!info.isReadable()) {
    ++counts.unreadable;
    ++found_.unreadable;
  } else {
    counts.used += info.used;
    counts.capacity += info.capacity;
    const std::size_t tenth = info.capacity == 0 ? 0 : std::size_t{info.used} * 10 / info.capacity;
    ++counts.byFill[std::min(tenth, counts.byFill.size() - 1)];
  }
  goes_ = visit_ == nullptr || visit_(info);
}

}  // namespace ps::detail
