#pragma once

#include <cstdint>

// How far psSession::upgrade has come.
struct psUpgradeProgress {
  std::uint64_t containers = 0;    // in the store
  std::uint64_t done = 0;          // containers that are committed
  std::uint64_t pagesRead = 0;     // pages of these
  std::uint64_t pagesWritten = 0;  // those of them that had something to convert
};
