#pragma once

#include <string>

#include "support/ScratchFolder.h"

namespace ps::test {

// A PostgreSQL server of a test's own, for tests that kill it, fill it or change its settings: tools/postgres-server
// starts it in a new folder, and the destructor stops it. No session may be open in this process when it is made.
class Server {
 public:
  // Settings as "name=value", separated by blanks.
  explicit Server(const std::string& settings = "fsync=off");
  // A standby of another server, which that one knows by the name.
  Server(const Server& primary, const std::string& name);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  // Without the name of a store.
  std::string address() const { return "postgresql:///postgres?host=" + socketFolder_ + "&user=ps"; }
  // Whichever of the two takes changes.
  static std::string addressOf(const Server& one, const Server& other);
  // The same with another user or database, as "user=...".
  std::string addressAs(const std::string& user, const std::string& database = "postgres") const {
    return "postgresql:///" + database + "?host=" + socketFolder_ + "&user=" + user;
  }
  const std::string& socketFolder() const { return socketFolder_; }
  std::string dataFolder() const { return folder_ / "server/data"; }

  // Kills all its processes.
  void kill();
  // Starts it again after that.
  void restart();
  // Makes a standby take over.
  void promote();
  // Carries out a statement as the owner of all; its result's only value.
  std::string sql(const std::string& statement) const;

 private:
  std::string run(const std::string& command, const std::string& more = "") const;
  void learnSocket();

  ScratchFolder folder_;
  std::string socketFolder_;
};

}  // namespace ps::test
