#include "DiskBytes.h"

#include <lmdb.h>

#include <stdexcept>
#include <string>

#include "Payload.h"

namespace {

void require(int code) {
  if (code != 0) throw std::runtime_error(std::string("cannot look into a file of LMDB's: ") + mdb_strerror(code));
}

// LMDB lists free pages in its first database: each value is a count, followed by that many page numbers.
std::uint64_t countFreePages(MDB_env* environment) {
  constexpr MDB_dbi freeList = 0;
  MDB_txn* transaction = nullptr;
  MDB_cursor* cursor = nullptr;
  require(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction));
  require(mdb_cursor_open(transaction, freeList, &cursor));
  std::uint64_t pages = 0;
  MDB_val key{};
  MDB_val data{};
  while (mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0) pages += numberAt(data.mv_data);
  mdb_cursor_close(cursor);
  mdb_txn_abort(transaction);
  return pages;
}

}  // namespace

DiskBytes bytesOfFolder(const std::filesystem::path& folder) {
  DiskBytes bytes;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) bytes.files += entry.file_size();
  }
  bytes.inUse = bytes.files;
  return bytes;
}

DiskBytes bytesOfLmdbFile(const std::filesystem::path& path) {
  MDB_env* environment = nullptr;
  require(mdb_env_create(&environment));
  // Without locks, since closing them would take away those of a session on the file in this process.
  require(mdb_env_open(environment, path.c_str(), MDB_NOSUBDIR | MDB_RDONLY | MDB_NOLOCK, 0));
  MDB_envinfo info{};
  MDB_stat statistics{};
  require(mdb_env_info(environment, &info));
  require(mdb_env_stat(environment, &statistics));
  const std::uint64_t pages = info.me_last_pgno + 1 - countFreePages(environment);
  mdb_env_close(environment);
  return {std::filesystem::file_size(path), pages * statistics.ms_psize};
}
