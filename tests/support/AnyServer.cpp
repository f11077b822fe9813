#include "support/AnyServer.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace ps::test {

namespace {

// What tools/postgres-server prints.
std::string askServer(const std::string& command) {
  std::string output;
  std::FILE* const pipe = ::popen((PS_POSTGRES_SERVER " " + command).c_str(), "r");
  std::array<char, 256> part{};
  while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr) output += part.data();
  if (pipe != nullptr) ::pclose(pipe);
  return output.substr(0, output.find('\n'));
}

}  // namespace

AnyServer::AnyServer() {
  ::setenv("PSCOLLECTIONS_PLUGINS", PS_PLUGINS, 0);
  if (isThere()) return;
  // The server's user must reach it, so it is in no folder of the tests' user.
  folder_ = (std::filesystem::temp_directory_path() / ("pscollections-server-" + std::to_string(::getpid()))).string();
  const std::string address = askServer("start " + folder_ + " fsync=off full_page_writes=off");
  if (!address.empty()) ::setenv("PSCOLLECTIONS_TEST_STORE", address.c_str(), 1);
}

AnyServer::~AnyServer() {
  if (!folder_.empty()) askServer("stop " + folder_);
}

}  // namespace ps::test
