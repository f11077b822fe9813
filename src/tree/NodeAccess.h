#pragma once

#include "tree/psBTree.h"

namespace ps::detail {

// The fields of a node, for the algorithms of the trees and for the checkers. Nothing is opened here: the node must be
// open, and for the setters open for update.
class NodeAccess {
 public:
  static const pstRef<psUnsortedArray>& elements(const psBTree& node) { return node.elements_; }
  // Null in interior nodes. In sorted trees the leaf's lowest element; in lists the leaf itself.
  static const pstRef<psObj>& first(const psBTree& node) { return node.first_; }

  static void setElements(psBTree& node, const pstRef<psUnsortedArray>& elements) { node.elements_ = elements; }
  // For a node that is being created, or that no other node's array names.
  static void initFirst(psBTree& node, const pstRef<psObj>& first) { node.first_ = first; }
  // Drops the notes too, since searches may have noted the old element beside the arrays of any ancestors.
  static void setFirst(psBTree& node, const pstRef<psObj>& first) {
    node.first_ = first;
    if (isInArena(&node)) dropAllNotes();
  }
};

}  // namespace ps::detail
