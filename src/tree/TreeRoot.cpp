#include "tree/TreeRoot.h"

#include <algorithm>

#include "core/Containers.h"
#include "store/base/NothingThrown.h"
#include "tree/NodeAccess.h"
#include "tree/NodeKind.h"

namespace ps::detail {

namespace {

// A split of a smaller node fills its parent again: the tree would grow a level with every element.
constexpr int smallestCapacity = 4;

}  // namespace

pstRef<psTreeAdmin> constructRoot(psBTree& root, int capacity, pstHandle<psContObj> adminContainer,
                                  pstHandle<psContObj> arrayContainer) {
  const NothingThrown here;
  pstHandle<psBTree> self(&root);
  if (adminContainer.isNull()) adminContainer = createContainerFor(self);
  if (arrayContainer.isNull()) arrayContainer = createContainerFor(self);
  const pstHandle<psUnsortedArray> elements =
      NodeKind::below(root)->createElements(arrayContainer, std::max(capacity, smallestCapacity), Rows::none);
  if (elements.isNull()) return pstRef<psTreeAdmin>();
  NodeAccess::setElements(root, elements);
  const pstRef<psTreeAdmin> admin(new (adminContainer) psTreeAdmin(self));
  if (admin.isNull()) {
    deletePart(elements);
    NodeAccess::setElements(root, pstRef<psUnsortedArray>());
  }
  return admin;
}

pstRef<psUnsortedArray> constructValues(const psBTree& root, int capacity) {
  return createValuesBeside(NodeAccess::elements(root), std::max(capacity, smallestCapacity));
}

void destroyRoot(psBTree& root) noexcept {
  const NothingThrown here;
  const pstHandle<psObj> admin(root.admin());
  if (!admin.isValid()) return;
  root.clear();
  deletePart(pstHandle<psObj>(NodeAccess::elements(root)));
  deletePart(pstHandle<psObj>(root.values()));
  deletePart(admin);
}

}  // namespace ps::detail
