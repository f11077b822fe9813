#pragma once

#include "core/KeyProbe.h"
#include "tree/TreePath.h"
#include "tree/psBTree.h"

// Where a key is or would go. Every keyed operation starts by locating its key; ElementChange.h changes what is there.
namespace ps::detail {

// Any change of the tree makes a position stale.
struct TreePosition {
  pstHandle<psBTree> leaf;    // open for reading
  int index = 0;              // of the first element in the leaf that is not less than the key
  TreePath path;              // down to the leaf; empty when none was needed
  pstRef<psObj> element;      // what is stored there, when it matches
  Abbreviation abbreviation;  // of the key; only where locateRoom has found room for it
  bool matched = false;
  bool isLast = false;              // there is no element at index or after it in the leaf
  bool isFull = false;              // no room for another element in the leaf
  bool keepsAbbreviations = false;  // the leaf's array does, or would if it were given one
  bool isByAbbreviations = false;   // so the nodes keep no abbreviation that a change there could make wrong
  bool failed = false;              // something could not be read or compared; the rest means nothing
};

// Looks for the key below the node, by the order of its elements. The probe must have been made for this operation.
TreePosition locate(const psBTree& node, KeyProbe& probe);

// The same for a look-up, where the collection also decides what is equal; see psCollection::equal.
TreePosition locateMatch(const psBTree& node, KeyProbe& probe);

// The leaf in which the key is or would be, open for reading; null when the search failed.
pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe& probe);
inline pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe&& probe) { return leafFor(node, probe); }

// What is stored for the key: the element that matches, or in a map its value. Null when there is none, and on failure.
pstRef<psObj> storedFor(const psBTree& node, KeyProbe&& probe);

// The comparator of the collection that the node belongs to.
ComparatorChoice comparatorOf(const psBTree& node);

}  // namespace ps::detail
