#pragma once

#include <lmdb.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "store/psSession.h"

// What the benchmark programs share: a place for stores that is gone when the program ends, objects for collections to
// refer to, and LMDB as a peer.

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

// Bytes of the heap that are in use.
std::size_t heapBytes();

// Makes a store in the file, with so many objects in its database "bench", and returns the references to them in the
// order in which they were created.
std::vector<psId> createObjects(const ScratchFile& file, int count);

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

// The same with numbers as keys, and references as data.
class IntegerKeys : public LmdbPeer {
 public:
  IntegerKeys() : LmdbPeer(MDB_INTEGERKEY) {}

  // flags as for mdb_put.
  void put(MDB_txn* transaction, std::uint64_t key, const psId* value, unsigned int flags = 0) const;
  // False when the key is not there.
  bool find(MDB_txn* transaction, std::uint64_t key, MDB_val& data) const;
  // The bits of the reference that is bound to the key, which must be there.
  std::uint64_t get(MDB_txn* transaction, std::uint64_t key) const;

  // Calls visit(key, data) for all pairs, in the order of the keys.
  template <class Visit>
  void visitAll(MDB_txn* transaction, Visit visit) const {
    MDB_cursor* cursor = nullptr;
    if (mdb_cursor_open(transaction, database(), &cursor) != 0) stop("LMDB does not open a cursor");
    MDB_val key{};
    MDB_val data{};
    while (mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0) visit(key, data);
    mdb_cursor_close(cursor);
  }

  // The bits of the reference that is bound to a key.
  static std::uint64_t bitsOf(const MDB_val& data) { return static_cast<const psId*>(data.mv_data)->bits(); }
  // The sum of the bits of all references.
  std::uint64_t sumOfBits(MDB_txn* transaction) const;
};
