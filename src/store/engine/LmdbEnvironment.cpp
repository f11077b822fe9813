#include "store/engine/LmdbEnvironment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "store/engine/Descriptor.h"
#include "store/engine/ExclusiveUse.h"
#include "store/engine/LmdbErrors.h"
#include "store/engine/NewFile.h"

namespace ps::detail {

namespace {

constexpr unsigned int commitsBetweenReaps = 64;
constexpr std::size_t largestMapSize = std::size_t{1} << 47;

struct Registry {
  std::mutex mutex;
  std::vector<LmdbEnvironment*> environments;
};

// Never destroyed: engines with static lifetime may outlive every other static object.
Registry& registry() {
  static Registry& instance = *new Registry;
  return instance;
}

// Counts the forks between the first process and this one. Noticing a fork costs one load; getpid is a system call.
std::atomic<unsigned int> forkGeneration{0};

// Of the calling thread; never given to a second one, unlike the system's identifiers.
std::uint64_t threadNumber() {
  static std::atomic<std::uint64_t> last{0};
  thread_local const std::uint64_t number = ++last;
  return number;
}

// Takes the free descriptors below 3 while it lives.
class LowDescriptors {
 public:
  LowDescriptors() {
    int taken = 0;
    while ((taken = ::open("/", O_PATH | O_CLOEXEC)) >= 0 && taken < firstUsable) taken_[count_++] = taken;
    if (taken >= firstUsable) ::close(taken);
  }
  LowDescriptors(const LowDescriptors&) = delete;
  LowDescriptors& operator=(const LowDescriptors&) = delete;
  ~LowDescriptors() {
    while (count_ > 0) ::close(taken_[--count_]);
  }

 private:
  static constexpr int firstUsable = 3;

