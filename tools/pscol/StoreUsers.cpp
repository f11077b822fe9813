#include "pscol/StoreUsers.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace pscol {

namespace {

namespace fs = std::filesystem;

bool hasOpen(const fs::path& process, const std::string& path) {
  std::error_code error;
  for (fs::directory_iterator at(process / "fd", error), end; !error && at != end; at.increment(error)) {
    std::error_code ignored;
    if (fs::read_symlink(at->path(), ignored) == path) return true;
  }
  return false;
}

StoreUser describe(const fs::path& process) {
  StoreUser user;
  user.process = std::atoi(process.filename().c_str());
  std::getline(std::ifstream(process / "comm"), user.name);
  std::ifstream counts(process / "io");
  std::uint64_t number = 0;
  for (std::string key; counts >> key >> number;) {
    if (key == "read_bytes:") user.readBytes = number;
    if (key == "write_bytes:") user.writtenBytes = number;
  }
  return user;
}

}  // namespace

std::vector<StoreUser> usersOf(const std::string& path) {
  std::vector<StoreUser> users;
  std::error_code error;
  for (fs::directory_iterator at("/proc", error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename();
    const bool isProcess = name.find_first_not_of("0123456789") == std::string::npos;
    if (isProcess && name != std::to_string(::getpid()) && hasOpen(at->path(), path))
      users.push_back(describe(at->path()));
  }
  std::sort(users.begin(), users.end(), [](const StoreUser& a, const StoreUser& b) { return a.process < b.process; });
  return users;
}

}  // namespace pscol
