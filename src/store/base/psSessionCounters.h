#pragma once

#include <cstdint>

#include "store/base/psReader.h"

// What a session has done since it was opened.
struct psSessionCounters {
  std::uint64_t opens = 0;              // objects opened, explicitly or through ->
  std::uint64_t refusals = 0;           // opens, look-ups and scans that were refused or met what cannot be read; not
                                        // those of objects that do not exist
  std::uint64_t pageReads = 0;          // page images read from the store
  std::uint64_t pageWrites = 0;         // page images written to it
  std::uint64_t residentBytes = 0;      // page images in memory now
  std::uint64_t peakResidentBytes = 0;  // the most that there were
  // The oldest read transaction on the store, as a commit of this session has seen it. Commits look at most once a
  // second.
  psReader oldestReader;
  // What the running update takes in memory beside the page images, until it ends: what the engine holds for it, and
  // will hold for changed images that are still to be written. 0 outside an update.
  std::uint64_t uncommittedBytes = 0;
};
