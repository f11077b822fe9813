#pragma once

#include <string>

#include "inspect/PartCount.h"
#include "inspect/StoredSizes.h"
#include "inspect/psInspector.h"
#include "tree/psBTree.h"

namespace ps::detail {

// Walks over the nodes of a tree, parents first, and trusts none of them.
class TreeWalker {
 public:
  TreeWalker(Engine& engine, psTreeInfo& found, const psInspector::NodeVisitor& visit,
             const psInspector::ElementVisitor& visitElement)
      : sizes_(engine), found_(found), visit_(visit), visitElement_(visitElement) {}

  // False, with the reason in complaint(), when the collection's own object cannot be read.
  bool run(const pstHandle<psBTree>& root);
  const std::string& complaint() const { return complaint_; }

 private:
  using Node = pstHandle<psBTree>;

  void walk(const Node& node, const psId& entry, int level, std::uint32_t child);
  std::string look(const Node& node, int level, psNodeInfo& info);
  void walkChildren(const Node& node, int level);
  void deliver(const psNodeInfo& info);
  void deliverElements(const psNodeInfo& leaf);

  StoredSizes sizes_;
  PartCount parts_;
  psTreeInfo& found_;
  const psInspector::NodeVisitor& visit_;
  const psInspector::ElementVisitor& visitElement_;
  Node root_;
  std::string complaint_;
  bool goes_ = true;
};

}  // namespace ps::detail
