#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/base/StoreError.h"
#include "store/postgresql/ServerConnection.h"

namespace ps::detail {

// Numbers for new pages, containers and databases, of which no two sessions get the same. A session asks the server for
// blocks of them, in transactions of their own, so that sessions which create something in one container do not wait
// for each other. What an aborted transaction took is given out again. What is left of a block when the session ends is
// lost: so the first blocks are small.
class NumberBlocks {
 public:
  explicit NumberBlocks(const ServerConnection& main) : main_(main) {}

  // A number for a member of the record under the key, see Engine::takeNumber. 0, with the reason in error(), when the
  // server cannot be asked.
  std::uint32_t take(const std::string& key, std::uint32_t next);
  // The end of a transaction.
  void afterCommit();
  void afterAbort();
  // When the record is gone.
  void forget(const std::string& key) { blocks_.erase(key); }
  // When the server may have been another one meanwhile, which does not know what was handed out last.
  void forgetAll() {
    blocks_.clear();
    own_.close();
  }

  const StoreError& error() const { return error_; }
  std::uint64_t roundTrips() const { return own_.roundTrips(); }

 private:
  struct Block {
    std::uint32_t next = 0;
    std::uint32_t end = 0;
    std::uint32_t given = 0;  // the first that the open transaction took
    std::uint32_t size = 1;
  };
  bool reserve(const std::string& key, std::uint32_t next, Block& block);

  const ServerConnection& main_;
  ServerConnection own_;  // made when it is first needed: the session's own connection is in a transaction
  std::unordered_map<std::string, Block> blocks_;
  std::vector<std::string> taken_;  // from these, by the open transaction
  StoreError error_;
};

}  // namespace ps::detail
