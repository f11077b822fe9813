#include "tree/InsertionSearch.h"

#include "arrays/ArraySearch.h"
#include "tree/NodeLinks.h"
#include "tree/TreeShape.h"

namespace ps::detail {

namespace {

// Elements that come in ascending order all go after the last one. So two things are noted beside the root for as long
// as it stays in memory: the leaf in which the newest element went after all others, and the tree's shape when that
// leaf was seen to be the last one.
constexpr int notesOfAscent = 2;

void noteAscent(const psBTree& tree, const TreePosition& at, const psId& shapeWhereLast) {
  psId* const notes = notesBeside(&tree, notesOfAscent);
  if (notes == nullptr) return;
  notes[0] = at.isLast ? at.leaf.oid() : psId();
  notes[1] = shapeWhereLast;
}

// The last leaf, when the next element is expected to go after all others; else null.
pstHandle<psBTree> lastLeafForAscent(const psBTree& tree) {
  const psId* const notes = notesBeside(&tree, notesOfAscent);
  if (notes == nullptr || notes[0].isNull()) return pstHandle<psBTree>();
  const pstHandle<psBTree> noted(notes[0]);
  return notes[1] == currentShape() && isReadable(noted) ? noted : rightmostLeaf(tree).node;
}

// The position after the last element, if one is expected to go there and the key is greater than that; else a failed
// one. What cannot be read there need not concern the key, so it does not fail the probe.
TreePosition locateBehindLast(const psBTree& tree, KeyProbe& probe) {
  TreePosition at;
  at.failed = true;
  if (probe.failed()) return at;
  at.leaf = lastLeafForAscent(tree);
  const ArrayView elements(at.leaf.isNull() ? pstRef<psUnsortedArray>() : NodeAccess::elements(*at.leaf));
  const int last = elements.count() - 1;
  const bool isBehind = last >= 0 && isLess(elements[last], elements.abbreviationAt(last), probe);
  if (probe.failed() || !isBehind) {
    probe.disregardRefusals();
    return at;
  }
  at.failed = false;
  at.index = elements.count();
  at.isLast = true;
  at.isFull = elements.isFull();
  at.keepsAbbreviations = elements.keepsAbbreviations();
  at.isByAbbreviations = true;  // there is no node behind
  return at;
}

// Adds what is inserted with an element besides its value. False when that failed.
bool abbreviate(TreePosition& at, KeyProbe& probe) {
  if (at.keepsAbbreviations) at.abbreviation = probe.abbreviation();
  return !probe.failed();
}

}  // namespace

bool expectsAscent(const psBTree& tree) {
  const psId* const notes = notesBeside(&tree, notesOfAscent);
  return notes != nullptr && !notes[0].isNull();
}

bool isLess(const pstRef<psObj>& stored, const Abbreviation& abbreviation, KeyProbe& probe) {
  const bool isGuarded = currentSession->readStamp == SessionHead::noStamp;  // every open is to be seen
  if (abbreviation.isKnown() && !isGuarded) {
    const Abbreviation& key = probe.abbreviation();
    const bool decides = key.isKnown() && key.tag == abbreviation.tag && key.value != abbreviation.value;
    if (decides) return abbreviation.value < key.value;
  }
  return compareStored(stored, probe) < 0;
}

std::optional<TreePosition> locateRoom(psBTree& tree, KeyProbe& probe) {
  for (;;) {
    // Before anything is compared: a comparator is the application's, and may do what it likes.
    const psId shape = currentShape();
    TreePosition at = locateBehindLast(tree, probe);
    const bool isBehindLast = !at.failed;
    if (!isBehindLast) at = locate(tree, probe);
    if (at.failed) return std::nullopt;
    noteAscent(tree, at, isBehindLast ? shape : psId());
    if (at.matched) return at;
    if (!at.isFull) return abbreviate(at, probe) ? std::optional<TreePosition>(at) : std::nullopt;
    if (at.leaf->full(0) != 1) return std::nullopt;
  }
}

}  // namespace ps::detail
