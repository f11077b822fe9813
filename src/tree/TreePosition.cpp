#include "tree/TreePosition.h"

#include "arrays/NodeSearch.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

namespace {

// How much of a leaf is prefetched before its size is known: an array of 280 elements.
constexpr std::size_t bytesAhead = 2304;

// Reads the lowest element of the child that an entry, its leftmost leaf, stands for. What was read is noted beside the
// array of entries: a search in a node that is searched often reads a row of references and no leaf.
class SeparatorReader {
 public:
  static constexpr bool equalIsBehind = false;  // a key equal to a child's lowest element belongs in that child

  explicit SeparatorReader(const ArrayView& nodes) : nodes_(nodes), notes_(nodes.notes()) {}

  bool operator()(int i, pstRef<psObj>& value) const {
    value = noted(i);
    if (PS_LIKELY(!value.isNull())) return true;
    const pstHandle<psBTree> leaf(nodes_[i]);
    if (!isReadable(leaf)) return false;
    value = NodeAccess::first(*leaf);
    if (notes_ != nullptr) notes_[i] = value.oid();
    return true;
  }

  PS_ALWAYS_INLINE void prefetch(int i) const { prefetchObject(noted(i)); }

 private:
  psId noted(int i) const { return PS_LIKELY(notes_ != nullptr) ? notes_[i] : psId(); }

  const ArrayView& nodes_;
  psId* notes_;
};

SearchResult searchNodes(const ArrayView& nodes, KeyProbe& probe, SearchEnds ends) {
  return searchArray<SeparatorReader>(nodes, probe, ends);
}

const NodeSearch announced(&searchNodes);

}  // namespace

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
    const SearchResult found = searchNodes(entries, probe, SearchEnds::notAsked);
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
  prefetchWithStorage(NodeAccess::elements(*at.leaf).oid(), 0, bytesAhead);
  const ArrayView elements(NodeAccess::elements(*at.leaf));
  const SearchResult found = searchElements(elements, probe);
  if (found.failed) return at;
  at.failed = false;
  at.index = found.position;
  at.matched = found.matched;
  at.isLast = at.index == elements.count();
  at.isFull = elements.isFull();
  if (at.matched) at.element = elements[at.index];
  return at;
}

TreePosition locateMatch(const psBTree& node, KeyProbe& probe) {
  TreePosition at = locate(node, probe);
  if (at.failed || !at.matched) return at;
  at.matched = probe.confirms(at.element);
  at.failed = probe.failed();
  return at;
}

pstRef<psObj> storedFor(const psBTree& node, KeyProbe&& probe) {
  const TreePosition at = locateMatch(node, probe);
  if (at.failed || !at.matched) return pstRef<psObj>();
  const pstRef<psUnsortedArray> values = at.leaf->values();
  if (values.isNull()) return at.element;
  const ArrayView entries(values);
  return at.index < entries.count() ? entries[at.index] : pstRef<psObj>();
}

}  // namespace ps::detail
