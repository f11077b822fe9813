#include "store/engine/StoreCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "store/engine/LmdbErrors.h"
#include "store/engine/NewFile.h"
#include "store/engine/StoreAddress.h"

namespace ps::detail {

namespace {

// LMDB holds what a transaction writes in memory.
constexpr std::size_t bytesPerCommit = std::size_t{16} << 20;
constexpr mode_t permissions = 0664;

MDB_val toValue(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }

mode_t creationMask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

}  // namespace

StoreCopy::~StoreCopy() {
  if (transaction_ != nullptr) mdb_txn_abort(transaction_);
  environment_.reset();
  if (!partial_.empty()) ::unlink(partial_.c_str());
}

bool StoreCopy::fail(int code) {
  error_ = {kindOf(code), "Cannot write the store '" + path_ + "': " + explain(code, path_) + "."};
  return false;
}

bool StoreCopy::begin(const std::string& path) {
  if (isStoreAddress(path)) {
    server_ = std::make_unique<ServerCopy>();
    return server_->begin(path);
  }
  path_ = path;
  struct stat status {};
  if (path.find('\0') != std::string::npos || ::lstat(path.c_str(), &status) == 0) {
    error_ = {psErrorKind::usage, "Cannot write the store '" + path + "': something of that name exists. Choose " +
                                      "another path, or remove it."};
    return false;
  }
  return beginPartial();
}

bool StoreCopy::beginReplacement(const std::string& path) {
  path_ = path;
  replaces_ = true;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return fail(errno);
  if (!beginPartial()) return false;
  static_cast<void>(::chmod(partial_.c_str(), status.st_mode));
  // Only root can give a file away; others own what they replace.
  static_cast<void>(::chown(partial_.c_str(), status.st_uid, status.st_gid) == 0);
  return true;
}

bool StoreCopy::beginPartial() {
  std::string name = path_ + "-partialXXXXXX";
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) return fail(errno);
  partial_ = name;
  ::fchmod(descriptor, permissions & ~creationMask());
  ::close(descriptor);
  int code = openMapped(partial_, MDB_NOSUBDIR | MDB_NOLOCK | MDB_NOSYNC | MDB_NOTLS, defaultMapSize, environment_);
  if (code == 0) code = beginTransaction();
  return code == 0 || fail(code);
}

int StoreCopy::beginTransaction() {
  int code = mdb_txn_begin(environment_.get(), nullptr, 0, &transaction_);
  if (code == 0) code = mdb_dbi_open(transaction_, nullptr, 0, &database_);
  return code;
}

int StoreCopy::commit() {
  MDB_txn* const ended = transaction_;
  transaction_ = nullptr;
  uncommitted_ = 0;
  return mdb_txn_commit(ended);
}

bool StoreCopy::put(std::string_view key, std::string_view value, bool& isNew) {
  if (server_ != nullptr) return server_->put(key, value, isNew);
  MDB_val storedKey = toValue(key);
  MDB_val storedValue = toValue(value);
  const bool isLast = key > lastKey_;
  int code = mdb_put(transaction_, database_, &storedKey, &storedValue, isLast ? MDB_APPEND : MDB_NOOVERWRITE);
  isNew = code != MDB_KEYEXIST;
  if (code == MDB_KEYEXIST) return true;
  if (isLast) lastKey_ = key;
  uncommitted_ += key.size() + value.size();
  if (code == 0 && uncommitted_ >= bytesPerCommit) {
    code = commit();
    if (code == 0) code = beginTransaction();
  }
  return code == 0 || fail(code);
}

bool StoreCopy::finish() {
  if (server_ != nullptr) return server_->finish();
  int code = commit();
  if (code == 0) code = mdb_env_sync(environment_.get(), 1);
  environment_.reset();
  if (code == 0) code = giveName();
  return code == 0 || fail(code);
}

// A link refuses to replace a file that has appeared meanwhile.
int StoreCopy::giveName() {
  if (replaces_) {
    if (::rename(partial_.c_str(), path_.c_str()) != 0) return errno;
  } else if (::link(partial_.c_str(), path_.c_str()) != 0) {
    return errno;
  } else {
    ::unlink(partial_.c_str());
  }
  partial_.clear();
  syncDirectoryOf(path_);
  return 0;
}

}  // namespace ps::detail
