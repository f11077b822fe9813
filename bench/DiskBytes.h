#pragma once

#include <cstdint>
#include <filesystem>

// What something takes on disk.
struct DiskBytes {
  std::uint64_t files = 0;
  std::uint64_t inUse = 0;  // of these; the rest is free for what is written next
};

// Of all files in a folder, which are taken to be in use whole.
DiskBytes bytesOfFolder(const std::filesystem::path& folder);

// Of a file of LMDB's, ours or its own, to which nobody is writing.
DiskBytes bytesOfLmdbFile(const std::filesystem::path& path);
