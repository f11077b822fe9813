#pragma once

#include <array>
#include <cstddef>
#include <forward_list>
#include <memory_resource>

#include "tree/NodeEdit.h"
#include "tree/TreePath.h"

namespace ps::detail {

// Changes what the ancestors of a node keep of the number of elements below them. The plan functions do everything that
// can be refused; after them carryOut cannot fail.
//
// Beside each of its entries a node with children keeps how many elements there are below that entry, or that this is
// not known. Whoever changes the number of elements of a leaf changes it in all ancestors. Where nodes come, go or
// divide, the arrays of their parents are written anyway, and the numbers there with them.
class CountChange {
 public:
  CountChange() = default;
  CountChange(const CountChange&) = delete;
  CountChange& operator=(const CountChange&) = delete;

  // entry is what names the node in its parent. For a leaf that was just searched, path is the way to it. A number that
  // is not known makes those of the ancestors unknown. False when something could not be opened.
  bool planMore(const psBTree& node, const psId& entry, const ElementCount& more, const TreePath& path = {}) {
    return plan(node, entry, more, 1, path);
  }
  bool planFewer(const psBTree& node, const psId& entry, const ElementCount& fewer, const TreePath& path = {}) {
    return plan(node, entry, fewer, -1, path);
  }
  void carryOut();

 private:
  struct Ancestor {
    explicit Ancestor(const pstRef<psUnsortedArray>& array) : entries(array) {}

    ArrayEdit entries;
    int index = -1;
    ElementCount difference;
  };

  bool plan(const psBTree& node, psId entry, const ElementCount& number, int sign, const TreePath& path);

  // Without a call of the allocator for as many ancestors as most nodes have.
  std::array<std::byte, 4 * (sizeof(Ancestor) + sizeof(void*))> space_;
  std::pmr::monotonic_buffer_resource memory_{space_.data(), space_.size()};
  std::pmr::forward_list<Ancestor> ancestors_{&memory_};
};

}  // namespace ps::detail
