#include "tree/ElementCounts.h"

#include "store/session/SeveralWriters.h"

namespace ps::detail {

namespace {

// The number of elements below an entry of a node.
std::optional<int> elementsAt(const psBTree& node, const ArrayView& entries, int i) {
  const std::uint32_t* const counts = entries.counts();
  if (counts != nullptr && counts[i] != 0) return static_cast<int>(counts[i]);
  announceFrom(entries, i);
  const pstHandle<psBTree> child = childAt(entries, i, node);
  const std::optional<int> n = child.isNull() ? std::nullopt : elementsBelow(*child);
  // In an update it would be stored: see keepsCounts.
  if (n && !(hasSeveralWriters() && isResidentForUpdate(entries.array().oid()))) entries.noteElementsBelow(i, *n);
  return n;
}

// The number of elements below the first entries of a node.
std::optional<int> elementsBefore(const psBTree& node, const ArrayView& entries, int end) {
  int sum = 0;
  for (int i = 0; i < end; ++i) {
    const std::optional<int> n = elementsAt(node, entries, i);
    if (!n) return std::nullopt;
    sum += *n;
  }
  return sum;
}

// Skips entries behind which the position is, as far as their numbers are known. Returns the first that is not skipped,
// at most last, and adds what was skipped to before.
int skipKnown(const std::uint32_t* counts, int last, int position, int& before) {
  int i = 0;
  if (counts == nullptr) return i;
  while (i < last && counts[i] != 0 && before + static_cast<int>(counts[i]) <= position) {
    before += static_cast<int>(counts[i++]);
  }
  return i;
}

bool isLeaf(const psBTree& node) { return !NodeAccess::first(node).isNull(); }

}  // namespace

std::optional<int> elementsBelow(const psBTree& node) {
  if (isLeaf(node)) {
    // Its storage is not needed.
    const pstHandle<psUnsortedArray> elements(NodeAccess::elements(node));
    return isReadable(elements) ? std::optional<int>(elements->usedSize()) : std::nullopt;
  }
  const ArrayView entries(NodeAccess::elements(node));
  return entries.isOpen() ? elementsBefore(node, entries, entries.count()) : std::nullopt;
}

std::optional<int> elementsBefore(const psBTree& node) {
  const NodeAnswer low = leftmostLeaf(node);
  if (low.failed) return std::nullopt;
  int sum = 0;
  psId entry = low.node.oid();
  for (pstHandle<psBTree> above = node.parent(); !above.isNull(); above = above->parent()) {
    if (!isReadable(above)) return std::nullopt;
    const ArrayView siblings(NodeAccess::elements(*above));
    const int i = siblings.findNode(entry);
    const std::optional<int> before = i < 0 ? std::nullopt : elementsBefore(*above, siblings, i);
    if (!before) return std::nullopt;
    sum += *before;
    entry = siblings[0].oid();
  }
  return sum;
}

LeafAt leafAt(const psBTree& root, int position) {
  LeafAt at;
  pstHandle<psBTree> node = handleTo(root);
  while (isReadable(node)) {
    const ArrayView entries(isLeaf(*node) ? pstRef<psUnsortedArray>() : NodeAccess::elements(*node));
    if (!isLeaf(*node) && !entries.isOpen()) break;
    if (entries.count() == 0) {
      at.leaf = node;
      break;
    }
    const int last = entries.count() - 1;
    int i = skipKnown(entries.counts(), last, position, at.before);
    for (; i < last; ++i) {
      const std::optional<int> n = elementsAt(*node, entries, i);
      if (!n) return {};
      if (position < at.before + *n) break;
      at.before += *n;
    }
    node = childAt(entries, i, *node);
  }
  return at;
}

}  // namespace ps::detail
