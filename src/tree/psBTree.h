#pragma once

#include "arrays/psSortedArray.h"
#include "core/psCollection.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {
class NodeAccess;
}  // namespace ps::detail

// The base of the tree collections (list, set, map), and of their nodes: a B-tree whose nodes are objects of the store.
// The collection object is the root of its own tree; it stays where it is when the tree grows, which happens at the
// root, by pushing its entries down into two new nodes.
//
// A leaf holds elements. An interior node holds one entry per child: a reference to the leftmost leaf below that child,
// whose lowest element is what separates the child from its left neighbour. So a descent reads separators without
// opening interior nodes, and nothing but the removal of a leaf ever changes what an ancestor holds. childOf leads from
// such an entry back to the child.
//
// A node holds at most as many entries as the array that the collection was constructed with. It may shrink to one;
// when it is empty it is removed. An empty root counts as a leaf.
//
// Most of these operations serve the tree itself. Applications use those of psCollection and of the concrete class, and
// size, get, first, last, depth and compact. Positions cost a walk over the leaves: two objects opened per leaf, no
// element.
class PS_API psBTree : public psCollection {
  PS_PERSISTENT_GLUE(psBTree, psCollection, 4015)

 public:
  psBTree() = default;
  ~psBTree() noexcept override;

  // What concerns the whole collection. A node passes it on to the one above, and so to the root, where the concrete
  // class answers.
  bool add(const pstHandle<psObj>& element) override;
  const pstRef<psTreeAdmin>& admin() const override = 0;
  pstRef<psCompare> comparator() const override;
  pstRef<psObj> get(const void* key) const override;

  // False: a tree as such knows no raw keys.
  bool contains(const void* key) const override;
  // Whether this very object is in the leaf where it belongs.
  bool contains(const pstHandle<psObj>& element) const override;
  psCollectionIterator* iterator() const override;
  // False also when it cannot be found out.
  bool isEmpty() const override;
  bool refresh(psMode mode) const override;
  // Removes this very object.
  bool remove(const pstHandle<psObj>& element) override;
  int size() const override;

  // The node on the way from this one up to ancestor whose parent is ancestor. From the root, and where ancestor does
  // not lie above, the root; null when a node on the way cannot be opened.
  virtual pstHandle<psBTree> childOf(const pstHandle<psBTree>& ancestor) const;
  // Sets the leaf's lowest element. 1, or 0 when the node cannot be opened for update.
  virtual int first(const pstHandle<psObj>& element);
  // Makes room in this node, which must be full, by splitting it in two, or by splitting its parent when that is full
  // as well; then the search has to start again. 1 on success; on 0 nothing has changed. where tells lists where they
  // are about to insert: 0 within, 1 at the end, 2 at the start.
  virtual int full(int where);
  // Tells the node that its leftmost leaf, oldLow, is gone, so that its ancestors name the new one, or drop the node
  // when it is empty. 1 on success, and at the root, which no ancestor names; on 0 nothing has changed.
  virtual int newLow(pstHandle<psBTree>& oldLow);
  // The node that follows at the same depth; null at the end, or when it cannot be reached.
  virtual pstRef<psBTree> next() const;
  // The node above; null at the root.
  virtual pstHandle<psBTree> parent() const;
  // Sets the node above. 1; 0 when this node cannot be opened for update, and at the root.
  virtual int parent(const pstHandle<psBTree>& p);
  // Called on the leaf that names node in node's parent (a leaf names itself): takes node out of the tree, with all
  // ancestors that are left empty, deletes it, and gives back the containers that are left empty. 1 on success; 0, with
  // nothing changed, when something cannot be opened or node is an interior node that still has children. Called on the
  // root it deletes a node that is empty and stands in no parent.
  virtual int removeNode(pstHandle<psBTree>& node);
  virtual bool isLeaf() const;
  // Removes the entry at index from the node's array, in a map with its value, and nothing else. 1 or 0.
  virtual int removeKeyValueAt(int index) const;
  virtual pstHandle<psBTree> root() const;
  // The values beside a map leaf's keys; null elsewhere.
  virtual pstRef<psUnsortedArray> values() const;
  // Packs the nodes from left to right and takes away levels that have become superfluous. What cannot be opened ends
  // it; the tree is sound all the same.
  virtual void compact();
  // The lowest element; null when there is none.
  virtual pstRef<psObj> first() const;
  // The first position, from `from` on, of an element equal to this one; -1 when there is none.
  virtual int indexOf(const pstHandle<psObj>& element, int from) const;

  // The leftmost and rightmost leaf below this node.
  pstRef<psBTree> atFirst() const;
  pstRef<psBTree> atLast() const;

  // Number of levels below and with this node: 1 for a leaf; 0 when it cannot be found out. The other form adds d - 1.
  int depth() const { return depth(1); }
  int depth(int d) const;

  // The element at position i; null when there is none.
  pstRef<psObj> get(int i) const;
  // An object is no position.
  pstRef<psObj> get(const psId& element) const = delete;
  using psCollection::contains;
  using psCollection::get;

  // Whether the node's array has no room; false also when it cannot be opened.
  bool isFull() const;
  bool notEmpty() const { return !isEmpty(); }

  // The highest element; null when there is none.
  pstRef<psObj> last() const;

  // The last position, up to `to`, of an element equal to this one; -1 when there is none.
  int lastIndexOf(const pstHandle<psObj>& element) const { return lastIndexOf(element, size() - 1); }
  int lastIndexOf(const pstHandle<psObj>& element, int to) const;

  // The capacity of the node's array; 0 when it cannot be opened.
  int maxNumberOfChildren() const;

  // The leaf, below this node, in which the key is or would be stored; null when something cannot be opened, or Java
  // not be called. In a list, which has no order, the answer means nothing. Cost: per level, the node's array, as many
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

  // The part of compact that deals with the interior nodes and the root.
  void compactPart2();

  // Number of elements in the leaves before this one; -1 when it cannot be found out.
  int treeIndex(const pstHandle<psBTree>& leaf) const;

 private:
  friend class ps::detail::NodeAccess;

  pstRef<psUnsortedArray> elements_;
  pstRef<psObj> first_;  // not null in leaves that are not empty, null in interior nodes
};

static_assert(sizeof(psBTree) == 24, "stored layout");
