#include "tree/TreeRefresh.h"

#include "core/Containers.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

bool refreshTree(const psBTree& root, psMode mode) {
  ContainerRefresh containers(mode);
  if (!containers.visit(pstHandle<psObj>(root.admin()))) return false;
  NodeAnswer level = leftmostLeaf(root);
  while (!level.node.isNull()) {
    NodeAnswer node = level;
    while (!node.node.isNull()) {
      if (!containers.visit(node.node) || !containers.visit(pstHandle<psObj>(NodeAccess::elements(*node.node))))
        return false;
      node = nextNode(*node.node);
    }
    if (node.failed) return false;
    const pstHandle<psBTree> above = level.node->parent();
    if (!above.isNull() && !isReadable(above)) return false;
    level.node = above;
  }
  return !level.failed && containers.visit(handleTo(root));
}

}  // namespace ps::detail
