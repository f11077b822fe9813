#include "support/Server.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace ps::test {

namespace {

// What a command prints, without the last end of a line. A command that fails is a failure of the test.
std::string outputOf(const std::string& command) {
  std::string output;
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  std::array<char, 4096> part{};
  while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr) output += part.data();
  EXPECT_TRUE(pipe != nullptr && ::pclose(pipe) == 0) << command;
  while (!output.empty() && output.back() == '\n') output.pop_back();
  return output;
}

}  // namespace

Server::Server(const std::string& settings) {
  run("start", settings);
  learnSocket();
}

Server::Server(const Server& primary, const std::string& name) {
  run("standby", primary.folder_ / "server" + " " + name);
  learnSocket();
}

Server::~Server() { run("stop"); }

// The plug-in of this build is the one that is tested.
void Server::learnSocket() {
  ::setenv("PSCOLLECTIONS_PLUGINS", PS_PLUGINS, 0);
  std::ifstream(folder_ / "server/socket") >> socketFolder_;
}

std::string Server::addressOf(const Server& one, const Server& other) {
  return "postgresql:///postgres?host=" + one.socketFolder_ + "," + other.socketFolder_ +
         "&user=ps&target_session_attrs=read-write";
}

std::string Server::run(const std::string& command, const std::string& more) const {
  // The server's user must reach its folder.
  ::chmod((folder_ / "").c_str(), S_IRWXU | S_IXGRP | S_IXOTH);
  return outputOf(std::string(PS_POSTGRES_SERVER) + ' ' + command + ' ' + folder_ / "server" + ' ' + more);
}

void Server::kill() { run("kill"); }
void Server::restart() { run("restart"); }
void Server::promote() { run("promote"); }

std::string Server::sql(const std::string& statement) const {
  return outputOf("psql --no-psqlrc --quiet --tuples-only --no-align --set=ON_ERROR_STOP=1 --dbname='" + address() +
                  "' --command=\"" + statement + '"');
}

}  // namespace ps::test
