#pragma once

#include <string>
#include <vector>

#include "check/CheckResult.h"
#include "core/KeyProbe.h"
#include "core/psCompare.h"
#include "tree/psBTree.h"

namespace ps::detail {

class ArrayView;

// Walks over a tree (a list, sorted set or sorted map) and collects every fault of its structure. It uses none of the
// code with which the tree's own operations walk. It compares neighbours with the tree's comparator and skips deleted
// elements. It opens every node and array and, where there is a comparator, every element.
class TreeChecker {
 public:
  static CheckResult check(const pstHandle<psBTree>& root, const ObjectSet& taken = {});

 private:
  using Node = pstHandle<psBTree>;

  TreeChecker(const Node& root, const ObjectSet& taken) : taken_(taken), root_(root) {}

  void run();
  // False when there is one that makes all elements meaningless.
  bool openComparator();
  // Checks the subtree of a node and returns its leftmost leaf. A path is the node's positions from the root: "/1/0".
  psId visit(const Node& node, const std::string& path, int level);
  void visitLeaf(const Node& leaf, psUnsortedArray& entries, const std::string& path, int level);
  psId visitChildren(const Node& node, psUnsortedArray& array, const std::string& path, int level);
  bool checkArray(const pstHandle<psUnsortedArray>& entries, const std::string& path, bool mayHoldNull);
  void checkValues(const Node& node, psUnsortedArray& entries, const std::string& path, bool isLeaf);
  void countElements(const ArrayView& elements, const std::string& path);
  void checkAscending(const pstRef<psObj>& element, const std::string& path);
  // The abbreviations beside the elements and the nodes, if the comparator has made them.
  void checkAbbreviation(const pstRef<psObj>& element, const Abbreviation& noted, const std::string& path);
  void checkSeparator(const Node& node, const Abbreviation& noted, const std::string& path);
  bool isOfComparator(const Abbreviation& noted) const { return noted.isKnown() && noted.tag == tag_; }
  void checkChain();
  void checkWhole();
  void checkAdmin();

  void complain(const psId& id, const std::string& path, const std::string& what);
  // False when something owns it already, or it is taken.
  bool own(const psId& id, const std::string& path);

  CheckResult result_;
  const ObjectSet& taken_;
  Node root_;
  pstHandle<psCompare> comparator_;
  bool canCompare_ = false;
  unsigned int elementTypeN_ = psObj::pstTypeN;
  bool sorted_ = false;
  bool isMap_ = false;
  int capacity_ = 0;
  int depth_ = 0;
  std::int64_t size_ = 0;
  pstRef<psObj> previous_;
  std::uint64_t tag_ = 0;        // of the comparator's abbreviations
  std::uint64_t highest_ = 0;    // abbreviation so far
  std::uint64_t separator_ = 0;  // that no further abbreviation may be less than
  std::vector<psId> leaves_;
};

}  // namespace ps::detail
