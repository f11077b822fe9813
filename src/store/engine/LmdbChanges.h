#pragma once

#include <lmdb.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ps::detail {

// LMDB does not write through the pointers of what it is given.
inline MDB_val toValue(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }

// The changes of one update transaction of LMDB, and the memory that they take. LMDB keeps each page that a transaction
// changes on the heap until the commit. It does not say how many those are, so they are counted here: exactly for
// values in pages of their own and for leaves. Of the branch pages above, only the first ones and new ones are counted.
//
// LMDB does not change a page in its map. Whether a page is counted already is told by where it lies.
class LmdbChanges {
 public:
  LmdbChanges() = default;
  LmdbChanges(MDB_txn* transaction, MDB_dbi database) : transaction_(transaction), database_(database) {}

  // As mdb_put and mdb_del.
  int put(std::string_view key, std::string_view value);
  int erase(std::string_view key);

  std::size_t bytes() const { return bytes_; }

 private:
  // What the transaction has where a key is, or would be.
  struct Place {
    const char* inLeaf = nullptr;  // an address in the leaf; null when that cannot be told
    bool exists = false;
    MDB_val value{};
  };

  int find(std::string_view key, Place& place);
  int begin();
  void locateMap(const char* inLeaf);
  void noteReclaiming();
  bool isInMap(const void* address) const;
  void countTree(const Place& place);
  std::size_t pagesOutside(std::string_view key, std::size_t valueSize) const;
  std::size_t changedPagesOutside(std::string_view key, const Place& place) const;
  void countPages(std::size_t pages);
  void uncountPages(std::size_t pages);

  MDB_txn* transaction_ = nullptr;
  MDB_dbi database_ = 0;
  MDB_cursor* cursor_ = nullptr;  // ends with the transaction
  std::size_t pageSize_ = 0;
  std::uintptr_t mapBegin_ = 0;
  std::size_t mapSize_ = 0;     // 0 when the map's place is not known
  std::uint64_t lastPage_ = 0;  // before the transaction
  std::size_t treePages_ = 0;
  bool reclaims_ = false;  // see noteReclaiming
  std::size_t bytes_ = 0;
  std::size_t allocations_ = 0;
};

}  // namespace ps::detail
