#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <string>

namespace ps::detail {

// The lock of whoever updates a store: one thread of one process. LMDB has its own, but one can only wait for that
// without limit, and nobody can tell who has it. So this one is taken before it, and is held longer.
//
// Between processes it is a record lock on a byte of LMDB's lock file, which lies far beyond the bytes that LMDB locks.
// The system frees it when its process ends, and a forked child does not have it. A process loses it, as it loses
// LMDB's locks, when it closes any descriptor of the lock file. So an object of this class is destroyed after the LMDB
// environment of the same file.
//
// Functions that return an int return 0 or a system error code.
class UpdateLock {
 public:
  UpdateLock();
  UpdateLock(const UpdateLock&) = delete;
  UpdateLock& operator=(const UpdateLock&) = delete;
  ~UpdateLock();

  // Opens the lock file, and creates one that does not exist. Allocates as much as LMDB will map of it: on a full disk
  // a write to a hole would kill the process. The descriptor is closed on exec.
  int open(const std::string& lockPath, unsigned int readers);

  // Waits while somebody has the exclusive use of the store, and has whoever wants that wait until leave. To be called
  // before LMDB opens the file. Without effect when the lock file is not open.
  void enter() const;
  void leave() const;
  // The byte of the lock file by which that is done.
  static constexpr off_t openingByte = (off_t{1} << 40) + 1;

  // Waits for at most the given milliseconds, for ever when they are negative; then ETIMEDOUT. While others wait
  // without limit, one who waits with a limit may find the lock taken each time that it looks, every 10 ms.
  // Without effect and 0 when the lock file is not open.
  int lock(int milliseconds);
  // On the thread that locked it.
  void unlock() noexcept;

  // A sentence's subject: who has the lock now.
  std::string holder() const;

 private:
  int takeThread(int milliseconds);
  int takeProcess(int milliseconds) const;

  int descriptor_ = -1;
  // Held by the thread. A thread that ends with it leaves it to the next one.
  pthread_mutex_t mutex_;
  std::atomic<bool> taken_{false};
};

}  // namespace ps::detail
