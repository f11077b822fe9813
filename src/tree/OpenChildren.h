#pragma once

#include <vector>

#include "tree/NodeEdit.h"

namespace ps::detail {

// The children that a run of a node's entries stand for, open for update because they are about to get another parent.
// A leaf has none.
class OpenChildren {
 public:
  // Opens the children of the entries from begin to end. False when an open is refused.
  bool open(const psBTree& node, const NodeEdit& entries, int begin, int end);

  // Gives the children of the entries from begin to end to a parent. They must be among those that were opened.
  void giveTo(const pstHandle<psBTree>& parent, int begin, int end) const;

 private:
  std::vector<pstHandle<psBTree>> children_;
  int begin_ = 0;
};

}  // namespace ps::detail
