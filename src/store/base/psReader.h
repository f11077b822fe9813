#pragma once

#include <cstdint>

// A read transaction that is open on a store, in this process or in another one.
struct psReader {
  int process = 0;           // 0: there is none
  std::uint64_t commit = 0;  // number of the last commit that it sees
  // For how long this process has seen it. It may have begun earlier.
  double seconds = 0;
  // Bytes of the file that cannot be used again before it and all older readers have ended. The file grows by what is
  // needed instead.
  std::uint64_t pinnedBytes = 0;
};
