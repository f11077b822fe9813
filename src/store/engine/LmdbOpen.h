#pragma once

#include <lmdb.h>

#include <cstddef>
#include <memory>
#include <string>

namespace ps::detail {

struct CloseEnvironment {
  void operator()(MDB_env* environment) const noexcept { mdb_env_close(environment); }
};
using LmdbPointer = std::unique_ptr<MDB_env, CloseEnvironment>;

// Opens a file by LMDB's flags. The map is sparse, so it is made as large as the process's limits allow. An existing
// file is mapped as a whole, whatever mapSize is. 0 or an LMDB or system error code.
int openMapped(const std::string& path, unsigned int flags, std::size_t mapSize, LmdbPointer& environment);

// What is mapped when nobody says how much.
constexpr std::size_t defaultMapSize = std::size_t{1} << 40;

}  // namespace ps::detail
