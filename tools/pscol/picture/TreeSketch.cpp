#include "pscol/picture/TreeSketch.h"

#include <algorithm>

namespace pscol::picture {

void TreeSketch::add(const psNodeInfo& node) {
  const auto level = static_cast<std::size_t>(std::max(node.level, 1)) - 1;
  closeDownTo(level);
  if (node.isReadable() && !node.isLeaf) {
    if (inner_.size() <= level) inner_.resize(level + 1);
    inner_[level].push_back({node.id, node.used, node.capacity, leaves_.size(), leaves_.size()});
    openLevels_ = level + 1;
    innerBytes_ += node.bytes;
    return;
  }
  constexpr std::size_t mostComplaints = 1000;
  if (!node.isReadable() && complaints_.size() < mostComplaints) complaints_[leaves_.size()] = node.complaint;
  leaves_.push_back({node.id, node.first, node.elementsBefore, node.used, node.capacity, node.isReadable()});
  leafBytes_ += node.bytes;
}

// The next node is of this level, so the open nodes of this level and below have all their leaves.
void TreeSketch::closeDownTo(std::size_t level) {
  for (; openLevels_ > level; --openLevels_) {
    std::vector<Inner>& nodes = inner_[openLevels_ - 1];
    if (!nodes.empty()) nodes.back().end = leaves_.size();
  }
}

std::vector<std::vector<TreeSketch::Inner>> TreeSketch::innerLevels() const {
  std::vector<std::vector<Inner>> levels = inner_;
  for (std::size_t level = 0; level < openLevels_; ++level) {
    if (!levels[level].empty()) levels[level].back().end = leaves_.size();
  }
  return levels;
}

std::optional<KeyInTree> TreeSketch::keyAt(std::uint64_t position, std::string label) const {
  const auto found = std::find_if(leaves_.begin(), leaves_.end(), [&](const Leaf& leaf) {
    return leaf.isReadable && leaf.elementsBefore <= position && position < leaf.elementsBefore + leaf.used;
  });
  if (found == leaves_.end()) return std::nullopt;
  return KeyInTree{{found->id}, static_cast<std::uint32_t>(position - found->elementsBefore), true, std::move(label)};
}

std::string TreeSketch::complaintOf(std::size_t leaf) const {
  const auto found = complaints_.find(leaf);
  return found == complaints_.end() ? "" : found->second;
}

}  // namespace pscol::picture
