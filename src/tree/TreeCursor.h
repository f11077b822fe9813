#pragma once

#include <memory>

#include "tree/psBTree.h"

namespace ps::detail {

class TreeWalk;

// A place in a tree collection, for iterators that are values: it can be copied, and costs nothing while it stands
// nowhere. It knows the collection by its identifier.
//
// A step or a search says whether there is an element, which in a list may be null, and gives it. It also says no when
// something was refused: whoever must know watches refusals. A search that failed leaves the cursor nowhere.
class PS_API TreeCursor {
 public:
  TreeCursor() noexcept;
  explicit TreeCursor(const psId& tree) noexcept;
  TreeCursor(const TreeCursor& other);
  TreeCursor(TreeCursor&& other) noexcept;
  TreeCursor& operator=(const TreeCursor& other);
  TreeCursor& operator=(TreeCursor&& other) noexcept;
  ~TreeCursor();

  const psId& collection() const { return tree_; }

  bool toFirst(pstRef<psObj>& element);
  bool toLast(pstRef<psObj>& element);
  bool toIndex(int i, pstRef<psObj>& element);
  bool forward(pstRef<psObj>& element);
  bool back(pstRef<psObj>& element);

  // To the first element that is not less than the key. seekForward may be told a key that is not before the place.
  bool seek(const void* key, pstRef<psObj>& element);
  bool seek(const pstHandle<psObj>& key, pstRef<psObj>& element);
  bool seekForward(const void* key, pstRef<psObj>& element);
  bool seekForward(const pstHandle<psObj>& key, pstRef<psObj>& element);
  // To the element that matches. False also when there is none; the cursor then stands before the next.
  bool find(const void* key, pstRef<psObj>& element);
  bool find(const pstHandle<psObj>& key, pstRef<psObj>& element);

  // Whether the cursor still stands on an element that it has given. Costs a comparison while nothing has changed.
  bool standsOn(const pstRef<psObj>& element) const;
  // Of the element at which the cursor stands: its value in a map, and its position; -1 when that cannot be determined.
  pstRef<psObj> value() const;
  int index() const;
  // Removes the element at which the cursor stands, and goes before the next. False when something was refused.
  bool remove();

 private:
  PS_HIDDEN bool canWalk();
  template <class Key>
  PS_HIDDEN bool seekFrom(const Key& key, bool isForward, pstRef<psObj>& element);
  template <class Key>
  PS_HIDDEN bool findBy(const Key& key, pstRef<psObj>& element);

  psId tree_;
  std::unique_ptr<TreeWalk> walk_;  // null: nowhere
};

}  // namespace ps::detail
