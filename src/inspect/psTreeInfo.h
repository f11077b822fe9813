#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "inspect/psCollectionInfo.h"
#include "store/base/psId.h"

// A node of a list, sorted set or sorted map.
struct psNodeInfo {
  psId id;
  psId entries;                      // its array
  psId values;                       // in a leaf of a map, that of the values; null elsewhere
  int level = 1;                     // of the root; one more for each level below
  std::uint32_t child = 0;           // its place among the children of its parent, from 0
  bool isLeaf = false;               // false also of a node that cannot be read
  std::uint32_t used = 0;            // elements, or children
  std::uint32_t capacity = 0;        // of its array
  std::uint64_t elementsBefore = 0;  // in the leaves to its left, as far as these can be read
  psId first;                        // the lowest element of the leftmost leaf below it, or its first one in a list
  std::uint64_t bytes = 0;           // that it and its arrays take in the store's records
  std::string complaint;             // why it cannot be read, as the rest of a sentence; "" when it can

  bool isReadable() const { return complaint.empty(); }
};

// What a level of a tree has. Nodes that cannot be read count in `nodes` and `unreadable` alone.
struct psTreeLevel {
  std::uint64_t nodes = 0;
  std::uint64_t unreadable = 0;
  std::uint64_t used = 0;      // entries of all nodes
  std::uint64_t capacity = 0;  // of all nodes
  // Nodes by the share of their capacity that they use: up to 10 %, up to 20 %, and so on.
  std::array<std::uint64_t, 10> byFill{};

  double fill() const { return capacity == 0 ? 0 : static_cast<double>(used) / static_cast<double>(capacity); }
};

// The structure of a list, sorted set or sorted map, as psInspector::tree tells it.
struct psTreeInfo : psCollectionInfo {
  std::uint32_t capacity = 0;       // of a node
  std::vector<psTreeLevel> levels;  // from the root down; the last one has the leaves
};
