#pragma once

#include <gtest/gtest.h>
#include <lmdb.h>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace ps::test {

// The content of a store's file, as LMDB sees it.
class RawFile {
 public:
  explicit RawFile(const std::string& path) {
    EXPECT_EQ(mdb_env_create(&environment_), 0);
    EXPECT_EQ(mdb_env_set_mapsize(environment_, std::size_t{1} << 30), 0);
    EXPECT_EQ(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0664), 0);
    EXPECT_EQ(mdb_txn_begin(environment_, nullptr, 0, &transaction_), 0);
    EXPECT_EQ(mdb_dbi_open(transaction_, nullptr, 0, &database_), 0);
  }
  ~RawFile() {
    EXPECT_EQ(mdb_txn_commit(transaction_), 0);
    mdb_env_close(environment_);
  }
  void put(std::string_view key, std::string_view value) {
    MDB_val k = wrap(key);
    MDB_val v = wrap(value);
    EXPECT_EQ(mdb_put(transaction_, database_, &k, &v, 0), 0);
  }
  void erase(std::string_view key) {
    MDB_val k = wrap(key);
    EXPECT_EQ(mdb_del(transaction_, database_, &k, nullptr), 0);
  }
  std::map<std::string, std::string> content() {
    std::map<std::string, std::string> content;
    MDB_cursor* cursor = nullptr;
    EXPECT_EQ(mdb_cursor_open(transaction_, database_, &cursor), 0);
    MDB_val k{};
    MDB_val v{};
    while (mdb_cursor_get(cursor, &k, &v, MDB_NEXT) == 0) {
      content.emplace(std::string(static_cast<char*>(k.mv_data), k.mv_size),
                      std::string(static_cast<char*>(v.mv_data), v.mv_size));
    }
    mdb_cursor_close(cursor);
    return content;
  }
  MDB_stat status() const {
    MDB_stat status{};
    EXPECT_EQ(mdb_stat(transaction_, database_, &status), 0);
    return status;
  }

 private:
  static MDB_val wrap(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }

  MDB_env* environment_ = nullptr;
  MDB_txn* transaction_ = nullptr;
  MDB_dbi database_ = 0;
};

}  // namespace ps::test
