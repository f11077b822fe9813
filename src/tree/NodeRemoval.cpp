#include "tree/NodeRemoval.h"

#include "store/base/MemoryGuard.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

namespace {

// Null needs no opening.
bool openForDeletion(const pstHandle<psObj>& object) { return object.isNull() || object.open(pscUpdate) == 1; }

void deleteOpened(pstHandle<psObj>& object) {
  if (!object.isNull()) psDelete(object);
}

}  // namespace

NodeRemoval::Change::Change(const psBTree& node) : entries(NodeAccess::elements(node)) {}

NodeRemoval::Change* NodeRemoval::changeOf(const psBTree& node, const psId& entry) {
  return guardMemory<Change*>(nullptr, [&]() -> Change* {
    Change& change = changes_.emplace_front(node);
    if (!change.entries.isOpen()) return nullptr;
    change.index = change.entries.find(entry);
    return change.index >= 0 ? &change : nullptr;
  });
}

bool NodeRemoval::planDeletion(const pstHandle<psBTree>& node) {
  return guardMemory(false, [&] {
    Doomed& doomed = doomed_.emplace_back();
    doomed.node = node;
    if (!openForDeletion(doomed.node)) return false;
    doomed.elements = NodeAccess::elements(*doomed.node);
    doomed.values = doomed.node->values();
    return openForDeletion(doomed.elements) && openForDeletion(doomed.values) &&
           containers_.secureContainerOf(doomed.node) && containers_.secureContainerOf(doomed.elements) &&
           containers_.secureContainerOf(doomed.values);
  });
}

bool NodeRemoval::planRemoval(pstHandle<psBTree> node, const psId& entry) {
  const NodeEdit gone(*node);
  if (!gone.isOpen()) return false;
  const ElementCount elements = gone.elementsIn(0, gone.count());
  for (;;) {
    if (!planDeletion(node)) return false;
    const pstHandle<psBTree> above = node->parent();
    if (!isReadable(above)) return false;
    const ArrayView siblings(NodeAccess::elements(*above));
    if (!siblings.isOpen()) return false;
    if (siblings.count() == 1 && siblings[0] == entry && !above->parent().isNull()) {
      node = above;  // left empty, it goes as well; its own parent names it by the same leaf
      continue;
    }
    const Change* const change = changeOf(*above, entry);
    if (change == nullptr || !counts_.planFewer(*above, siblings[0].oid(), elements)) return false;
    return change->index > 0 || siblings.count() == 1 ||
           planLow(*above, entry, siblings[1], change->entries.abbreviationAt(1));
  }
}

bool NodeRemoval::planLow(const psBTree& node, const psId& oldLow, const pstRef<psObj>& newLow,
                          const std::optional<Abbreviation>& separator) {
  for (pstHandle<psBTree> above = node.parent(); !above.isNull(); above = above->parent()) {
    if (!isReadable(above)) return false;
    Change* const change = changeOf(*above, oldLow);
    if (change == nullptr) return false;
    change->replacement = newLow;
    if (change->index == 0) continue;
    change->separator = separator;
    break;
  }
  return true;
}

bool NodeRemoval::planSeparator(const psBTree& leaf, const Abbreviation& separator) {
  const psId name = leaf.psOid();
  for (pstHandle<psBTree> above = leaf.parent(); !above.isNull(); above = above->parent()) {
    if (!isReadable(above)) return false;
    const ArrayView entries(NodeAccess::elements(*above));
    if (!entries.isOpen()) return false;
    if (!entries.hasAbbreviations()) return true;
    if (entries[0].oid() == name) continue;
    Change* const change = changeOf(*above, name);
    if (change == nullptr) return false;
    change->replacement = entries[change->index];
    change->separator = separator;
    return true;
  }
  return true;
}

bool NodeRemoval::planUnknownAfter(const psBTree& leaf) {
  psId name = leaf.psOid();
  for (pstHandle<psBTree> above = leaf.parent(); !above.isNull(); above = above->parent()) {
    if (!isReadable(above)) return false;
    const ArrayView entries(NodeAccess::elements(*above));
    const int next = entries.find(name) + 1;
    if (next == 0) return false;
    if (next < entries.count()) {
      if (!entries.abbreviationAt(next).isKnown()) return true;
      Change* const change = changeOf(*above, entries[next].oid());
      if (change == nullptr) return false;
      change->replacement = entries[next];
      change->separator = Abbreviation{};
      return true;
    }
    name = entries[0].oid();
  }
  return true;
}

void NodeRemoval::carryOut() {
  counts_.carryOut();
  for (Change& change : changes_) {
    if (change.replacement) {
      const Abbreviation present = change.entries.abbreviationAt(change.index);
      change.entries.put(change.index, *change.replacement, change.separator.value_or(present));
    } else {
      change.entries.erase(change.index);
    }
  }
  // The handles are open for update already, so these deletions are not asked about; the node's destructor finds
  // nothing left to delete.
  for (Doomed& doomed : doomed_) {
    deleteOpened(doomed.elements);
    deleteOpened(doomed.values);
    deleteOpened(doomed.node);
  }
  containers_.release();
}

bool removeNode(const pstHandle<psBTree>& node, const pstHandle<psBTree>& entry) {
  if (!isReadable(node)) return false;
  const bool isLeaf = !NodeAccess::first(*node).isNull();
  const ArrayView entries(NodeAccess::elements(*node));
  if (!entries.isOpen() || (entries.count() > 0 && !isLeaf)) return false;
  NodeRemoval removal;
  if (!removal.planRemoval(node, entry.oid())) return false;
  removal.carryOut();
  return true;
}

bool deleteEmptyNode(const pstHandle<psBTree>& node) {
  if (!isReadable(node)) return false;
  const ArrayView entries(NodeAccess::elements(*node));
  if (!entries.isOpen() || entries.count() > 0) return false;
  NodeRemoval removal;
  if (!removal.planDeletion(node)) return false;
  removal.carryOut();
  return true;
}

bool repairLow(const psBTree& node, const pstHandle<psBTree>& oldLow) {
  NodeRemoval removal;
  {
    const ArrayView entries(NodeAccess::elements(node));
    if (!entries.isOpen()) return false;
    const bool planned = entries.count() == 0 ? removal.planRemoval(handleTo(node), oldLow.oid())
                                              : removal.planLow(node, oldLow.oid(), entries[0]);
    if (!planned) return false;
  }
  removal.carryOut();
  return true;
}

}  // namespace ps::detail
