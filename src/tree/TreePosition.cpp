#include "tree/TreePosition.h"

#include "arrays/NodeSearch.h"
#include "tree/NodeLinks.h"
#include "tree/TreeShape.h"

namespace ps::detail {

namespace {

// What is asked for of a leaf before it is known how much it holds: an array of 280 elements.
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

namespace {

// Elements that come in ascending order all go behind the last one. So it is noted beside the root, for as long as that
// stays in memory, in which leaf the last element that came into the tree went behind all others; and when that leaf
// was seen to be the last of the tree, the shape in which it was.
constexpr int notesOfAscent = 2;

void noteAscent(const psBTree& tree, const TreePosition& at, const psId& shapeWhereLast) {
  psId* const notes = notesBeside(&tree, notesOfAscent);
  if (notes == nullptr) return;
  notes[0] = at.isLast ? at.leaf.oid() : psId();
  notes[1] = shapeWhereLast;
}

// The last leaf, when the next element is expected to go behind all others; else null.
pstHandle<psBTree> lastLeafForAscent(const psBTree& tree) {
  const psId* const notes = notesBeside(&tree, notesOfAscent);
  if (notes == nullptr || notes[0].isNull()) return pstHandle<psBTree>();
  const pstHandle<psBTree> noted(notes[0]);
  return notes[1] == currentShape() && isReadable(noted) ? noted : rightmostLeaf(tree).node;
}

// The position behind the last element, if one is expected to go there and the key is greater than that; else a failed
// one. What cannot be read there need not concern the key, so it does not fail the probe.
TreePosition locateBehindLast(const psBTree& tree, KeyProbe& probe) {
  TreePosition at;
  at.failed = true;
  if (probe.failed()) return at;
  at.leaf = lastLeafForAscent(tree);
  const ArrayView elements(at.leaf.isNull() ? pstRef<psUnsortedArray>() : NodeAccess::elements(*at.leaf));
  const bool isBehind = elements.count() > 0 && compareStored(elements.last(), probe) < 0;
  if (probe.failed() || !isBehind) {
    probe.disregardRefusals();
    return at;
  }
  at.failed = false;
  at.index = elements.count();
  at.isLast = true;
  at.isFull = elements.isFull();
  return at;
}

}  // namespace

std::optional<TreePosition> locateRoom(psBTree& tree, KeyProbe& probe) {
  for (;;) {
    // Before anything is compared: a comparator is the application's, and may do what it likes.
    const psId shape = currentShape();
    TreePosition at = locateBehindLast(tree, probe);
    const bool isBehindLast = !at.failed;
    if (!isBehindLast) at = locate(tree, probe);
    if (at.failed) return std::nullopt;
    noteAscent(tree, at, isBehindLast ? shape : psId());
    if (at.matched || !at.isFull) return at;
    if (at.leaf->full(0) != 1) return std::nullopt;
  }
}

bool insertElement(const TreePosition& position, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  if (position.matched) return false;
  NodeEdit entries(*position.leaf);
  if (!entries.isOpen() || (position.index == 0 && !entries.openMark())) return false;
  entries.insert(position.index, element, value);
  entries.renewMark();
  return true;
}

bool addElement(psBTree& tree, KeyProbe&& probe, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  if (element.isNull()) return false;
  const std::optional<TreePosition> at = locateRoom(tree, probe);
  return at && insertElement(*at, element, value);
}

bool ElementRemoval::plan(const pstHandle<psBTree>& leaf, int index) {
  if (!isReadable(leaf)) return false;
  entries_.emplace(*leaf);
  index_ = index;
  if (!entries_->isOpen() || index < 0 || index >= entries_->count()) return false;
  if (entries_->count() == 1 && !leaf->parent().isNull()) return leaf_.emplace().planRemoval(leaf, leaf.oid());
  return index > 0 || entries_->openMark();
}

void ElementRemoval::carryOut() {
  if (leaf_) {
    leaf_->carryOut();
  } else {
    entries_->erase(index_);
    entries_->renewMark();
  }
}

bool removeElement(const pstHandle<psBTree>& leaf, int index) {
  ElementRemoval removal;
  if (!removal.plan(leaf, index)) return false;
  removal.carryOut();
  return true;
}

bool removeMatch(const psBTree& node, KeyProbe&& probe) {
  const TreePosition at = locateMatch(node, probe);
  return !at.failed && at.matched && removeElement(at.leaf, at.index);
}

namespace {

bool replaceWithin(const pstHandle<psBTree>& leaf, int index, int place, const pstRef<psObj>& element) {
  NodeEdit entries(*leaf);
  if (!entries.isOpen() || !entries.openMark()) return false;
  const pstRef<psObj> value = entries.valueAt(index);
  entries.erase(index);
  entries.insert(place > index ? place - 1 : place, element, value);
  entries.renewMark();
  return true;
}

}  // namespace

bool replaceElement(const pstHandle<psBTree>& leaf, int index, const TreePosition& position,
                    const pstRef<psObj>& element) {
  if (position.matched) return false;
  if (leaf == position.leaf) return replaceWithin(leaf, index, position.index, element);
  ElementRemoval removal;
  if (!removal.plan(leaf, index) || !insertElement(position, element, removal.value())) return false;
  removal.carryOut();
  return true;
}

}  // namespace ps::detail
