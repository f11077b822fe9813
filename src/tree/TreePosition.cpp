#include "tree/TreePosition.h"

#include "arrays/NodeSearch.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

namespace {

// How much of a leaf is prefetched before its size is known: an array of 280 elements.
constexpr std::size_t bytesAhead = 2304;

// Beside an array of nodes the searches note the lowest elements of the nodes and, in the second half, the arrays of
// those that are leaves.
constexpr int notesPerNode = 2;

// Reads the lowest element of the child that an entry, its leftmost leaf, stands for. What was read is noted beside the
// array of entries: a search in a node that is searched often reads a row of references and no leaf.
class SeparatorReader {
 public:
  static constexpr bool equalIsBehind = false;  // a key equal to a child's lowest element belongs in that child

  explicit SeparatorReader(const ArrayView& nodes) : nodes_(nodes), notes_(nodes.notes(notesPerNode)) {}

  std::uint64_t* abbreviations(std::uint64_t tag) const { return nodes_.abbreviations(tag); }
  // The abbreviation of the lowest element separates. It goes on to do so when that element is removed.
  bool mayNote() const { return mayNoteInRow(&nodes_[0]); }

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

// What an array of nodes tells of the chosen one before that is read.
struct Foreseen {
  ExpectedPart part = notExpected;
  bool isPrefetched = false;
};

// The way down to a leaf.
struct Descent {
  pstHandle<psBTree> leaf;  // null when the search failed
  TreePath path;
  Foreseen foreseen;  // of the leaf
  bool isByAbbreviations = true;
};

// Where between two separators the key is.
ExpectedPart partBetween(std::uint64_t low, std::uint64_t high, std::uint64_t key) {
  if (low == 0 || low >= high || key < low || key > high) return notExpected;
  return static_cast<ExpectedPart>(key - low) / static_cast<ExpectedPart>(high - low);
}

ExpectedPart partOf(const ArrayView& entries, int chosen, KeyProbe& probe) {
  if (chosen == 0 || chosen + 1 >= entries.count()) return notExpected;
  if (!entries.hasAbbreviations() || !probe.abbreviation().isKnown()) return notExpected;
  const std::uint64_t* const row = entries.abbreviations(probe.abbreviation().tag);
  return row == nullptr ? notExpected : partBetween(row[chosen], row[chosen + 1], probe.abbreviation().value);
}

// Prefetches what a search in a leaf's array is expected to read. The array need not have been read before.
void prefetchElements(const psId& array, std::size_t capacity, bool hasAbbreviations, ExpectedPart part) {
  constexpr std::size_t element = sizeof(psId);
  // How full nodes are on the average; about the expected place these lines are needed.
  constexpr double usualFill = 0.69;
  constexpr std::size_t elementsBefore = 24;
  constexpr std::size_t linesAbout = 7;
  const std::size_t row = hasAbbreviations ? (capacity + 1) * element : 0;
  if (part < 0) {
    prefetchWithStorage(array, row, bytesAhead);
    return;
  }
  const auto place = static_cast<std::size_t>(part * usualFill * static_cast<double>(capacity));
  const std::size_t begin = (place > elementsBefore ? place - elementsBefore : 0) * element;
  prefetchWithStorage(array, row + begin, linesAbout * cacheLine);
  if (!hasAbbreviations) return;
  prefetchStorage(array, row - element, element);
  prefetchStorage(array, begin + cacheLine, (linesAbout - 2) * cacheLine);
}

Foreseen foresee(const ArrayView& entries, int chosen, KeyProbe& probe) {
  const psId* const notes = entries.notes(notesPerNode);
  const psId array = notes != nullptr ? notes[entries.count() + chosen] : psId();
  if (array.isNull()) return {};
  prefetchObject(entries[chosen].oid());
  const ExpectedPart part = partOf(entries, chosen, probe);
  const bool byAbbreviation = entries.hasAbbreviations() && probe.abbreviation().isKnown();
  prefetchElements(array, static_cast<std::size_t>(entries.capacity()), byAbbreviation, part);
  return {part, true};
}

void noteArrayOf(const psBTree& child, const ArrayView& entries, int chosen) {
  psId* const notes = entries.notes(notesPerNode);
  if (notes != nullptr && !NodeAccess::first(child).isNull())
    notes[entries.count() + chosen] = NodeAccess::elements(child).oid();
}

Descent descend(const psBTree& node, KeyProbe& probe) {
  Descent descent;
  // A search by identifier may read all of the leaf's array. Asked for that early, it would delay the leaf. And where
  // in it the key is cannot be told: identifiers in a page are close together, and pages are far from each other.
  const bool foresees = probe.identifier() == nullptr;
  pstHandle<psBTree> at = handleTo(node);
  while (isReadable(at)) {
    if (!NodeAccess::first(*at).isNull()) {
      descent.leaf = at;
      break;
    }
    const ArrayView entries(NodeAccess::elements(*at));
    if (!entries.isOpen()) break;
    if (entries.count() == 0) {  // an empty root
      descent.leaf = at;
      break;
    }
    const SearchResult found = searchNodes(entries, probe, SearchEnds::notAsked);
    if (found.failed) break;
    descent.isByAbbreviations = descent.isByAbbreviations && found.usedAbbreviations;
    // The last child whose lowest element is not greater; the first when the key is less than everything.
    const int chosen = found.position > 0 ? found.position - 1 : 0;
    descent.path.add(chosen);
    if (foresees) descent.foreseen = foresee(entries, chosen, probe);
    at = childAt(entries, chosen, *at);
    if (foresees && !descent.foreseen.isPrefetched && isReadable(at)) noteArrayOf(*at, entries, chosen);
  }
  return descent;
}

}  // namespace

ComparatorChoice comparatorOf(const psBTree& node) {
  const RefusalWatch watch;
  const pstHandle<psBTree> root = rootOf(node);
  if (root.isNull()) return {pstRef<psCompare>(), true};
  const pstRef<psCompare> comparator = root->comparator();
  return {comparator, watch.refused()};
}

pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe& probe) { return descend(node, probe).leaf; }

TreePosition locate(const psBTree& node, KeyProbe& probe) {
  const Descent descent = descend(node, probe);
  TreePosition at;
  at.failed = true;
  at.leaf = descent.leaf;
  at.path = descent.path;
  if (at.leaf.isNull()) return at;
  if (!descent.foreseen.isPrefetched) prefetchWithStorage(NodeAccess::elements(*at.leaf).oid(), 0, bytesAhead);
  const ArrayView elements(NodeAccess::elements(*at.leaf));
  const SearchResult found = searchElements(elements, probe, SearchEnds::notAsked, descent.foreseen.part);
  if (found.failed) return at;
  at.failed = false;
  at.index = found.position;
  at.matched = found.matched;
  at.isLast = at.index == elements.count();
  at.isFull = elements.isFull();
  at.keepsAbbreviations = elements.keepsAbbreviations();
  at.isByAbbreviations = descent.isByAbbreviations;
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
