#pragma once

#include <lmdb.h>

#include <filesystem>
#include <functional>
#include <string>

#include "store/psSession.h"

// What the benchmark programs share: a place for stores that is gone when the program ends, and LMDB as a peer.

// Ends the program with a message, since figures of something that failed mean nothing.
[[noreturn]] void stop(const std::string& what);

// A name for one store's file, in a folder of the program's own. The file and its lock file are removed with the
// object; the folder, with all that is left in it, when the program ends.
class ScratchFile {
 public:
  ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Bytes of the file.
std::size_t sizeOf(const ScratchFile& file);

// Copies a store that nobody has open.
void copyStore(const ScratchFile& from, const ScratchFile& to);

// Runs check in another process, in a read transaction of a session of its own, and stops this program when check
// returns a complaint, or when the other process ends otherwise. This process must have no session open. check must not
// call stop, which would remove this process's files.
void checkInOtherProcess(const ScratchFile& store, const std::function<std::string(psSession&)>& check);

// An LMDB environment of one database in a new file, durable as LMDB is by default.
class LmdbPeer {
 public:
  // databaseFlags as for mdb_dbi_open.
  explicit LmdbPeer(unsigned int databaseFlags = 0);
  LmdbPeer(const LmdbPeer&) = delete;
  LmdbPeer& operator=(const LmdbPeer&) = delete;
  ~LmdbPeer() { mdb_env_close(environment_); }

  MDB_dbi database() const { return database_; }
  const ScratchFile& file() const { return file_; }

  // flags as for mdb_txn_begin: 0 or MDB_RDONLY. Whoever begins ends the transaction.
  MDB_txn* begin(unsigned int flags) const;
  void commit(MDB_txn* transaction) const;

 private:
  ScratchFile file_;
  MDB_env* environment_ = nullptr;
  MDB_dbi database_ = 0;
};
