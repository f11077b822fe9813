#pragma once

#include <array>
#include <cstddef>

namespace ps::detail {

// The entries by which a search went down from the root, as far as they were noted. What was changed since may have
// moved them, so they only say where to look first.
class TreePath {
 public:
  void add(int entry) {
    if (levels_ < entries_.size()) entries_[levels_] = entry;
    ++levels_;
  }
  // The entry in the ancestor of the leaf that is that many levels above it; -1 when it was not noted.
  int entryAbove(std::size_t levels) const {
    return levels >= 1 && levels <= levels_ && levels_ - levels < entries_.size() ? entries_[levels_ - levels] : -1;
  }

 private:
  std::array<int, 6> entries_{};
  std::size_t levels_ = 0;
};

}  // namespace ps::detail
