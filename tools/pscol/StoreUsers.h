#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pscol {

// A process that has a store open, and what it has read from disks and written to them since it began, as the system
// counts it. 0 where the system does not tell us.
struct StoreUser {
  int process = 0;
  std::string name;
  std::uint64_t readBytes = 0;
  std::uint64_t writtenBytes = 0;
};

// The processes that have the file at path open, as far as we may look at them, without this one.
std::vector<StoreUser> usersOf(const std::string& path);

}  // namespace pscol
