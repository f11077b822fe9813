#pragma once

#include <memory>
#include <vector>

#include "core/KeyProbe.h"
#include "tree/NodeEdit.h"

namespace ps::detail {

// Adds elements behind the last one of a tree. It holds the nodes on the way to the last leaf open for update, and
// fills each node before it begins the next, so that each is written once.
class TreeAppender {
 public:
  explicit TreeAppender(psBTree& root) : root_(&root), openedAt_(changeStamp()) {}
  TreeAppender(const TreeAppender&) = delete;
  TreeAppender& operator=(const TreeAppender&) = delete;

  // Adds an element, in a map with its value. In a sorted tree it must belong there. False when something could not be
  // opened or made, and in an empty tree; then it has not been added.
  bool append(const pstRef<psObj>& element, const pstRef<psObj>& value = pstRef<psObj>(),
              const Abbreviation& abbreviation = {});

  // The same when the key is greater than the last element, in a tree whose newest element was the greatest. Otherwise
  // false, with nothing changed, and the probe can be used further.
  bool appendInOrder(KeyProbe& probe, const pstRef<psObj>& element, const pstRef<psObj>& value = pstRef<psObj>());

  // The same for a single addition, in a leaf that has room. The session keeps an appender for the tree to which it
  // added last: so when one element after the other goes behind all others, the way to the last leaf stays open.
  static bool appendSingly(psBTree& root, KeyProbe& probe, const pstRef<psObj>& element,
                           const pstRef<psObj>& value = pstRef<psObj>());

 private:
  struct Level {
    explicit Level(const pstHandle<psBTree>& handle) : node(handle), entries(*node) {}

    pstHandle<psBTree> node;
    NodeEdit entries;
  };

  void restart(psBTree& root);
  // Whether what was opened for earlier operations can still be used.
  bool isCurrent() const;
  // Opens the way to the last leaf, unless it is open.
  bool open();
  bool openAnew();
  // Appends when the key is greater than the last element. The way must be open.
  bool appendBehind(KeyProbe& probe, const pstRef<psObj>& element, const pstRef<psObj>& value);
  // Begins a new leaf with the element, below new nodes as far as those above the last leaf are full.
  bool appendLeaf(const pstRef<psObj>& element, const pstRef<psObj>& value, const Abbreviation& abbreviation);
  // For as many levels from the root down as their last nodes stay.
  void countOneMore(std::size_t levels);
  NodeEdit& leaf() { return levels_.back()->entries; }

  pstHandle<psBTree> root_;
  std::vector<std::unique_ptr<Level>> levels_;  // the root's first
  std::uint64_t openedAt_;                      // or begun at
};

}  // namespace ps::detail
