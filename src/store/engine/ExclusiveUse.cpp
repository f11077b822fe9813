#include "store/engine/ExclusiveUse.h"

#include <cerrno>

#include "store/engine/UpdateLock.h"

namespace ps::detail {

namespace {

// LMDB has a lock on it in each process in which the file is open.
constexpr off_t lmdbByte = 0;

int tryLock(int descriptor, off_t byte) {
  struct flock wanted {};
  wanted.l_type = F_WRLCK;
  wanted.l_whence = SEEK_SET;
  wanted.l_start = byte;
  wanted.l_len = 1;
  if (::fcntl(descriptor, F_OFD_SETLK, &wanted) == 0) return 0;
  return errno == EACCES || errno == EAGAIN ? EBUSY : errno;
}

}  // namespace

ExclusiveUse::ExclusiveUse(const std::string& lockPath) : lockFile_(lockPath, O_RDWR | O_CREAT), code_(take()) {}

// First nobody can begin to open it any more, then nobody has it open.
int ExclusiveUse::take() const {
  if (lockFile_ < 0) return errno;
  const int code = tryLock(lockFile_, UpdateLock::openingByte);
  return code == 0 ? tryLock(lockFile_, lmdbByte) : code;
}

}  // namespace ps::detail
