#pragma once

#include "core/psAdmin.h"

class psBTree;
class psTreeAdmin;

// Where admin() of a collection returns any administrator, that of a tree returns this class.
template <>
struct pstRefBaseOf<psTreeAdmin> {
  using type = pstRef<psAdmin>;
};

// Places the nodes of a tree, and the arrays inside them. By default a container takes as many nodes as the page size
// divided by 47, or one array. The tree's own container counts as having taken one node, and the container of its own
// array one array.
class PS_API psTreeAdmin : public psAdmin {
  PS_PERSISTENT_CLASS(psTreeAdmin, psAdmin, 4010)

 public:
  explicit psTreeAdmin(pstHandle<psBTree>& tree);
  ~psTreeAdmin() noexcept override;

  // The container for the tree's next array or node, which is counted as placed there. Null when the administrator
  // cannot be opened for update, or no container can be created.
  virtual pstRef<psContObj> provideVArrayContainer();
  virtual pstRef<psContObj> provideNodeContainer();

  pstRef<psContObj> nodeContainer() const { return nodeContainer_; }
  pstRef<psContObj> vArrayContainer() const { return vArrayContainer_; }
  // Continues in the given container, as if nothing had been placed in it. Has no effect when the administrator cannot
  // be opened for update; nor do the other setters.
  void nodeContainer(pstHandle<psContObj>& container);
  void nodeContainer(const pstHandle<psContObj>& container) {
    nodeContainer(ps::detail::lvalue(pstHandle<psContObj>(container)));
  }
  void vArrayContainer(pstHandle<psContObj>& container);
  void vArrayContainer(const pstHandle<psContObj>& container) {
    vArrayContainer(ps::detail::lvalue(pstHandle<psContObj>(container)));
  }

  // How many nodes, or arrays, go into a container before the next one is made.
  int maxNodesPerContainer() const { return maxNodesPerContainer_; }
  int maxVArraysPerContainer() const { return maxVArraysPerContainer_; }
  void setMaxNodesPerContainer(int maximum);
  void setMaxVArraysPerContainer(int maximum);

  // Counts the trees' nodes or arrays in the current container, continues from that number, and returns it. -1 when the
  // administrator cannot be opened for update.
  int calculateAndSetNodeCountContainer();
  int calculateAndSetVArrayCountContainer();

 private:
  pstRef<psBTree> tree_;
  pstRef<psContObj> nodeContainer_;
  pstRef<psContObj> vArrayContainer_;
  int nodeCount_ = 1;
  int vArrayCount_ = 1;
  int maxNodesPerContainer_ = 0;
  int maxVArraysPerContainer_ = 1;
};

static_assert(sizeof(psTreeAdmin) == 48, "stored layout");
