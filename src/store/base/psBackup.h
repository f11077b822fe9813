#pragma once

#include <cstdint>
#include <string>
#include <vector>

// How far psSession::backup or salvage has come.
struct psBackupProgress {
  std::uint64_t done = 0;     // of a backup: records; of a salvage: pages of the file
  std::uint64_t total = 0;    // of the same
  std::uint64_t records = 0;  // that the copy has
  std::uint64_t bytes = 0;    // of these records
};

// What psSession::salvage could not save.
struct psSalvageReport {
  std::uint64_t records = 0;  // that the copy has
  // Of these, how many may be older than the last commit, since what led to them is lost.
  std::uint64_t fromRemains = 0;
  std::uint64_t lossCount = 0;      // of what could not be read
  std::vector<std::string> losses;  // a sentence for each of the first 1,000
};
