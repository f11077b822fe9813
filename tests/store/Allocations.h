#pragma once

#include <cstdint>

namespace ps::test {

// Lets allocations of memory fail: all that this process makes while an Armed lives, LMDB's and the C library's too. A
// sanitizer has malloc for itself; there it is operator new alone.
class Allocations {
 public:
  enum class Fails { once, fromThenOn };

  class Armed {
   public:
    Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    ~Armed();
  };

  // The k-th counted from now on fails; 0: none.
  static void fail(std::uint64_t k, Fails fails);
  // No further one fails.
  static void release();
  static std::uint64_t counted();
  static bool hasFailed();
};

}  // namespace ps::test
