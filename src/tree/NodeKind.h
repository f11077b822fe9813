#pragma once

#include <type_traits>

#include "tree/psBTree.h"

namespace ps::detail {

// The parts of a new node.
struct NodeParts {
  pstRef<psBTree> parent;
  pstRef<psUnsortedArray> elements;
  pstRef<psUnsortedArray> values;  // null but in leaves of maps
};

// A class of collections, which are the roots of their trees.
struct RootClass {
  unsigned int typeN;
  int generation;  // number of the classes above it, up to psObj
};

template <class Root>
constexpr RootClass rootClass() {
  if constexpr (std::is_same_v<Root, psObj>) {
    return {psObj::pstTypeN, 0};
  } else {
    return {Root::pstTypeN, rootClass<typename Root::psBase>().generation + 1};
  }
}

// What the algorithms on nodes must know of a class of nodes. They cannot ask its published operations, which may be
// refused. The classes derive from psBTree side by side and have their fields at different offsets.
//
// There is one object of each kind, while the process runs. The folders of the collections define them. Here they are
// found only through the nodes and roots.
class NodeKind {
 public:
  NodeKind(const NodeKind&) = delete;
  NodeKind& operator=(const NodeKind&) = delete;

  // The kind of a node other than a root; null for others.
  static const NodeKind* of(const psBTree& node);
  // The kind of the nodes below a root; there is one for every tree.
  static const NodeKind* below(const psBTree& root);

  // Whether the elements have an order by which they can be found.
  virtual bool isSorted() const = 0;

  // An array for the elements of a node; null when the store cannot create it.
  virtual pstHandle<psUnsortedArray> createElements(const pstRef<psObj>& near, int capacity, Rows rows) const = 0;
  // A node with the given parts; null when the store cannot create it.
  virtual pstHandle<psBTree> createNode(const pstRef<psObj>& near, const NodeParts& parts) const = 0;
  // Writes the parent of a node that is open for update.
  virtual void setParent(psBTree& node, const pstRef<psBTree>& parent) const = 0;
  // The mark of a leaf of this kind that has this lowest element.
  virtual pstRef<psObj> leafMark(const psBTree& leaf, const pstRef<psObj>& lowest) const = 0;

 protected:
  // The nodes of one class, below the roots of another and of those derived from it that have no kind of their own.
  NodeKind(unsigned int nodeType, const RootClass& root);
  ~NodeKind() = default;

 private:
  static const NodeKind* kinds;

  unsigned int nodeType_;
  RootClass root_;
  const NodeKind* others_;
};

// An array near a leaf's elements, for their values. Null when the store cannot create it.
pstHandle<psUnsortedArray> createValuesBeside(const pstRef<psUnsortedArray>& elements, int capacity);

}  // namespace ps::detail
