#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "pscol/picture/HashSketch.h"
#include "pscol/picture/ReportData.h"
#include "pscol/picture/TreeSketch.h"

// Infos of stores that do not exist, the same in each run.
namespace samples {

struct TreeShape {
  psCollectionKind kind = psCollectionKind::sortedSet;
  std::uint64_t elements = 0;
  std::uint32_t capacity = 200;
  // Entries of the i-th leaf.
  std::function<std::uint32_t(std::size_t)> used = [](std::size_t i) {
    return 100 + static_cast<std::uint32_t>(i * 37 % 90);
  };
  std::function<bool(std::size_t)> isDamaged = [](std::size_t) { return false; };
};

struct Tree {
  psTreeInfo info;
  pscol::picture::TreeSketch sketch;
};
Tree makeTree(const TreeShape& shape);

struct TableShape {
  std::uint64_t elements = 0;
  std::uint32_t slots = 101;
  double skew = 0.5;         // the share of a bucket's elements that the lower half of its hashes gets...
  int skewedBits = 0;        // ...in so many of the first bits
  bool isClustered = false;  // many keys have the same hash
  std::function<bool(std::size_t)> isDamaged = [](std::size_t) { return false; };
};

struct Table {
  psHashInfo info;
  pscol::picture::HashSketch sketch;
};
Table makeTable(const TableShape& shape);

// Names as no one should give them, in many scripts, of up to 400 bytes.
const std::vector<std::string>& oddNames();

// A store with so many collections, each of which has unnamed containers, and so many named containers of objects.
struct StoreShape {
  std::size_t collections = 0;
  std::size_t containersOfEach = 20;
  std::size_t namedContainers = 0;
  std::size_t unnamedContainers = 0;
  std::size_t classes = 5;
  std::size_t faults = 0;
  bool hasFile = true;
  bool hasOddNames = false;
};
pscol::picture::ReportData makeStore(const StoreShape& shape);

}  // namespace samples
