#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace ps::test {

// The calls by which files change and are mapped, whether LMDB or the library makes them: Calls.cpp defines functions
// that take the place of the system's in a program that is linked with it. While an object of this class lives, it is
// asked before each of them. One object at a time.
class Calls {
 public:
  enum class Kind { write, sync, truncate, allocate, map };
  static constexpr int shortWrite = -1;

  Calls();
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;
  virtual ~Calls();

  // 0 lets the call happen; an error number lets it fail, and shortWrite lets it write half. The descriptor is -1 for
  // memory that belongs to no file.
  virtual int before(Kind kind, int descriptor) = 0;
  // What has happened.
  virtual void written(int descriptor, off_t offset, const void* data, std::size_t size);
  virtual void truncated(int descriptor, off_t size);
  virtual void synced(int descriptor);

  static std::string pathOf(int descriptor);
};

}  // namespace ps::test
