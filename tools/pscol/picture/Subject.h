#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "pscol/picture/Advice.h"
#include "store/base/psId.h"

namespace pscol::picture {

// The collection that a picture is of.
struct Subject {
  std::string name;  // its path
  std::string className;
  std::vector<Advice> advice;
  // What stands for an element, such as its key. May be null, and may return "": then its identifier does.
  std::function<std::string(const psId&)> labelOf;

  std::string label(const psId& element) const;
};

// Where a key is in a tree, or would be.
struct KeyInTree {
  psId leaf;
  std::uint32_t entry = 0;  // in the leaf
  bool isPresent = true;
  std::string label;
};

// Where a key is in a hash table, or would be.
struct KeyInTable {
  psId bucket;
  std::uint32_t slot = 0;
  bool isPresent = true;
  std::string label;
};

}  // namespace pscol::picture
