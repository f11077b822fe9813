#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "store/base/StoreError.h"
#include "store/engine/LmdbOpen.h"
#include "store/engine/ServerCopy.h"

namespace ps::detail {

// A new store's file that is filled with entries. It has its name only when it is whole and on the disk: until then it
// has one that ends in -partial and 6 letters, and it is removed when it is not finished. Where the path is an address,
// it is a store on a server, see ServerCopy.
//
// Functions that return false leave the reason in error().
class StoreCopy {
 public:
  StoreCopy() = default;
  StoreCopy(const StoreCopy&) = delete;
  StoreCopy& operator=(const StoreCopy&) = delete;
  ~StoreCopy();

  // Refuses a path at which something is.
  bool begin(const std::string& path);
  // For a copy that takes the place of the file at path when it is finished, with its owner and permissions.
  bool beginReplacement(const std::string& path);
  // Keys that ascend fill the pages. A key that is there keeps its value, and isNew is false.
  bool put(std::string_view key, std::string_view value, bool& isNew);
  bool finish();

  const StoreError& error() const { return server_ == nullptr ? error_ : server_->error(); }

 private:
  bool fail(int code);
  bool beginPartial();
  int beginTransaction();
  int commit();
  int giveName();

  std::unique_ptr<ServerCopy> server_;  // null for a file
  std::string path_;
  std::string partial_;  // empty when there is no such file
  bool replaces_ = false;
  LmdbPointer environment_;
  MDB_txn* transaction_ = nullptr;
  MDB_dbi database_ = 0;
  std::string lastKey_;
  std::size_t uncommitted_ = 0;  // bytes
  StoreError error_;
};

}  // namespace ps::detail
