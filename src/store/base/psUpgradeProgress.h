#pragma once

#include <cstdint>

// How far psSession::upgrade has come.
struct psUpgradeProgress {
  std::uint64_t containers = 0;  // in the store
  std::uint64_t done = 0;        // containers that are committed
  std::uint64_t pagesRead = 0;
  std::uint64_t pagesWritten = 0;
};
