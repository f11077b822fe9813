#pragma once

#include "arrays/psSortedArray.h"
#include "core/psCollection.h"
#include "tree/psTreeAdmin.h"

class psBTree;

namespace ps::detail {

class NodeAccess;

// The classes of nodes and of the library's collections that are trees.
template <>
struct UsualClasses<psBTree> {
  static constexpr std::uint32_t lowest = 4016;
  static constexpr std::uint32_t highest = 4021;
  static constexpr bool include(std::uint32_t type) { return type - lowest <= highest - lowest; }
};

}  // namespace ps::detail

// The base of the tree collections (list, set, map) and of their nodes: a B-tree whose nodes are objects of the store.
// The collection object is the root of its own tree. It keeps its place when the tree grows: the root then pushes its
// entries down into two new nodes.
//
// A leaf holds elements. An interior node holds one entry per child: a reference to the leftmost leaf below that child.
// The lowest element of that leaf separates the child from its left neighbour. So a descent reads separators without
// opening interior nodes, and only the removal of a leaf changes the entries of an ancestor. childOf leads from such an
// entry back to the child.
//
// The capacity of a node is that of the array that the collection was constructed with. A node may shrink to one entry;
// an empty node is removed. An empty root counts as a leaf.
//
// Most of these operations serve the tree itself. Applications use those of psCollection and of the concrete class, and
// size, get, first, last, depth and compact. Nodes keep the number of elements below them, so a position costs a
// descent, and size() one array. Where an older release or an array of more than 4,096 entries keeps none, they walk
// over the leaves, 2 objects opened for each.
class PS_API psBTree : public psCollection {
  PS_PERSISTENT_GLUE(psBTree, psCollection, 4015)

 public:
  psBTree() = default;
  ~psBTree() noexcept override;

  // Operations on the whole collection. A node passes them to its parent, and so to the root, where the concrete class
  // answers.
  bool add(const pstHandle<psObj>& element) override;
  const pstRef<psTreeAdmin>& admin() const override = 0;
  pstRef<psCompare> comparator() const override;
  pstRef<psObj> get(const void* key) const override;
  // Removes all elements, leaf by leaf from the last one. Stops when something cannot be opened.
  void clear() override;

  // False: a tree without a comparator knows no raw keys.
  bool contains(const void* key) const override;
  // Whether this very object is in the leaf where it belongs.
  bool contains(const pstHandle<psObj>& element) const override;
  psCollectionIterator* iterator() const override;
  // False also when that cannot be determined.
  bool isEmpty() const override;
  bool refresh(psMode mode) const override;
  // Removes this very object.
  bool remove(const pstHandle<psObj>& element) override;
  int size() const override;

