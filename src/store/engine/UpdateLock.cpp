#include "store/engine/UpdateLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <thread>

namespace ps::detail {

namespace {

using Clock = std::chrono::steady_clock;

// LMDB locks the byte 0 and, for each process that reads, the byte of its number.
constexpr off_t lockedByte = UpdateLock::openingByte - 1;
constexpr std::chrono::milliseconds longestPause{10};

// LMDB's lock file has a line of 64 bytes for each reader, and 2 more.
constexpr off_t sizeOfLockFile(unsigned int readers) { return off_t{64} * (readers + 2); }

struct flock recordLock(short type, off_t byte = lockedByte) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  return lock;
}

std::string nameOf(pid_t process) {
  std::string name;
  std::getline(std::ifstream("/proc/" + std::to_string(process) + "/comm"), name);
  return name;
}

}  // namespace

UpdateLock::UpdateLock() {
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&mutex_, &kind);
  pthread_mutexattr_destroy(&kind);
}

UpdateLock::~UpdateLock() {
  pthread_mutex_destroy(&mutex_);
  if (descriptor_ >= 0) ::close(descriptor_);
}

int UpdateLock::open(const std::string& lockPath, unsigned int readers) {
  descriptor_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0664);
  if (descriptor_ < 0) return errno;
  if (::fallocate(descriptor_, 0, 0, sizeOfLockFile(readers)) == 0) return 0;
  return errno == EOPNOTSUPP || errno == ENOSYS ? 0 : errno;
}

void UpdateLock::enter() const {
  struct flock wanted = recordLock(F_RDLCK, openingByte);
  while (descriptor_ >= 0 && ::fcntl(descriptor_, F_SETLKW, &wanted) != 0 && errno == EINTR) {
  }
}

void UpdateLock::leave() const {
  struct flock freed = recordLock(F_UNLCK, openingByte);
  if (descriptor_ >= 0) static_cast<void>(::fcntl(descriptor_, F_SETLK, &freed));
}

int UpdateLock::lock(int milliseconds) {
  if (descriptor_ < 0) return 0;
  const Clock::time_point start = Clock::now();
  int code = takeThread(milliseconds);
  if (code != 0) return code;
  if (milliseconds > 0) {
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    milliseconds = static_cast<int>(std::max<std::int64_t>(0, milliseconds - waited));
  }
  code = takeProcess(milliseconds);
  taken_ = code == 0;
  if (code != 0) pthread_mutex_unlock(&mutex_);
  return code;
}

int UpdateLock::takeThread(int milliseconds) {
  int code = pthread_mutex_trylock(&mutex_);
  if (code == EBUSY && milliseconds < 0) {
    code = pthread_mutex_lock(&mutex_);
  } else if (code == EBUSY) {
    const std::chrono::nanoseconds end = Clock::now().time_since_epoch() + std::chrono::milliseconds(milliseconds);
    const std::chrono::seconds seconds = std::chrono::duration_cast<std::chrono::seconds>(end);
    const timespec until = {seconds.count(), (end - seconds).count()};
    code = pthread_mutex_clocklock(&mutex_, CLOCK_MONOTONIC, &until);
  }
  return code == EOWNERDEAD ? pthread_mutex_consistent(&mutex_) : code;
}

// The system offers no wait with a limit. And it takes two threads of different processes that each wait for another
// thread of the other one for a deadlock; then, too, the lock is looked at again and again.
int UpdateLock::takeProcess(int milliseconds) const {
  struct flock wanted = recordLock(F_WRLCK);
  if (milliseconds < 0) {
    int code = 0;
    do code = ::fcntl(descriptor_, F_SETLKW, &wanted) == 0 ? 0 : errno;
    while (code == EINTR);
    if (code != EDEADLK) return code;
  }
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
  std::chrono::milliseconds pause{1};
  while (::fcntl(descriptor_, F_SETLK, &wanted) != 0) {
    if (errno != EACCES && errno != EAGAIN) return errno;
    if (milliseconds >= 0 && Clock::now() >= end) return ETIMEDOUT;
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, longestPause);
  }
  return 0;
}

void UpdateLock::unlock() noexcept {
  if (descriptor_ < 0) return;
  struct flock freed = recordLock(F_UNLCK);
  taken_ = false;
  static_cast<void>(::fcntl(descriptor_, F_SETLK, &freed));
  pthread_mutex_unlock(&mutex_);
}

std::string UpdateLock::holder() const {
  struct flock found = recordLock(F_WRLCK);
  if (::fcntl(descriptor_, F_GETLK, &found) == 0 && found.l_type != F_UNLCK && found.l_pid > 0)
    return "process " + std::to_string(found.l_pid) + " (" + nameOf(found.l_pid) + ")";
  return taken_ ? "another thread of this process" : "another process";
}

}  // namespace ps::detail
