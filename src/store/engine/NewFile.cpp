#include "store/engine/NewFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>

#include "store/engine/Descriptor.h"
#include "store/engine/LmdbPage.h"

namespace ps::detail {

namespace {

constexpr std::size_t sectorSize = 512;

// Whether a file holds nothing but a part of what LMDB writes when it creates one: a crash may have kept any of its
// sectors from the disk. No transaction was ever committed to such a file.
bool isUnfinished(const std::string& content) {
  const auto pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  if (content.size() > 2 * pageSize) return false;
  for (std::size_t at = 0; at < content.size(); at += sectorSize) {
    const std::string sector = content.substr(at, sectorSize);
    std::string expected(sector.size(), '\0');
    if (sector == expected) continue;
    if (at % pageSize != 0) return false;
    LmdbMeta meta{at / pageSize};
    meta.free.pageSize = static_cast<std::uint32_t>(pageSize);
    constexpr std::size_t mapSizeAt = offsetof(LmdbMeta, mapSize);
    if (sector.size() > mapSizeAt)
      std::memcpy(&meta.mapSize, sector.data() + mapSizeAt, std::min(sizeof meta.mapSize, sector.size() - mapSizeAt));
    std::memcpy(expected.data(), &meta, std::min(sizeof meta, expected.size()));
    if (sector != expected) return false;
  }
  return true;
}

// The whole of a file of up to two pages; more than two pages of a longer one.
std::string beginningOf(int descriptor) {
  std::string content(2 * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) + 1, '\0');
  const ssize_t size = ::pread(descriptor, content.data(), content.size(), 0);
  content.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return content;
}

}  // namespace

bool emptyUnfinishedFile(const std::string& path, const std::string& lockPath) {
  const Descriptor lockFile(lockPath, O_RDWR | O_CREAT);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  if (lockFile < 0 || ::fcntl(lockFile, F_SETLK, &lock) != 0) return false;
  const Descriptor data(path, O_RDWR);
  return data >= 0 && isUnfinished(beginningOf(data)) && ::ftruncate(data, 0) == 0;
}

void syncDirectoryOf(const std::string& path) {
  const Descriptor directory(std::filesystem::path(path).parent_path().string(), O_RDONLY | O_DIRECTORY);
  if (directory >= 0) ::fsync(directory);
}

}  // namespace ps::detail