  int taken_[firstUsable] = {};
  int count_ = 0;
};

bool chooseMapSize(const psSessionOptions& options, std::size_t& size, StoreError& reason) {
  size = options.mapSize;
  const char* setting = std::getenv("PSCOLLECTIONS_MAP_SIZE");
  if (size == 0 && setting != nullptr && *setting != '\0') {
    const char* end = setting + std::strlen(setting);
    const auto parsed = std::from_chars(setting, end, size);
    if (parsed.ec != std::errc() || parsed.ptr != end || size == 0) {
      reason = {psErrorKind::usage, std::string("the environment variable PSCOLLECTIONS_MAP_SIZE is '") + setting +
                                        "'. Set it to a number of bytes, as in 1073741824, or remove it"};
      return false;
    }
  }
  if (size == 0) size = defaultMapSize;
  size = std::min(size, largestMapSize);
  return true;
}

StoreError busyError(const UpdateLock& lock) {
  return {psErrorKind::busy, lock.holder() + " has been updating it for longer than the option busyTimeout lets this " +
                                 "session wait. End that update, or its process if it hangs, or wait longer"};
}

// The head of a file to which nothing was committed reaches the disk before the first commit is written. A power
// failure in that commit could otherwise leave pages without a head, which nobody could tell from a file that is no
// store.
int syncIfFresh(MDB_env* environment) {
  MDB_envinfo info{};
  mdb_env_info(environment, &info);
  return info.me_last_txnid == 0 ? mdb_env_sync(environment, 1) : 0;
}

bool isForbidden(int code) { return code == EACCES || code == EPERM || code == EROFS; }

}  // namespace

LmdbEnvironment::Handle LmdbEnvironment::acquire(const std::string& path, const psSessionOptions& options,
                                                 StoreError& error) {
  std::unique_lock<std::mutex> lock(registry().mutex);
  StoreError reason;
  StoreFile file;
  Handle environment;
  if (StoreFile::locate(path, options, file, reason)) {
    LmdbEnvironment* const open = findOpen(file, reason);
    if (open != nullptr) {
      ++open->users_;
      environment.reset(open);
      // Outside the lock: it waits for the update of another thread, which may have to open something first.
      lock.unlock();
      reason = faultOf(file, *open->updateLock_, options);
    } else if (reason.empty()) {
      registry().environments.reserve(registry().environments.size() + 1);
      environment.reset(openAnew(file, options, reason));
      if (environment != nullptr) registry().environments.push_back(environment.get());
    }
  }
  if (reason.empty()) return environment;
  error = cannotOpen(path, reason);
  return nullptr;
}

void LmdbEnvironment::lockForFork() { registry().mutex.lock(); }

void LmdbEnvironment::unlockAfterFork(bool inChild) {
  if (inChild) {
    forkGeneration.fetch_add(1, std::memory_order_relaxed);
    registry().environments.clear();
  }
  registry().mutex.unlock();
}

void LmdbEnvironment::Release::operator()(LmdbEnvironment* environment) const noexcept {
  if (environment->inherited()) return;  // closing would write to the parent's lock table
  const std::lock_guard<std::mutex> lock(registry().mutex);
  if (--environment->users_ > 0) return;
  auto& open = registry().environments;
  open.erase(std::find(open.begin(), open.end(), environment));
  delete environment;
}

// Null with a reason in error: opening the file would take the locks from a store that this process has open.
LmdbEnvironment* LmdbEnvironment::findOpen(const StoreFile& file, StoreError& error) {
  for (LmdbEnvironment* open : registry().environments) {
    if (file.exists && open->device_ == file.device && open->inode_ == file.inode) return open;
    if (open->path_ == file.path) {
      error = {
          psErrorKind::busy,
          "the file was removed or replaced while this process has its predecessor open. Close the sessions on that "
          "one "
          "first"};
      return nullptr;
    }
    if (open->path_ + "-lock" == file.path) {
      error = {psErrorKind::usage, "it is the lock file of a store that is open. Name the store"};
      return nullptr;
    }
  }
  return nullptr;
}

LmdbEnvironment* LmdbEnvironment::openAnew(StoreFile& file, const psSessionOptions& options, StoreError& error) {
  std::size_t mapSize = 0;
  if (!chooseMapSize(options, mapSize, error)) return nullptr;
  const bool hadLockFile = ::access(file.lockPath().c_str(), F_OK) == 0;

  const LowDescriptors low;
  auto updateLock = std::make_unique<UpdateLock>();
  LmdbPointer environment;
  int code = updateLock->open(file.lockPath(), maxReaders);
  if (options.readOnly && isForbidden(code)) code = 0;
  updateLock->enter();
  if (file.exists) file.identify();
  if (code == 0) error = faultOf(file, *updateLock, options);
  if (!error.empty()) return nullptr;
  if (code == 0) code = openOrCreate(file, options, mapSize, environment);
  MDB_dbi database = 0;
  if (code == 0) code = openDatabase(environment.get(), database);
  if (code != 0) {
    environment.reset();
    error = {kindOf(code), explain(code, file.path)};
    // Nobody can be using the lock file of a file that is no store.
    if (!hadLockFile && (code == MDB_INVALID || code == MDB_VERSION_MISMATCH)) ::unlink(file.lockPath().c_str());
    return nullptr;
  }

  int descriptor = -1;
  struct stat status {};
  mdb_env_get_fd(environment.get(), &descriptor);
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  ::fstat(descriptor, &status);
  if (file.exists && (status.st_dev != file.device || status.st_ino != file.inode)) {
    error = {psErrorKind::busy, "the file was replaced while it was being opened. Try again"};
    return nullptr;
  }
  file.device = status.st_dev;
  file.inode = status.st_ino;
  updateLock->leave();
  auto* opened = new LmdbEnvironment(std::move(updateLock), std::move(environment), file);
  opened->database_ = database;
  opened->reapReaders();
  return opened;
}

// What is wrong with a file, before anything of it is mapped: a mapped page beyond the end of the file kills the
// process that reads it. A file that LMDB would not take for a store is left to LMDB.
StoreError LmdbEnvironment::faultOf(const StoreFile& file, UpdateLock& updateLock, const psSessionOptions& options) {
  if (!file.exists) return {};
  const Descriptor descriptor(file.path, O_RDONLY);
  const bool whole = options.verify != psVerify::none;
  if (!whole && !FileStructure::isShort(descriptor)) return {};
  StructureReport report;
  const int code = readFile(file.path, updateLock, options.busyTimeout, [&](int read) {
    FileStructure structure(read);
    if (whole)
      structure.walk(report);
    else
      structure.walkEnd(report);
  });
  if (code == ETIMEDOUT) return busyError(updateLock);
  if (code != 0) return {kindOf(code), explain(code, file.path)};
  if (!report.isStore || report.faultCount == 0) return {};
  return {psErrorKind::damaged, "the file is damaged: " + textOf(report) + ". Restore it from a backup"};
}

int LmdbEnvironment::readFile(const std::string& path, UpdateLock& updateLock, int busyTimeout,
                              const std::function<void(int descriptor)>& use) {
  const Descriptor descriptor(path, O_RDONLY);
  if (descriptor < 0) return errno;
  const int code = updateLock.lock(busyTimeout);
  if (code != 0) return code;
  use(descriptor);
  updateLock.unlock();
  return 0;
}

bool LmdbEnvironment::withFile(const std::string& path, const std::function<void(int descriptor)>& use,
                               StoreError& error) {
  std::unique_lock<std::mutex> lock(registry().mutex);
  psSessionOptions options;
  options.readOnly = true;
  options.allowNetworkFileSystem = true;
  StoreError reason;
  StoreFile file;
  if (StoreFile::locate(path, options, file, reason)) {
    LmdbEnvironment* const open = findOpen(file, reason);
    int code = 0;
    if (open != nullptr) {
      ++open->users_;
      const Handle environment(open);
      lock.unlock();
      code = readFile(file.path, *open->updateLock_, options.busyTimeout, use);
    } else if (reason.empty()) {
      UpdateLock own;
      code = own.open(file.lockPath(), maxReaders);
      if (code == 0 || isForbidden(code)) code = readFile(file.path, own, options.busyTimeout, use);
    }
    if (code != 0) reason = {kindOf(code), explain(code, file.path)};
  }
  if (!reason.empty()) error = cannotOpen(path, reason);
  return reason.empty();
}

bool LmdbEnvironment::withExclusiveFile(const std::string& path,
                                        const std::function<void(int descriptor, const std::string& real)>& use,
                                        StoreError& error) {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  psSessionOptions options;
  options.readOnly = true;
  StoreError reason;
  StoreFile file;
  if (StoreFile::locate(path, options, file, reason)) {
    const ExclusiveUse exclusive(file.lockPath());
    const Descriptor descriptor(file.path, O_RDONLY);
    const int code = exclusive.code() != 0 || descriptor >= 0 ? exclusive.code() : errno;
    if (code == EBUSY)
      reason = {psErrorKind::busy, "it is open, in this process or in another one. Close it there first"};
    else if (code != 0)
      reason = {kindOf(code), explain(code, file.path)};
    else
      use(descriptor, file.path);
  }
  if (!reason.empty()) error = cannotOpen(path, reason);
  return reason.empty();
}

int LmdbEnvironment::checkStructure(int busyTimeout, const FileStructure::Progress& progress, StructureReport& report) {
  return readFile(path_, *updateLock_, busyTimeout, [&](int descriptor) {
    FileStructure structure(descriptor);
    structure.onProgress(progress);
    structure.walk(report);
  });
}

int LmdbEnvironment::openOrCreate(StoreFile& file, const psSessionOptions& options, std::size_t mapSize,
                                  LmdbPointer& environment) {
  // A store to be read only is opened for writing where that is permitted, so that another session of this process may
  // still update it.
  constexpr unsigned int flags = MDB_NOSUBDIR | MDB_NOTLS | MDB_NORDAHEAD;
  int code = openMapped(file.path, flags, mapSize, environment);
  if (options.readOnly && isForbidden(code)) {
    code = openMapped(file.path, flags | MDB_RDONLY, mapSize, environment);
  }
  const bool anew = code == MDB_INVALID && !options.readOnly;
  if (anew) {
    environment.reset();
    if (emptyUnfinishedFile(file.path, file.lockPath())) code = openMapped(file.path, flags, mapSize, environment);
  }
  if (code != 0 || !options.sync || options.readOnly) return code;
  if (!file.exists || anew) syncDirectoryOf(file.path);
  return syncIfFresh(environment.get());
}

int LmdbEnvironment::openDatabase(MDB_env* environment, MDB_dbi& database) {
  MDB_txn* transaction = nullptr;
  int code = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
  if (code == MDB_READERS_FULL) {
    mdb_reader_check(environment, nullptr);
    code = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
  }
  if (code != 0) return code;
  code = mdb_dbi_open(transaction, nullptr, 0, &database);
  mdb_txn_abort(transaction);
  return code;
}

LmdbEnvironment::LmdbEnvironment(std::unique_ptr<UpdateLock> updateLock, LmdbPointer environment, const StoreFile& file)
    : updateLock_(std::move(updateLock)),
      environment_(std::move(environment)),
      path_(file.path),
      device_(file.device),
      inode_(file.inode),
      forkGeneration_(forkGeneration.load(std::memory_order_relaxed)) {}

LmdbEnvironment::~LmdbEnvironment() {
  // LMDB would unmap a range that is no longer its own.
  if (lostMap_ != 0) static_cast<void>(environment_.release());
}

bool LmdbEnvironment::inherited() const noexcept {
  return forkGeneration_ != forkGeneration.load(std::memory_order_relaxed);
}

std::size_t LmdbEnvironment::maxKeySize() const noexcept {
  return static_cast<std::size_t>(mdb_env_get_maxkeysize(environment_.get()));
}

int LmdbEnvironment::beginRead(MDB_txn*& transaction) {
  int code = begin(MDB_RDONLY, transaction);
  while (code == 0 && !isOfItsCommit(transaction, code)) {
    endRead(transaction);
    code = begin(MDB_RDONLY, transaction);
  }
  if (code != 0 && transaction != nullptr) {
    dropRead(transaction);
    transaction = nullptr;
  }
  return code;
}

// LMDB notes the number of the last commit and then copies the head that belongs to it. When two more commits come in
// between, that head is overwritten: the snapshot is of a later commit than its number says, or half of one. So nobody
// may have begun to write a second commit by the time that the head was copied. That is certain when there is not even
// a first one. A killed process may have written that one and not its number, which then stays behind until the next
// update. If another reader still gets the same number, no such update had begun. False as well with an error in code.
bool LmdbEnvironment::isOfItsCommit(MDB_txn* transaction, int& code) {
  MDB_envinfo info{};
  mdb_env_info(environment_.get(), &info);
  if (info.me_last_txnid == mdb_txn_id(transaction)) return true;
  MDB_txn* later = nullptr;
  code = begin(MDB_RDONLY, later);
  if (code != 0) return false;
  const bool isSame = mdb_txn_id(later) == mdb_txn_id(transaction);
  dropRead(later);
  return isSame;
}

void LmdbEnvironment::endRead(MDB_txn* transaction) noexcept {
  mdb_txn_reset(transaction);
  leave();
}

int LmdbEnvironment::beginUpdate(bool sync, int busyTimeout, MDB_txn*& transaction) {
  transaction = nullptr;
  if (updater_.load(std::memory_order_relaxed) == threadNumber()) return EDEADLK;
  int code = updateLock_->lock(busyTimeout);
  if (code != 0) return code;
  code = begin(0, transaction);
  if (code != 0) {
    updateLock_->unlock();
    return code;
  }
  updater_.store(threadNumber(), std::memory_order_relaxed);
  // Only the holder of the update transaction reads or changes this flag.
  if (sync != syncing_) mdb_env_set_flags(environment_.get(), MDB_NOSYNC, sync ? 0 : 1);
  syncing_ = sync;
  return 0;
}

Engine::Commit LmdbEnvironment::commit(MDB_txn* transaction, MDB_txn*& reader, int& code) {
  updater_.store(0, std::memory_order_relaxed);
  code = mdb_txn_commit(transaction);
  updateLock_->unlock();
  leave();
  if (code == 0) {
    if (commits_.fetch_add(1, std::memory_order_relaxed) % commitsBetweenReaps == commitsBetweenReaps - 1)
      reapReaders();
    return Engine::Commit::committed;
  }
  // LMDB writes the data, then the meta page that makes it valid. When only the latter fails, the page may or may not
  // have reached the file, and LMDB refuses every later transaction.
  if (beginRead(reader) != 0) return Engine::Commit::unknown;
  endRead(reader);
  return Engine::Commit::conflict;
}

void LmdbEnvironment::abort(MDB_txn* transaction) noexcept {
  updater_.store(0, std::memory_order_relaxed);
  mdb_txn_abort(transaction);
  updateLock_->unlock();
  leave();
}

int LmdbEnvironment::readers(std::vector<psReader>& found) {
  found = readerWatch_.look(environment_.get());
  MDB_txn* snapshot = nullptr;
  int code = beginRead(snapshot);
  if (code != 0) return code;
  code = ReaderWatch::measure(snapshot, found);
  dropRead(snapshot);
  return code;
}

int LmdbEnvironment::facts(MDB_txn* transaction, EngineFacts& found) const {
  MDB_envinfo info{};
  MDB_stat status{};
  struct stat file {};
  found.path = path_;
  int code = mdb_env_info(environment_.get(), &info);
  if (code == 0) code = mdb_env_stat(environment_.get(), &status);
  if (code == 0 && ::stat(path_.c_str(), &file) != 0) code = errno;
  if (code == 0) code = ReaderWatch::countFree(transaction, found.freePages);
  found.fileBytes = static_cast<std::uint64_t>(file.st_size);
  found.lastChange = file.st_mtime;
  found.pageSize = status.ms_psize;
  found.pages = info.me_last_pgno + 1;
  found.mapSize = info.me_mapsize;
  return code;
}

void LmdbEnvironment::reapReaders() noexcept { mdb_reader_check(environment_.get(), nullptr); }

StoreError LmdbEnvironment::describe(int code) const {
  if (code == ETIMEDOUT) {
    return {psErrorKind::busy,
            updateLock_->holder() + " has been updating it for longer than the option busyTimeout " +
                "lets this session wait. End that update, or its process if it hangs, or wait longer"};
  }
  if (code != MDB_MAP_FULL) return {kindOf(code), explain(code, path_)};
  MDB_envinfo info{};
  MDB_stat status{};
  mdb_env_info(environment_.get(), &info);
  mdb_env_stat(environment_.get(), &status);
  return {kindOf(code),
          "the store is full: it may grow to " + std::to_string(info.me_mapsize) +
              " bytes, of which the last commit uses " + std::to_string((info.me_last_pgno + 1) * status.ms_psize) +
              ". Abort, close the sessions on it, and open it with a larger mapSize (or PSCOLLECTIONS_MAP_SIZE); old "
              "snapshots that are still being read also take room"};
}

int LmdbEnvironment::begin(unsigned int flags, MDB_txn*& transaction) {
  const int code = tryBegin(flags, transaction);
  if (code == MDB_READERS_FULL) {
    reapReaders();
  } else if (code == MDB_MAP_RESIZED) {
    adoptGrownMap();
  } else {
    return code;
  }
  return tryBegin(flags, transaction);
}

int LmdbEnvironment::tryBegin(unsigned int flags, MDB_txn*& transaction) {
  int code = enter();
  if (code == 0) {
    code = transaction != nullptr ? mdb_txn_renew(transaction)
                                  : mdb_txn_begin(environment_.get(), nullptr, flags, &transaction);
    if (code == 0) return 0;
    leave();
  }
  if (transaction != nullptr) mdb_txn_abort(transaction);
  transaction = nullptr;
  return code;
}

int LmdbEnvironment::enter() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (lostMap_ == 0) ++activeTransactions_;
  return lostMap_;
}

void LmdbEnvironment::leave() noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  --activeTransactions_;
}

void LmdbEnvironment::dropRead(MDB_txn* transaction) noexcept {
  mdb_txn_abort(transaction);
  leave();
}

// Maps as much as the process that let the file grow has mapped. Without effect while a transaction uses the old map:
// the caller's second attempt then fails as the first did.
void LmdbEnvironment::adoptGrownMap() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (activeTransactions_ == 0 && lostMap_ == 0) lostMap_ = mdb_env_set_mapsize(environment_.get(), 0);
}

}  // namespace ps::detail
