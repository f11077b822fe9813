#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "store/base/StoreError.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// A new store on a server that is filled with records. These take several transactions, so the record without which
// nothing is a store comes with the last one. Until then nobody can open it, and what was written is removed when it is
// not finished.
//
// Functions that return false leave the reason in error().
class ServerCopy {
 public:
  ServerCopy() = default;
  ServerCopy(const ServerCopy&) = delete;
  ServerCopy& operator=(const ServerCopy&) = delete;
  ~ServerCopy();

  // Refuses an address at which there is a store already. An empty one is filled.
  bool begin(const std::string& address);
  // A key that is there keeps its value, and isNew is false.
  bool put(std::string_view key, std::string_view value, bool& isNew);
  bool finish();

  const StoreError& error() const { return error_; }

 private:
  bool fail();
  bool refuse();
  bool beginTransaction();
  bool commit();
  bool removeSome();

  std::string address_;
  std::unique_ptr<Engine> engine_;  // null unless begun and not finished
  std::string federation_;          // the record that is written last
  std::string lastKey_;
  StoreError error_;
};

}  // namespace ps::detail