  // The node whose parent is ancestor, on the way from this node up to ancestor. Returns the root when called on the
  // root, and when ancestor is not above this node. Null when a node on the way cannot be opened.
  virtual pstHandle<psBTree> childOf(const pstHandle<psBTree>& ancestor) const;
  // Sets the leaf's lowest element. 1, or 0 when the node cannot be opened for update.
  virtual int first(const pstHandle<psObj>& element);
  // Makes room in this node, which must be full: splits it in two, or splits its parent when that is full too. The
  // search must then start again. 1 on success; 0 when nothing has changed. where tells lists where they are about to
  // insert: 0 within, 1 at the end, 2 at the start.
  virtual int full(int where);
  // Tells the node that its leftmost leaf, oldLow, is gone. Its ancestors then name the new leftmost leaf, or drop the
  // node when it is empty. 1 on success, and at the root, which no ancestor names; 0 when nothing has changed.
  virtual int newLow(pstHandle<psBTree>& oldLow);
  // The next node at the same depth; null at the end, or when it cannot be reached.
  virtual pstRef<psBTree> next() const;
  // The parent; null at the root.
  virtual pstHandle<psBTree> parent() const;
  // Sets the parent. 1; 0 when this node cannot be opened for update, and at the root.
  virtual int parent(const pstHandle<psBTree>& p);
  // Takes node out of the tree with all ancestors that would be empty, deletes them, and deletes the containers that
  // are then empty. Call it on the leaf that names node in node's parent; a leaf names itself. 1 on success; 0, with
  // nothing changed, when something cannot be opened, or node is an interior node that still has children. Called on
  // the root, it deletes a node that is empty and that no parent has an entry for.
  virtual int removeNode(pstHandle<psBTree>& node);
  virtual bool isLeaf() const;
  // Removes the entry at index from the node's array, in a map with its value, and does nothing else. 1 or 0.
  virtual int removeKeyValueAt(int index) const;
  virtual pstHandle<psBTree> root() const;
  // The values of a map leaf's keys; null elsewhere.
  virtual pstRef<psUnsortedArray> values() const;
  // Packs the nodes from left to right and removes levels that are no longer needed. Stops when something cannot be
  // opened; the tree is sound in any case.
  virtual void compact();
  // The lowest element; null when there is none.
  virtual pstRef<psObj> first() const;
  // The first position, at or after `from`, of an element equal to this one; -1 when there is none.
  virtual int indexOf(const pstHandle<psObj>& element, int from) const;

  // The leftmost and rightmost leaf below this node.
  pstRef<psBTree> atFirst() const;
  pstRef<psBTree> atLast() const;

  // Number of levels from this node down, itself included: 1 for a leaf. 0 when that cannot be determined. The other
  // form adds d - 1.
  int depth() const { return depth(1); }
  int depth(int d) const;

  // The element at position i; null when there is none.
  pstRef<psObj> get(int i) const;
  // An object is not a position.
  pstRef<psObj> get(const psId& element) const = delete;
  using psCollection::contains;
  using psCollection::get;

  // Whether the node's array has no room; false also when it cannot be opened.
  bool isFull() const;
  bool notEmpty() const { return !isEmpty(); }

  // The highest element; null when there is none.
  pstRef<psObj> last() const;

  // The last position, at or before `to`, of an element equal to this one; -1 when there is none.
  int lastIndexOf(const pstHandle<psObj>& element) const { return lastIndexOf(element, size() - 1); }
  int lastIndexOf(const pstHandle<psObj>& element, int to) const;

  // The capacity of the node's array; 0 when it cannot be opened.
  int maxNumberOfChildren() const;

  // The leaf, below this node, in which the key is or would be stored. Null when something cannot be opened, or a call
  // into Java fails. The result means nothing in a list, which has no order. Cost: per level, the node's array, as many
  // leaves as a binary search in it reads, and the nodes between the chosen leaf and the child.
  pstHandle<psBTree> potentialParentOf(const pstHandle<psObj>& key) const;
  pstHandle<psBTree> potentialParentOf(const void* key) const;
  pstHandle<psBTree> potentialParentOf(psCompareFunction compare) const;
  pstHandle<psBTree> potentialParentOf(_jobject*& key, _jobject*& callee, JNIEnv_* env) const;
  pstHandle<psBTree> potentialParentOf(const psObj* key) const { return potentialParentOf(pstHandle<psObj>(key)); }

  // The leaf before this node's subtree; null at the start, or when it cannot be reached.
  pstRef<psBTree> previous() const;

  // Remove the lowest and the highest element, if there is one.
  void removeFirst();
  void removeLast();

  // The part of compact that handles the interior nodes and the root.
  void compactPart2();

  // Number of elements in the leaves before this one; -1 when that cannot be determined.
  int treeIndex(const pstHandle<psBTree>& leaf) const;

 private:
  friend class ps::detail::NodeAccess;

  pstRef<psUnsortedArray> elements_;
  pstRef<psObj> first_;  // not null in leaves that are not empty, null in interior nodes
};

static_assert(sizeof(psBTree) == 24, "stored layout");
