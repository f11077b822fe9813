#pragma once

#include <optional>

#include "core/KeyProbe.h"
#include "tree/NodeEdit.h"
#include "tree/NodeRemoval.h"

// Where a key is, or would go: every keyed operation starts by locating its key, and inserts, removes, reads or moves
// an iterator there.
namespace ps::detail {

// Any change of the tree makes a position stale.
struct TreePosition {
  pstHandle<psBTree> leaf;  // open for reading
  int index = 0;            // of the first element in the leaf that is not less than the key
  pstRef<psObj> element;    // what is stored there, when it matches
  bool matched = false;
  bool isLast = false;  // there is no element at index, or behind it in the leaf
  bool isFull = false;  // no room for another element in the leaf
  bool failed = false;  // something could not be read or compared; the rest means nothing
};

// Looks for the key below the node, by the order of its elements. The probe must have been made for this operation.
TreePosition locate(const psBTree& node, KeyProbe& probe);

// The same for a look-up, which matches what the collection, too, calls equal; see psCollection::equal.
TreePosition locateMatch(const psBTree& node, KeyProbe& probe);

// The leaf in which the key is or would be, open for reading; null when the search failed.
pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe& probe);
inline pstHandle<psBTree> leafFor(const psBTree& node, KeyProbe&& probe) { return leafFor(node, probe); }

// What is stored for the key: the element that matches, or in a map its value. Null when there is none, or on failure.
pstRef<psObj> storedFor(const psBTree& node, KeyProbe&& probe);

// The comparator of the collection that the node belongs to.
ComparatorChoice comparatorOf(const psBTree& node);

// Locates a key, and unless it is there splits nodes until its leaf has room for it. Nothing on failure.
std::optional<TreePosition> locateRoom(psBTree& tree, KeyProbe& probe);

// Puts the element where locateRoom found that it belongs, in a map with its value. False, with nothing
// changed, when a matching element is there already or something could not be opened.
bool insertElement(const TreePosition& position, const pstRef<psObj>& element,
                   const pstRef<psObj>& value = pstRef<psObj>());

// The same, after locating the key. When it gives false no element has been added, though nodes may have been split.
bool addElement(psBTree& tree, KeyProbe&& probe, const pstRef<psObj>& element,
                const pstRef<psObj>& value = pstRef<psObj>());

// Takes the element at index out of the leaf, in a map with its value, and the leaf out of the tree when that leaves it
// empty. False, with nothing changed, when there is no such element or something could not be opened.
bool removeElement(const pstHandle<psBTree>& leaf, int index);

// The same for the element that matches the key.
bool removeMatch(const psBTree& node, KeyProbe&& probe);

// The removal of one element in two steps: what can be refused is done by plan, after which carryOut cannot fail.
class ElementRemoval {
 public:
  bool plan(const pstHandle<psBTree>& leaf, int index);
  // The value that leaves with the element; null where there are no values.
  pstRef<psObj> value() const { return entries_->valueAt(index_); }
  void carryOut();

 private:
  std::optional<NodeEdit> entries_;
  std::optional<NodeRemoval> leaf_;  // when the leaf goes with its last element
  int index_ = 0;
};

// Takes the element at index out of the leaf, and puts another, with the same value, where locateRoom found that it
// belongs. False, with nothing changed, when a matching element is there already or something could not be opened.
bool replaceElement(const pstHandle<psBTree>& leaf, int index, const TreePosition& position,
                    const pstRef<psObj>& element);

}  // namespace ps::detail
