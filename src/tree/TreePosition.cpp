#include "tree/TreePosition.h"

#include "arrays/ArraySearch.h"
#include "tree/NodeEdit.h"
#include "tree/NodeLinks.h"
#include "tree/NodeRemoval.h"

namespace ps::detail {

namespace {

// Reads the lowest element of the child that an entry, its leftmost leaf, stands for.
struct SeparatorReader {
  static constexpr bool equalIsBehind = false;  // a key equal to a child's lowest element belongs in that child
  bool operator()(const pstRef<psObj>& entry, pstRef<psObj>& value) const {
    const pstHandle<psBTree> leaf(entry);
    if (!isReadable(leaf)) return false;
    value = NodeAccess::first(*leaf);
    return true;
  }
};

}  // namespace

SearchResult searchNodes(const ArrayView& nodes, KeyProbe& probe, SearchEnds ends) {
  return searchArray<SeparatorReader>(nodes, probe, ends);
}

ComparatorChoice comparatorOf(const psBTree& node) {
  const RefusalWatch watch;
  const pstHandle<psBTree> root = rootOf(node);
  if (root.isNull()) return {pstRef<psCompare>(), true};
  const pstRef<psCompare> comparator = root->comparator();
  return {comparator, watch.refused()};
}

pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe& probe) {
  pstHandle<psBTree> at = handleTo(node);
  while (isReadable(at)) {
    if (!NodeAccess::first(*at).isNull()) return at;
    const ArrayView entries(NodeAccess::elements(*at));
    if (!entries.isOpen()) break;
    if (entries.count() == 0) return at;  // an empty root
    const SearchResult found = searchNodes(entries, probe);
    if (found.failed) break;
    // The last child whose lowest element is not greater; the first when the key is less than everything.
    at = childAt(entries[found.position > 0 ? found.position - 1 : 0], *at);
  }
  return pstHandle<psBTree>();
}

TreePosition locate(const psBTree& node, KeyProbe& probe) {
  TreePosition at;
  at.failed = true;
  at.leaf = leafFor(node, probe);
  if (at.leaf.isNull()) return at;
  const ArrayView elements(NodeAccess::elements(*at.leaf));
  const SearchResult found = searchElements(elements, probe);
  if (found.failed) return at;
  at.failed = false;
  at.index = found.position;
  at.matched = found.matched;
  at.isFull = elements.isFull();
  if (at.matched) at.element = elements[at.index];
  return at;
}

bool insertElement(const TreePosition& position, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  NodeEdit entries(*position.leaf);
  if (!entries.isOpen()) return false;
  // The last thing that can be refused, and the first that is written.
  if (position.index == 0 && position.leaf->first(pstHandle<psObj>(element)) != 1) return false;
  entries.insert(position.index, element, value);
  return true;
}

bool addElement(psBTree& tree, KeyProbe& probe, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  if (element.isNull()) return false;
  for (;;) {
    const TreePosition at = locate(tree, probe);
    if (at.failed || at.matched) return false;
    if (!at.isFull) return insertElement(at, element, value);
    if (at.leaf->full(0) != 1) return false;
  }
}

bool removeElement(const pstHandle<psBTree>& leaf, int index) {
  if (!isReadable(leaf)) return false;
  const int count = ArrayView(NodeAccess::elements(*leaf)).count();
  if (index < 0 || index >= count) return false;
  if (count == 1 && !leaf->parent().isNull()) return removeNode(leaf, leaf);

  NodeEdit entries(*leaf);
  if (!entries.isOpen()) return false;
  const pstRef<psObj> lowest = count > 1 ? entries[1] : pstRef<psObj>();
  // The last thing that can be refused, and the first that is written.
  if (index == 0 && leaf->first(pstHandle<psObj>(lowest)) != 1) return false;
  entries.erase(index);
  return true;
}

}  // namespace ps::detail
