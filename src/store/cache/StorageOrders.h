#pragma once

#include <vector>

#include "store/cache/Page.h"

namespace ps::detail {

class PageCache;

// What pages that are written have left to be done with the storage of arrays in other pages: conversions have left
// some without an owner, and some has elements that are described now.
class StorageOrders {
 public:
  // Takes the orders of a page, which is about to be written.
  void take(Page& page);
  // Carries out what was taken. Pages are changed by that. False when there was nothing.
  bool carryOut(PageCache& cache);
  void forget();

 private:
  std::vector<psId> dropped_;
  std::vector<UnnamedArray> unnamed_;
};

}  // namespace ps::detail
