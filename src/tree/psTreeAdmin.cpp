#include "tree/psTreeAdmin.h"

#include "store/psSession.h"
#include "store/pstItr.h"
#include "tree/NodeAccess.h"

namespace {

const pstProcessInitTermClass processInitTerm;

// About what a node takes with its header, so that the nodes of one container fill one page.
constexpr int bytesPerNode = 47;

template <class T>
int countObjects(const pstHandle<psContObj>& container) {
  int count = 0;
  pstItr<T> object;
  object.scan(container, pscNoOpen);
  while (object.next()) ++count;
  return count;
}

}  // namespace

psTreeAdmin::psTreeAdmin(pstHandle<psBTree>& tree)
    : tree_(tree),
      nodeContainer_(tree.containedIn()),
      maxNodesPerContainer_((pomGetPageSize() & 0xFFFFU) / bytesPerNode) {
  const pstHandle<psTreeAdmin> self(this);
  if (tree.open(pscRead) == 1) vArrayContainer_ = ps::detail::NodeAccess::elements(*tree).containedIn();
}

psTreeAdmin::~psTreeAdmin() noexcept = default;

pstRef<psContObj> psTreeAdmin::provideVArrayContainer() {
  return provide(vArrayContainer_, vArrayCount_, maxVArraysPerContainer_, pstHandle<psObj>(tree_));
}

pstRef<psContObj> psTreeAdmin::provideNodeContainer() {
  return provide(nodeContainer_, nodeCount_, maxNodesPerContainer_, pstHandle<psObj>(tree_));
}

void psTreeAdmin::nodeContainer(pstHandle<psContObj>& container) {
  if (psUpdate() != 1) return;
  nodeContainer_ = container;
  nodeCount_ = 0;
  forgetOwn(nodeContainer_);
}

void psTreeAdmin::vArrayContainer(pstHandle<psContObj>& container) {
  if (psUpdate() != 1) return;
  vArrayContainer_ = container;
  vArrayCount_ = 0;
  forgetOwn(vArrayContainer_);
}

void psTreeAdmin::setMaxNodesPerContainer(int maximum) {
  if (psUpdate() == 1) maxNodesPerContainer_ = maximum;
}

void psTreeAdmin::setMaxVArraysPerContainer(int maximum) {
  if (psUpdate() == 1) maxVArraysPerContainer_ = maximum;
}

int psTreeAdmin::calculateAndSetNodeCountContainer() {
  if (psUpdate() != 1) return -1;
  return nodeCount_ = countObjects<psBTree>(nodeContainer_);
}

int psTreeAdmin::calculateAndSetVArrayCountContainer() {
  if (psUpdate() != 1) return -1;
  return vArrayCount_ = countObjects<psUnsortedArray>(vArrayContainer_);
}
