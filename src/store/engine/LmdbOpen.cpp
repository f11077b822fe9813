#include "store/engine/LmdbOpen.h"

#include <unistd.h>

#include <cerrno>

#include "store/engine/LmdbErrors.h"

namespace ps::detail {

namespace {

constexpr std::size_t smallestHalvedMapSize = std::size_t{64} << 20;

std::size_t roundToSystemPages(std::size_t size) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return (size + page - 1) / page * page;
}

}  // namespace

// Valgrind says EINVAL where the system says ENOMEM.
int openMapped(const std::string& path, unsigned int flags, std::size_t mapSize, LmdbPointer& environment) {
  constexpr mdb_mode_t mode = 0664;
  for (;; mapSize /= 2) {
    MDB_env* created = nullptr;
    int code = mdb_env_create(&created);
    environment.reset(created);
    if (code == 0) code = mdb_env_set_maxreaders(created, maxReaders);
    if (code == 0) code = mdb_env_set_mapsize(created, roundToSystemPages(mapSize));
    if (code == 0) code = mdb_env_open(created, path.c_str(), flags, mode);
    if ((code != ENOMEM && code != EINVAL) || mapSize <= smallestHalvedMapSize) return code;
  }
}

}  // namespace ps::detail
