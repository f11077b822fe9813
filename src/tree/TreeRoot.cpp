#include "tree/TreeRoot.h"

#include <algorithm>

#include "core/Containers.h"
#include "store/base/NothingThrown.h"
#include "store/session/SeveralWriters.h"
#include "tree/NodeAccess.h"
#include "tree/NodeKind.h"

namespace ps::detail {

namespace {

// A split of a smaller node fills its parent again: the tree would grow a level with every element.
constexpr int smallestCapacity = 4;

}  // namespace

pstRef<psTreeAdmin> constructRoot(psBTree& root, int capacity, pstHandle<psContObj> adminContainer,
                                  pstHandle<psContObj> arrayContainer, bool hasComparator) {
  const NothingThrown here;
  pstHandle<psBTree> self(&root);
  if (adminContainer.isNull()) adminContainer = createContainerFor(self);
  // Where each page is a round trip, a root's elements are beside it, with room for all that they will need.
  const bool isBesideRoot = arrayContainer.isNull() && hasSeveralWriters();
  if (arrayContainer.isNull() && !isBesideRoot) arrayContainer = createContainerFor(self);
  const pstRef<psObj> near = isBesideRoot ? pstRef<psObj>(self) : pstRef<psObj>(arrayContainer);
  const NodeKind& kind = *NodeKind::below(root);
  const Rows later =
      Rows::nodes | (hasComparator ? Rows::abbreviations : Rows::none) | (kind.isSorted() ? Rows::none : Rows::counts);
  const Rows rows = isBesideRoot ? later : Rows::none;
  const pstHandle<psUnsortedArray> elements = kind.createElements(near, std::max(capacity, smallestCapacity), rows);
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
