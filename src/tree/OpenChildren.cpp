#include "tree/OpenChildren.h"

#include "store/base/MemoryGuard.h"
#include "tree/NodeKind.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

bool OpenChildren::open(const psBTree& node, const NodeEdit& entries, int begin, int end) {
  return guardMemory(false, [&] {
    begin_ = begin;
    for (int i = begin; !entries.isLeaf() && i < end; ++i) {
      const pstHandle<psBTree>& child = children_.emplace_back(childAt(entries, i, node));
      if (child.isNull() || child.open(pscUpdate) != 1) return false;
    }
    return true;
  });
}

void OpenChildren::giveTo(const pstHandle<psBTree>& parent, int begin, int end) const {
  for (int i = begin; !children_.empty() && i < end; ++i) {
    psBTree& child = *children_[static_cast<std::size_t>(i - begin_)];
    NodeKind::of(child)->setParent(child, parent);
  }
}

}  // namespace ps::detail
