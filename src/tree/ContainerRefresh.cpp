#include "tree/ContainerRefresh.h"

#include "store/psContObj.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

namespace {

class ContainerRefresh {
 public:
  explicit ContainerRefresh(psMode mode) : mode_(mode) {}

  // Refreshes the container of an object, unless it is the one refreshed last.
  bool visit(const pstHandle<psObj>& object) {
    const pstHandle<psContObj> container = object.containedIn();
    if (container.isNull() || container == last_) return true;
    unsigned char changed = 0;
    if (container.refreshOpen(mode_, &changed, mode_ == pscNoOpen ? 1 : 0) == 0) return false;
    last_ = container.oid();
    return true;
  }

 private:
  psMode mode_;
  psId last_;
};

}  // namespace

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
