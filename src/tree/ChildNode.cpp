#include "tree/ChildNode.h"

#include "store/base/NothingThrown.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

const pstRef<psTreeAdmin>& adminAbove(const pstRef<psBTree>& parent) {
  static const pstRef<psTreeAdmin> none;
  const pstHandle<psBTree> above(parent);
  return above.open(pscRead) == 1 ? above->admin() : none;
}

pstHandle<psUnsortedArray> createElementsBelow(const pstHandle<psBTree>& parent, const NodeKind& kind) {
  if (!isReadable(parent)) return pstHandle<psUnsortedArray>();
  const pstHandle<psTreeAdmin> admin = administratorOf(*parent);
  if (admin.isNull()) return pstHandle<psUnsortedArray>();
  const pstRef<psContObj> container = admin->provideVArrayContainer();
  return container.isNull() ? pstHandle<psUnsortedArray>()
                            : kind.createElements(container, parent->maxNumberOfChildren(), Rows::none);
}

void deleteArrays(const psBTree& node) noexcept {
  const NothingThrown here;
  for (const pstRef<psUnsortedArray>& array : {NodeAccess::elements(node), node.values()}) {
    pstHandle<psUnsortedArray> doomed(array);
    if (doomed.isValid()) psDelete(doomed);
  }
}

}  // namespace ps::detail
