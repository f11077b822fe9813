#include "store/engine/LmdbErrors.h"

#include <lmdb.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>

namespace ps::detail {

namespace {

std::string freeSpaceOf(const std::string& path) {
  struct statvfs status {};
  const std::string folder = std::filesystem::path(path).parent_path().string();
  if (::statvfs(path.c_str(), &status) != 0 && ::statvfs(folder.c_str(), &status) != 0) return "unknown";
  return std::to_string(std::uint64_t{status.f_bavail} * status.f_frsize);
}

}  // namespace

std::string explain(int code, const std::string& path) {
  switch (code) {
    case MDB_INVALID:
      return "the file is not a store. Check the path; the file was left as it is";
    case MDB_VERSION_MISMATCH:
      return "the file was written by an incompatible version of LMDB. Open it with the program that wrote it";
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_CURSOR_FULL:
      return std::string("the file is damaged (") + mdb_strerror(code) + "). Restore it from a backup";
    case MDB_PANIC:
      return "writing to the file has failed before, or a thread ended within an update, so this process can no longer "
             "trust its view of it. Close every session that it has on the store, then open the store again";
    case MDB_READERS_FULL:
      return "all " + std::to_string(maxReaders) +
             " reader slots are taken. Close sessions that are not needed, in this process or in others";
    case MDB_MAP_RESIZED:
      return "another process has let the file grow beyond the address space reserved here, and more cannot be "
             "reserved "
             "while other transactions of this process are open. End them and try again, or give all processes the "
             "same "
             "mapSize (or PSCOLLECTIONS_MAP_SIZE)";
    case MDB_TXN_FULL:
      return "the transaction has changed too much. Commit more often";
    case MDB_BAD_TXN:
      return "the transaction is void because of an earlier failure. Abort it";
    case EDEADLK:
      return "this thread already has an update transaction open on the store and would wait for itself for ever. "
             "Commit "
             "or abort that one first";
    case EACCES:
    case EPERM:
      return "permission denied. Check the permissions of the file, of the lock file beside it (the name with -lock) "
             "and "
             "of their directory";
    case EROFS:
      return "the file system is read-only. Open the store with the option readOnly";
    case ENOMEM:
      return "there is no memory or address space left. Lower the option mapSize (or PSCOLLECTIONS_MAP_SIZE), or raise "
             "the process's limit";
    case ENOSPC:
    case EDQUOT:
      return std::string(std::strerror(code)) + " (" + freeSpaceOf(path) +
             " bytes free). Make room and repeat the transaction";
    case EFBIG:
      return "the file may not grow further by the process's limit (ulimit -f) or the file system's. Raise it";
    case EIO:
      // LMDB gives this code for an incomplete write, too.
      return "a read or write failed, or the disk is full (" + freeSpaceOf(path) +
             " bytes free). Make room, check the device, then repeat the transaction";
    case ENOLCK:
    case ENOSYS:
      return "the file system does not provide the locks that a store needs. Put it on a local file system";
    default:
      return mdb_strerror(code);
  }
}

psErrorKind kindOf(int code) {
  switch (code) {
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_BAD_TXN:
    case EDEADLK:
      return psErrorKind::usage;
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_CURSOR_FULL:
      return psErrorKind::damaged;
    case MDB_PANIC:
      return psErrorKind::outcomeUnknown;
    case MDB_READERS_FULL:
    case MDB_MAP_RESIZED:
      return psErrorKind::busy;
    case MDB_TXN_FULL:
    case MDB_MAP_FULL:
      return psErrorKind::full;
    case EACCES:
    case EPERM:
    case EROFS:
      return psErrorKind::denied;
    case ENOENT:
    case ENOTDIR:
      return psErrorKind::absent;
    case ENOMEM:
      return psErrorKind::memory;
    default:
      return psErrorKind::disk;
  }
}

StoreError cannotOpen(const std::string& path, const StoreError& reason) {
  return {reason.kind, "Cannot open the store '" + path + "': " + reason.text + "."};
}

}  // namespace ps::detail
