#pragma once

#include <lmdb.h>
#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "store/base/psSessionOptions.h"
#include "store/engine/Engine.h"
#include "store/engine/FileStructure.h"
#include "store/engine/LmdbOpen.h"
#include "store/engine/ReaderWatch.h"
#include "store/engine/StoreFile.h"
#include "store/engine/UpdateLock.h"

namespace ps::detail {

// A store's file as this process has it open: one LMDB environment, shared by all engines on that file.
//
// LMDB claims a file by record locks, which a process loses when it closes any descriptor of the lock file. If a file
// were opened twice and closed once, it would have no protection, and other processes would overwrite pages that our
// snapshots still read. So environments are kept in a registry by device and inode, and are opened and closed under its
// lock. The first to open a file determines its map size; sync and readOnly hold per engine.
//
// The descriptors are above 2, so that a program that has closed its standard streams does not write to them into a
// store. While a file is being opened, the free numbers below 3 are taken for this reason. What another thread opens
// meanwhile gets a higher number too.
//
// A file whose creation was interrupted, and to which no transaction was ever committed, is made into a store. Any
// other file that is not a store is not touched.
//
// Functions that return an int return 0 or an LMDB or system error code, for describe(). All may be called from any
// thread. A transaction is used by one thread at a time, and an update transaction ends on the thread that began it.
class LmdbEnvironment {
 public:
  struct Release {
    void operator()(LmdbEnvironment* environment) const noexcept;
  };
  using Handle = std::unique_ptr<LmdbEnvironment, Release>;

  // Opens the file at path, or shares the environment of those that have it open. Creates the file unless
  // options.readOnly. Null on failure, with the reason in error.
  static Handle acquire(const std::string& path, const psSessionOptions& options, StoreError& error);

  // Calls use with a descriptor for reading of the file at path, while updates of it wait. The file need not be one
  // that can be opened. False, with the reason in error, when it cannot be read or is not there.
  static bool withFile(const std::string& path, const std::function<void(int descriptor)>& use, StoreError& error);

  // The same for a file that nobody has open, and that nobody can open meanwhile, so that it may be replaced. real is
  // its path without symbolic links.
  static bool withExclusiveFile(const std::string& path,
                                const std::function<void(int descriptor, const std::string& real)>& use,
                                StoreError& error);

  // Hold the registry across a fork; see ForkLocks. What the parent has open is not open in the child.
  static void lockForFork();
  static void unlockAfterFork(bool inChild);

  LmdbEnvironment(const LmdbEnvironment&) = delete;
  LmdbEnvironment& operator=(const LmdbEnvironment&) = delete;

  // True in a child that was forked since the file was opened. LMDB does not notice the fork, but locks and reader
  // slots are the parent's. Nothing may be called then except this, path, and the release of the handle, which leaves
  // everything as it is.
  bool inherited() const noexcept;

  // The path of the file, without symbolic links.
  const std::string& path() const noexcept { return path_; }
  MDB_dbi database() const noexcept { return database_; }
  std::size_t maxKeySize() const noexcept;

  // Begins a read transaction, or renews one that endRead has kept. On failure transaction is freed and set to null.
  int beginRead(MDB_txn*& transaction);
  void endRead(MDB_txn* transaction) noexcept;

  // Waits for the update transaction of another thread or process, for at most busyTimeout milliseconds unless that is
  // negative; then returns ETIMEDOUT. With one of the same thread, returns EDEADLK. A thread must not end before its
  // update transaction: LMDB would then refuse everything until the file is opened again.
  int beginUpdate(bool sync, int busyTimeout, MDB_txn*& transaction);

  // Ends an update transaction. The code is 0 exactly when the transaction is committed. A kept read transaction, if
  // there is one, tells without memory what became of a commit that failed.
  Engine::Commit commit(MDB_txn* transaction, MDB_txn*& reader, int& code);
  void abort(MDB_txn* transaction) noexcept;

  // The read transactions that are open in all processes, the oldest first.
  int readers(std::vector<psReader>& found);

  // What a transaction sees of the file.
  int facts(MDB_txn* transaction, EngineFacts& found) const;

  // Walks over the file's pages, while updates wait.
  int checkStructure(int busyTimeout, const FileStructure::Progress& progress, StructureReport& report);

  // Frees what killed processes hold: their snapshots keep old pages from being reused.
  void reapReaders() noexcept;

  // The cause of an error code, and what to do about it.
  StoreError describe(int code) const;

 private:
  LmdbEnvironment(std::unique_ptr<UpdateLock> updateLock, LmdbPointer environment, const StoreFile& file);
  ~LmdbEnvironment();

  static LmdbEnvironment* findOpen(const StoreFile& file, StoreError& error);
  static LmdbEnvironment* openAnew(StoreFile& file, const psSessionOptions& options, StoreError& error);
  static int openOrCreate(StoreFile& file, const psSessionOptions& options, std::size_t mapSize,
                          LmdbPointer& environment);
  static int readFile(const std::string& path, UpdateLock& updateLock, int busyTimeout,
                      const std::function<void(int descriptor)>& use);
  static StoreError faultOf(const StoreFile& file, UpdateLock& updateLock, const psSessionOptions& options);
  static int openDatabase(MDB_env* environment, MDB_dbi& database);

  bool isOfItsCommit(MDB_txn* transaction, int& code);
  int begin(unsigned int flags, MDB_txn*& transaction);
  int tryBegin(unsigned int flags, MDB_txn*& transaction);
  int enter();
  void leave() noexcept;
  void dropRead(MDB_txn* transaction) noexcept;
  void adoptGrownMap();

  const std::unique_ptr<UpdateLock> updateLock_;
  LmdbPointer environment_;
  const std::string path_;
  const dev_t device_;
  const ino_t inode_;
  const unsigned int forkGeneration_;
  MDB_dbi database_ = 0;

  std::size_t users_ = 1;  // guarded by the registry

  ReaderWatch readerWatch_;

  std::mutex mutex_;                    // guards the next two
  std::size_t activeTransactions_ = 0;  // begun or about to begin; the map may be replaced only when there is none
  int lostMap_ = 0;                     // why the map could not be replaced; nothing can be begun then

  bool syncing_ = true;                    // belongs to the update transaction
  std::atomic<std::uint64_t> updater_{0};  // number of the thread that has it; 0: none of this process
  std::atomic<unsigned int> commits_{0};
};

}  // namespace ps::detail
