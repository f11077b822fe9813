#pragma once

#include <deque>
#include <optional>

#include "arrays/ArrayEdit.h"
#include "core/Containers.h"
#include "tree/psBTree.h"

namespace ps::detail {

// Takes a node out of its tree and deletes it. entry is the leaf that names the node in its parent. Ancestors that are
// left empty go as well; the first that is not gets its names repaired, and so do those above it, as far as the leaf
// that is gone was their leftmost. False, with nothing changed, when something could not be opened, or when node is the
// root or an interior node that still has children.
//
// A leaf may still hold elements: they leave the tree with it. The object whose member function is running may be the
// one deleted.
bool removeNode(const pstHandle<psBTree>& node, const pstHandle<psBTree>& entry);

// Deletes a node that stands in no parent, if it is empty, and gives back its containers. False, with nothing changed,
// when it is not or something could not be opened.
bool deleteEmptyNode(const pstHandle<psBTree>& node);

// Lets the ancestors of node name its present first entry where they named oldLow; takes the node out when it is empty.
// False, with nothing changed, when something could not be opened.
bool repairLow(const psBTree& node, const pstHandle<psBTree>& oldLow);

// The removal of nodes: everything that can be refused is done by plan..., after which carryOut cannot fail.
class NodeRemoval {
 public:
  bool planRemoval(pstHandle<psBTree> node, const psId& entry);
  bool planDeletion(const pstHandle<psBTree>& node);
  bool planLow(const psBTree& node, const psId& oldLow, const pstRef<psObj>& newLow);
  void carryOut();

 private:
  struct Doomed {
    pstHandle<psBTree> node;
    pstHandle<psUnsortedArray> elements;
    pstHandle<psUnsortedArray> values;
  };

  // An entry that goes, or is replaced.
  struct Change {
    explicit Change(const psBTree& node);
    ArrayEdit entries;
    int index = -1;
    std::optional<pstRef<psObj>> replacement;
  };

  // The change of the entry in the node's array; null when it is not there or the array cannot be opened.
  Change* changeOf(const psBTree& node, const psId& entry);

  std::deque<Change> changes_;
  std::deque<Doomed> doomed_;
  ContainerRelease containers_;
};

}  // namespace ps::detail
