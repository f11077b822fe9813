#include "store/cache/StorageOrders.h"

#include <utility>

#include "store/cache/PageCache.h"
#include "store/cache/StorageRows.h"

namespace ps::detail {

namespace {

// The storage in memory that has an identifier, open for update. Null when it cannot be read: a page that is damaged is
// no reason to refuse changes of others.
char* changed(PageCache& cache, const psId& id) {
  Page* page = nullptr;
  const bool isRead = cache.fetch(id, page) == PageCache::Fetch::present;
  char* const found = isRead ? liveObject(page->frame, id.get_slot()) : nullptr;
  if (found == nullptr || !isStorage(headerOf(found)->type)) return nullptr;
  cache.change(*page);
  return found;
}

}  // namespace

void StorageOrders::take(Page& page) {
  dropped_.insert(dropped_.end(), page.droppedStorage.begin(), page.droppedStorage.end());
  unnamed_.insert(unnamed_.end(), page.unnamedArrays.begin(), page.unnamedArrays.end());
  page.droppedStorage.clear();
  page.unnamedArrays.clear();
}

bool StorageOrders::carryOut(PageCache& cache) {
  const std::vector<psId> dropped = std::exchange(dropped_, {});
  const std::vector<UnnamedArray> unnamed = std::exchange(unnamed_, {});
  for (const psId& id : dropped) {
    if (const char* const storage = changed(cache, id)) cache.free(*frameOfObject(storage)->page, id.get_slot());
  }
  for (const UnnamedArray& array : unnamed) {
    if (char* const storage = changed(cache, array.storage)) PageCache::describeElements(storage, *array.elements);
  }
  return !dropped.empty() || !unnamed.empty();
}

void StorageOrders::forget() {
  dropped_.clear();
  unnamed_.clear();
}

}  // namespace ps::detail
