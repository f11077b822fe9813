#pragma once

#include "core/KeyProbe.h"
#include "tree/psBTree.h"

// Where a key is, or would go: every keyed operation starts by locating its key, and inserts, removes, reads or moves
// an iterator there.
namespace ps::detail {

// Any change of the tree makes a position stale.
struct TreePosition {
  pstHandle<psBTree> leaf;  // open for reading
  int index = 0;            // of the first element in the leaf that is not less than the key
  pstRef<psObj> element;    // what is stored there, when it matches
  bool matched = false;
  bool isFull = false;  // no room for another element in the leaf
  bool failed = false;  // something could not be read or compared; the rest means nothing
};

// Looks for the key below the node, by the order of its elements. The probe must have been made for this operation.
TreePosition locate(const psBTree& node, KeyProbe& probe);

// The leaf in which the key is or would be, open for reading; null when the search failed.
pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe& probe);

// The comparator of the collection that the node belongs to.
ComparatorChoice comparatorOf(const psBTree& node);

// Puts the element where locate found that it belongs, which must have room; in a map with its value. False, with
// nothing changed, when something could not be opened.
bool insertElement(const TreePosition& position, const pstRef<psObj>& element,
                   const pstRef<psObj>& value = pstRef<psObj>());

// Locates the key and puts the element there, splitting nodes until there is room. False when a matching element is
// there already, or on failure; then no element has been added, though nodes may have been split.
bool addElement(psBTree& tree, KeyProbe& probe, const pstRef<psObj>& element,
                const pstRef<psObj>& value = pstRef<psObj>());

// Takes the element at index out of the leaf, in a map with its value, and the leaf out of the tree when that leaves it
// empty. False, with nothing changed, when there is no such element or something could not be opened.
bool removeElement(const pstHandle<psBTree>& leaf, int index);

}  // namespace ps::detail
