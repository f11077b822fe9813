#pragma once

#include <chrono>
#include <string>

#include "store/base/StoreError.h"
#include "store/postgresql/Connection.h"

namespace ps::detail {

// Where a store is on a server, and how a session wants it.
struct ServerPlace {
  std::string address;  // for the client library: without the store's name
  std::string schema;   // the store's name
  bool isReadOnly = false;
  bool isSynced = true;

  static ServerPlace of(const std::string& path);
};

// A connection on which the statements of a store are prepared.
class ServerConnection {
 public:
  // Connects. A server that is just being started is waited for, for as long as the address's connect_timeout, or 30
  // seconds. Unless the place is read-only, a store that is not
  // there is made. False, with the reason, when that is impossible.
  bool open(const ServerPlace& place, StoreError& error);
  void close() { connection_.close(); }
  bool isOpen() const { return connection_.isOpen(); }

  const ServerPlace& place() const { return place_; }
  Connection& connection() { return connection_; }
  const Connection& connection() const { return connection_; }
  std::uint64_t roundTrips() const { return connection_.roundTrips(); }

 private:
  bool readAddress(StoreError& error);
  bool connect(StoreError& error);
  bool hasTables(bool& has, StoreError& error);
  bool makeTables(StoreError& error);
  bool prepare(StoreError& error);
  bool forgetFuture(StoreError& error);
  std::string quotedSchema() const;

  ServerPlace place_;
  std::chrono::seconds patience_{0};
  Connection connection_;
};

}  // namespace ps::detail
