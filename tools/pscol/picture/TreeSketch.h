#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "inspect/psTreeInfo.h"
#include "pscol/picture/Subject.h"

namespace pscol::picture {

// What a picture needs of the nodes of a tree: 40 bytes a leaf. Nodes are added as psInspector::tree visits them, each
// parent before its children, from left to right.
class TreeSketch {
 public:
  // A leaf, or a node that cannot be read, which stands for all leaves below it.
  struct Leaf {
    psId id;
    psId first;
    std::uint64_t elementsBefore = 0;
    std::uint32_t used = 0;
    std::uint32_t capacity = 0;
    bool isReadable = true;

    double fill() const { return capacity == 0 ? 0 : static_cast<double>(used) / capacity; }
  };
  struct Inner {
    psId id;
    std::uint32_t used = 0;
    std::uint32_t capacity = 0;
    std::size_t begin = 0;  // the leaves below it
    std::size_t end = 0;

    double fill() const { return capacity == 0 ? 0 : static_cast<double>(used) / capacity; }
  };

  void add(const psNodeInfo& node);

  const std::vector<Leaf>& leaves() const { return leaves_; }
  // Inner nodes by their levels, from the root down.
  std::vector<std::vector<Inner>> innerLevels() const;
  // Where the element at this position is, counted without what cannot be read.
  std::optional<KeyInTree> keyAt(std::uint64_t position, std::string label) const;
  std::uint64_t leafBytes() const { return leafBytes_; }
  std::uint64_t innerBytes() const { return innerBytes_; }
  // Why a node cannot be read; "" when there were too many of these to keep all.
  std::string complaintOf(std::size_t leaf) const;

 private:
  void closeDownTo(std::size_t level);

  std::vector<Leaf> leaves_;
  std::vector<std::vector<Inner>> inner_;
  std::size_t openLevels_ = 0;  // of which the last inner node may get more leaves
  std::map<std::size_t, std::string> complaints_;
  std::uint64_t leafBytes_ = 0;
  std::uint64_t innerBytes_ = 0;
};

}  // namespace pscol::picture
