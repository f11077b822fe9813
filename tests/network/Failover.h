#pragma once

#include <memory>
#include <string>

#include "support/Server.h"

namespace ps::test {

// A server and its synchronous standby.
class Failover {
 public:
  Failover() { attach(); }

  // Of both: sessions find the one that takes changes.
  std::string address() const { return Server::addressOf(*primary_, *standby_); }

  // Kills the primary; the standby takes over.
  void killPrimary();
  // Then gives it a standby in its turn, with another address.
  void attach();

 private:
  std::unique_ptr<Server> primary_ = std::make_unique<Server>();
  std::unique_ptr<Server> standby_;
};

}  // namespace ps::test
