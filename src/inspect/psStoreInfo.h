#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/base/psReader.h"

// A store as a whole, as psInspector::info tells it. Numbers that an engine does not have are 0.
struct psStoreInfo {
  std::string path;                 // without symbolic links
  std::string format;               // the name of the format
  std::uint32_t pageSize = 0;       // bytes of a page image
  std::uint64_t commit = 0;         // number of the last commit
  std::int64_t lastCommitTime = 0;  // seconds since 1970; 0 when it is not known
  std::uint64_t records = 0;        // of the engine
  std::uint64_t fileBytes = 0;
  std::uint32_t enginePageSize = 0;  // bytes of a page of the file
  std::uint64_t enginePages = 0;     // that the file has
  std::uint64_t freePages = 0;       // of these: not in use, or in use by readers of older commits alone
  std::uint64_t mapSize = 0;         // the largest size of the file, in bytes
  std::vector<psReader> readers;     // the oldest first, without this session's own
};
