#pragma once

#include <lmdb.h>

#include <memory>

namespace ps::detail {

struct CloseCursor {
  void operator()(MDB_cursor* cursor) const noexcept { mdb_cursor_close(cursor); }
};

// Closed before its transaction ends.
using LmdbCursor = std::unique_ptr<MDB_cursor, CloseCursor>;

// Null on failure, with LMDB's code in code.
inline LmdbCursor openCursor(MDB_txn* transaction, MDB_dbi database, int& code) {
  MDB_cursor* opened = nullptr;
  code = mdb_cursor_open(transaction, database, &opened);
  return LmdbCursor(opened);
}

}  // namespace ps::detail
