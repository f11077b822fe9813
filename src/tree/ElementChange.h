#pragma once

#include <optional>

#include "tree/CountChange.h"
#include "tree/NodeEdit.h"
#include "tree/NodeRemoval.h"
#include "tree/TreePosition.h"

// The changes of one element at a known place. Everything that can be refused comes before the first write.
namespace ps::detail {

// Inserts the element where locateRoom found that it belongs, in a map with its value. False, with nothing changed,
// when a matching element is there or something could not be opened.
bool insertElement(const TreePosition& position, const pstRef<psObj>& element,
                   const pstRef<psObj>& value = pstRef<psObj>());

// The same, after locating the key. When it returns false, no element has been added, but nodes may have been split.
bool addElement(psBTree& tree, KeyProbe&& probe, const pstRef<psObj>& element,
                const pstRef<psObj>& value = pstRef<psObj>());

// Removes the element at index from the leaf, in a map with its value. Removes the leaf from the tree when it is then
// empty. False, with nothing changed, when there is no such element or something could not be opened. path is the way
// to the leaf, if it was just searched.
bool removeElement(const pstHandle<psBTree>& leaf, int index, const TreePath& path = {});

// The same for the element that matches the key.
bool removeMatch(const psBTree& node, KeyProbe&& probe);

// Removes the last leaf of the tree with its elements; a root that is a leaf only loses these. False, with nothing
// changed, when the tree is empty or something could not be opened.
bool removeLastLeaf(psBTree& root);

// The removal of one element in two steps. plan does everything that can be refused; after it carryOut cannot fail.
class ElementRemoval {
 public:
  bool plan(const pstHandle<psBTree>& leaf, int index, const TreePath& path = {});
  // The value that is removed with the element; null where there are no values.
  pstRef<psObj> value() const { return entries_->valueAt(index_); }
  void carryOut();

 private:
  std::optional<NodeEdit> entries_;
  CountChange counts_;
  std::optional<NodeRemoval> leaf_;  // when the leaf goes with its last element
  int index_ = 0;
};

// Removes the element at index from the leaf, and inserts another with the same value where locateRoom found that it
// belongs. False, with nothing changed, when a matching element is there or something could not be opened.
bool replaceElement(const pstHandle<psBTree>& leaf, int index, const TreePosition& position,
                    const pstRef<psObj>& element);

}  // namespace ps::detail
