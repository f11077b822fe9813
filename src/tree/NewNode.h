#pragma once

#include <optional>

#include "core/Containers.h"
#include "tree/NodeEdit.h"
#include "tree/NodeKind.h"
#include "tree/OpenChildren.h"

namespace ps::detail {

// A node that is made beside others of its level. It is deleted again, with its arrays and the containers that this
// leaves empty, unless it takes entries. Its handles are made from addresses, so that neither use nor deletion opens
// anything but the edits.
class NewNode {
 public:
  explicit NewNode(const NodeKind& kind) : kind_(kind) {}
  NewNode(const NewNode&) = delete;
  NewNode& operator=(const NewNode&) = delete;
  ~NewNode() {
    if (!kept_) discard();
  }

  // Makes the node, below parent, with room for what beside has.
  bool create(const pstHandle<psTreeAdmin>& admin, const psBTree& parent, const NodeEdit& beside);
  const pstHandle<psBTree>& node() const { return node_; }

  // The operations that give it its entries. Nothing in them can be refused. The first takes over the entries of source
  // from begin to end, which source then gives up.
  void take(const NodeEdit& source, const OpenChildren& children, int begin, int end);
  void take(const pstRef<psObj>& element, const pstRef<psObj>& value, const Abbreviation& abbreviation);
  void take(const NewNode& child);

  // Inserts the node among the entries of its parent.
  void insertInto(NodeEdit& parent, int i) const { parent.insertChild(i, node_.oid(), name_, separator_, elements_); }

 private:
  void discard();

  const NodeKind& kind_;
  pstHandle<psUnsortedArray> elementArray_;
  pstHandle<psUnsortedArray> valueArray_;
  pstHandle<psBTree> node_;
  std::optional<NodeEdit> entries_;
  ContainerRelease containers_;
  pstRef<psObj> name_;      // what the parent names the node by
  Abbreviation separator_;  // the abbreviation beside that name
  ElementCount elements_;   // in or below the node
  bool kept_ = false;
};

}  // namespace ps::detail
