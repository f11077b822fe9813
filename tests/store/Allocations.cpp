#include "store/Allocations.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace ps::test {

namespace {

bool isArmed = false;
bool failsOn = false;
std::uint64_t victim = 0;
std::uint64_t count = 0;
bool failed = false;

bool failsNow() {
  if (!isArmed) return false;
  ++count;
  const bool is = victim != 0 && (count == victim || (failsOn && count > victim));
  failed |= is;
  if (is) errno = ENOMEM;
  return is;
}

}  // namespace

Allocations::Armed::Armed() { isArmed = true; }
Allocations::Armed::~Armed() { isArmed = false; }

void Allocations::fail(std::uint64_t k, Fails fails) {
  victim = k;
  failsOn = fails == Fails::fromThenOn;
  count = 0;
  failed = false;
}

void Allocations::release() { victim = 0; }
std::uint64_t Allocations::counted() { return count; }
bool Allocations::hasFailed() { return failed; }

}  // namespace ps::test

#ifdef PS_TEST_SANITIZED

void* operator new(std::size_t size) {
  void* const memory = ps::test::failsNow() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return ps::test::failsNow() ? nullptr : std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

#else

// The C library calls these for all memory, and keeps its own under other names.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t nmemb, std::size_t size);
void* __libc_realloc(void* ptr, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) { return ps::test::failsNow() ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t nmemb, std::size_t size) {
  return ps::test::failsNow() ? nullptr : __libc_calloc(nmemb, size);
}
void* realloc(void* ptr, std::size_t size) { return ps::test::failsNow() ? nullptr : __libc_realloc(ptr, size); }
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return ps::test::failsNow() ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** memptr, std::size_t alignment, std::size_t size) {
  *memptr = aligned_alloc(alignment, size);
  return *memptr != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

#endif
