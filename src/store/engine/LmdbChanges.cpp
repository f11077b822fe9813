#include "store/engine/LmdbChanges.h"

#include <algorithm>
#include <cstring>

namespace ps::detail {

namespace {

// Of LMDB's format: the head of a page, of which the first 8 bytes are the page's number and the last 4, for a value in
// pages of its own, the number of these; the head of a node in a leaf.
constexpr std::size_t pageHead = 16;
constexpr std::size_t nodeHead = 8;
// Where a transaction has changed that many pages or runs of pages, LMDB writes one in 8 to the file and frees it.
constexpr std::size_t mostAllocations = 131071;
constexpr std::size_t partSpilled = 8;

std::uint64_t numberOf(const char* page) {
  std::uint64_t number = 0;
  std::memcpy(&number, page, sizeof number);
  return number;
}

std::size_t pagesIn(const MDB_stat& tree) { return tree.ms_branch_pages + tree.ms_leaf_pages; }

}  // namespace

int LmdbChanges::put(std::string_view key, std::string_view value) {
  Place place;
  if (const int code = find(key, place); code != 0) return code;
  const std::size_t pagesThen = pagesOutside(key, value.size());
  const std::size_t pagesNow = changedPagesOutside(key, place);
  MDB_val storedKey = toValue(key);
  MDB_val storedValue = toValue(value);
  const int code = mdb_cursor_put(cursor_, &storedKey, &storedValue, 0);
  if (code != 0) return code;
  countTree(place);
  if (pagesThen == 0 || pagesThen > pagesNow) {
    uncountPages(pagesNow);
    countPages(pagesThen);
    if (pagesThen > 0) noteReclaiming();
  }
  return 0;
}

int LmdbChanges::erase(std::string_view key) {
  Place place;
  if (const int code = find(key, place); code != 0) return code;
  if (!place.exists) return MDB_NOTFOUND;
  const std::size_t pagesNow = changedPagesOutside(key, place);
  const int code = mdb_cursor_del(cursor_, 0);
  if (code != 0) return code;
  countTree(place);
  uncountPages(pagesNow);
  return 0;
}

// The cursor is left in the leaf where the key is or would be, so the change that follows finds it at once.
int LmdbChanges::find(std::string_view key, Place& place) {
  const bool isFirst = cursor_ == nullptr;
  if (const int code = isFirst ? begin() : 0; code != 0) return code;
  MDB_val at = toValue(key);
  int code = mdb_cursor_get(cursor_, &at, &place.value, MDB_SET_KEY);
  place.exists = code == 0;
  if (code != 0 && code != MDB_NOTFOUND) return code;
  MDB_val beside{};
  if (code != 0) code = mdb_cursor_get(cursor_, &at, &beside, MDB_GET_CURRENT);
  if (code != 0) code = mdb_cursor_get(cursor_, &at, &beside, MDB_PREV);
  if (code == 0) place.inLeaf = static_cast<const char*>(at.mv_data);
  if (isFirst) locateMap(place.inLeaf);
  return 0;
}

int LmdbChanges::begin() {
  MDB_stat tree{};
  MDB_envinfo file{};
  int code = mdb_stat(transaction_, database_, &tree);
  if (code == 0) code = mdb_env_info(mdb_txn_env(transaction_), &file);
  if (code == 0) code = mdb_cursor_open(transaction_, database_, &cursor_);
  if (code != 0) return code;
  pageSize_ = tree.ms_psize;
  treePages_ = pagesIn(tree);
  lastPage_ = file.me_last_pgno;
  mapSize_ = file.me_mapsize;
  for (std::size_t level = 1; level < tree.ms_depth; ++level) countPages(1);
  return 0;
}

// From a page that the transaction has not changed, if there is any.
void LmdbChanges::locateMap(const char* inLeaf) {
  const char* const page = inLeaf - reinterpret_cast<std::uintptr_t>(inLeaf) % pageSize_;
  const std::uint64_t number = page != nullptr ? numberOf(page) : 0;
  if (page == nullptr || number > lastPage_) {
    mapSize_ = 0;
    return;
  }
  mapBegin_ = reinterpret_cast<std::uintptr_t>(page) - number * pageSize_;
}

// When a value that was put got pages that the file had before, LMDB has a list of free pages to choose from. It then
// adds changed pages that get free to that list, and frees their memory. Otherwise it keeps it.
void LmdbChanges::noteReclaiming() {
  MDB_val key{};
  MDB_val value{};
  if (reclaims_ || mdb_cursor_get(cursor_, &key, &value, MDB_GET_CURRENT) != 0) return;
  reclaims_ = numberOf(static_cast<const char*>(value.mv_data) - pageHead) <= lastPage_;
}

bool LmdbChanges::isInMap(const void* address) const {
  return reinterpret_cast<std::uintptr_t>(address) - mapBegin_ < mapSize_;
}

// Counts the leaf of the place, which was changed, and what has become new in the tree.
void LmdbChanges::countTree(const Place& place) {
  if (isInMap(place.inLeaf)) countPages(1);
  MDB_stat tree{};
  if (mdb_stat(transaction_, database_, &tree) != 0) return;
  for (; treePages_ < pagesIn(tree); ++treePages_) countPages(1);
}

// Pages that a value has to itself; 0 for one that lies in its leaf.
std::size_t LmdbChanges::pagesOutside(std::string_view key, std::size_t valueSize) const {
  const std::size_t largestNode = (pageSize_ - pageHead) / 4 * 2 - sizeof(std::uint16_t);
  if (nodeHead + key.size() + valueSize <= largestNode) return 0;
  return (pageHead + valueSize + pageSize_ - 1) / pageSize_;
}

// How many the value has that is in memory already.
std::size_t LmdbChanges::changedPagesOutside(std::string_view key, const Place& place) const {
  if (!place.exists || isInMap(place.value.mv_data) || pagesOutside(key, place.value.mv_size) == 0) return 0;
  std::uint32_t pages = 0;
  std::memcpy(&pages, static_cast<const char*>(place.value.mv_data) - sizeof pages, sizeof pages);
  return pages;
}

void LmdbChanges::countPages(std::size_t pages) {
  if (pages == 0) return;
  bytes_ += pages * pageSize_;
  if (++allocations_ < mostAllocations) return;
  bytes_ -= bytes_ / partSpilled;
  allocations_ -= allocations_ / partSpilled;
}

void LmdbChanges::uncountPages(std::size_t pages) {
  if (pages == 0 || !reclaims_) return;
  bytes_ -= std::min(bytes_, pages * pageSize_);
  allocations_ -= std::min<std::size_t>(allocations_, 1);
}

}  // namespace ps::detail
