#include "Calls.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace ps::test {

namespace {

Calls* watching = nullptr;

// Makes the call unless it is to fail; halve makes it so that it writes half.
template <class Make, class Halve>
long made(Calls::Kind kind, int descriptor, const Make& make, const Halve& halve) {
  const int error = watching != nullptr ? watching->before(kind, descriptor) : 0;
  if (error == Calls::shortWrite) return halve();
  if (error == 0) return make();
  errno = error;
  return -1;
}

template <class Make>
long made(Calls::Kind kind, int descriptor, const Make& make) {
  return made(kind, descriptor, make, make);
}

long writeAt(int descriptor, const void* data, std::size_t size, off_t offset, bool isPositioned) {
  const auto write = [=](std::size_t bytes) {
    return isPositioned ? ::syscall(SYS_pwrite64, descriptor, data, bytes, offset)
                        : ::syscall(SYS_write, descriptor, data, bytes);
  };
  const long done = made(
      Calls::Kind::write, descriptor, [&] { return write(size); }, [&] { return write(size / 2); });
  if (done > 0 && watching != nullptr) watching->written(descriptor, offset, data, static_cast<std::size_t>(done));
  return done;
}

long syncBy(long call, int descriptor) {
  const long done = made(Calls::Kind::sync, descriptor, [=] { return ::syscall(call, descriptor); });
  if (done == 0 && watching != nullptr) watching->synced(descriptor);
  return done;
}

}  // namespace

Calls::Calls() { watching = this; }
Calls::~Calls() { watching = nullptr; }
void Calls::written(int, off_t, const void*, std::size_t) {}
void Calls::truncated(int, off_t) {}
void Calls::synced(int) {}

std::string Calls::pathOf(int descriptor) {
  std::array<char, 4096> path{};
  const ssize_t size = ::readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path.data(), path.size());
  return std::string(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
}

}  // namespace ps::test

using ps::test::Calls;

// The headers name the parameters by reserved words.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

ssize_t pwrite(int descriptor, const void* data, std::size_t size, off_t offset) {
  return ps::test::writeAt(descriptor, data, size, offset, true);
}

ssize_t write(int descriptor, const void* data, std::size_t size) {
  return ps::test::writeAt(descriptor, data, size, ::lseek(descriptor, 0, SEEK_CUR), false);
}

// As one write for each part; the caller goes on after a short one.
ssize_t writev(int descriptor, const struct iovec* parts, int count) {
  ssize_t sum = 0;
  for (int i = 0; i < count; ++i) {
    const ssize_t done = write(descriptor, parts[i].iov_base, parts[i].iov_len);
    if (done < 0) return sum > 0 ? sum : done;
    sum += done;
    if (static_cast<std::size_t>(done) < parts[i].iov_len) break;
  }
  return sum;
}

int fdatasync(int descriptor) { return static_cast<int>(ps::test::syncBy(SYS_fdatasync, descriptor)); }
int fsync(int descriptor) { return static_cast<int>(ps::test::syncBy(SYS_fsync, descriptor)); }

int ftruncate(int descriptor, off_t size) noexcept {
  const long done =
      ps::test::made(Calls::Kind::truncate, descriptor, [=] { return ::syscall(SYS_ftruncate, descriptor, size); });
  if (done == 0 && ps::test::watching != nullptr) ps::test::watching->truncated(descriptor, size);
  return static_cast<int>(done);
}

int fallocate(int descriptor, int mode, off_t offset, off_t size) {
  return static_cast<int>(ps::test::made(Calls::Kind::allocate, descriptor,
                                         [=] { return ::syscall(SYS_fallocate, descriptor, mode, offset, size); }));
}

void* mmap(void* address, std::size_t size, int protection, int flags, int descriptor, off_t offset) noexcept {
  return reinterpret_cast<void*>(ps::test::made(Calls::Kind::map, descriptor, [=] {
    return ::syscall(SYS_mmap, address, size, protection, flags, descriptor, offset);
  }));
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
