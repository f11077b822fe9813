#pragma once

#include <forward_list>
#include <optional>
#include <vector>

#include "arrays/ArrayEdit.h"
#include "core/Containers.h"
#include "tree/CountChange.h"
#include "tree/psBTree.h"

namespace ps::detail {

// Removes a node from its tree and deletes it. entry is the leaf that names the node in its parent. Ancestors that
// would be empty are removed too. The first ancestor that stays, and those above it, get new entries as far as the
// removed leaf was their leftmost. False, with nothing changed, when something could not be opened, or when node is the
// root or an interior node that still has children.
//
// A leaf may still hold elements: they leave the tree with it. The deleted object may be the one whose member function
// is running.
bool removeNode(const pstHandle<psBTree>& node, const pstHandle<psBTree>& entry);

// Deletes an empty node that no parent names, and deletes its containers if they are then empty. False, with nothing
// changed, when the node is not empty or something could not be opened.
bool deleteEmptyNode(const pstHandle<psBTree>& node);

// Makes the ancestors of node name its present first entry where they named oldLow. Removes the node when it is empty.
// False, with nothing changed, when something could not be opened.
bool repairLow(const psBTree& node, const pstHandle<psBTree>& oldLow);

// The removal of nodes. The plan functions do everything that can be refused; after them carryOut cannot fail.
class NodeRemoval {
 public:
  bool planRemoval(pstHandle<psBTree> node, const psId& entry);
  bool planDeletion(const pstHandle<psBTree>& node);
  // separator is the abbreviation of the node in its parent, or of the ancestor of which it is the leftmost. Without
  // one, what is there stays: it is right when elements were removed.
  bool planLow(const psBTree& node, const psId& oldLow, const pstRef<psObj>& newLow,
               const std::optional<Abbreviation>& separator = std::nullopt);
  // The same for a leaf whose name stays. Opens nothing more where there are no abbreviations.
  bool planSeparator(const psBTree& leaf, const Abbreviation& separator);
  // Forgets the abbreviation of the node after a leaf. It may be too low for what is about to be added at the end of
  // the leaf, if that place was found without it.
  bool planUnknownAfter(const psBTree& leaf);
  void carryOut();

 private:
  struct Doomed {
    pstHandle<psBTree> node;
    pstHandle<psUnsortedArray> elements;
    pstHandle<psUnsortedArray> values;
  };

  // An entry that is removed or replaced.
  struct Change {
    explicit Change(const psBTree& node);
    ArrayEdit entries;
    int index = -1;
    std::optional<pstRef<psObj>> replacement;
    std::optional<Abbreviation> separator;  // of the replacement, if it changes
  };

  // The change of the entry in the node's array; null when it is not there or the array cannot be opened.
  Change* changeOf(const psBTree& node, const psId& entry);

  std::forward_list<Change> changes_;
  CountChange counts_;
  std::vector<Doomed> doomed_;
  ContainerRelease containers_;
};

}  // namespace ps::detail
