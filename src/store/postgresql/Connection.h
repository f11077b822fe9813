#pragma once

#include <libpq-fe.h>
#include <sys/types.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ps::detail {

// A result of a statement.
class Result {
 public:
  explicit Result(PGresult* result) : result_(result) {}

  int rows() const { return PQntuples(result_.get()); }
  bool isNull(int row, int column) const { return PQgetisnull(result_.get(), row, column) != 0; }
  // The view is valid as long as the result.
  std::string_view field(int row, int column) const {
    return {PQgetvalue(result_.get(), row, column), static_cast<std::size_t>(PQgetlength(result_.get(), row, column))};
  }
  // How many rows the statement has changed.
  std::uint64_t changed() const;

 private:
  struct Clear {
    void operator()(PGresult* result) const { PQclear(result); }
  };
  std::unique_ptr<PGresult, Clear> result_;
};

// Why a batch failed. Without a state the server has not said it: the connection is lost.
struct ServerError {
  std::string state;  // the five letters of an SQLSTATE
  std::string text;
};

// A connection to a server. Statements are sent in batches: a batch takes one round trip, however many statements it
// has. When one fails, those after it are not carried out.
class Connection {
 public:
  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { close(); }

  // False, with the reason in error(), when the server does not let us in. Among the server's connections this one is
  // known by its process and by the store's name.
  bool open(const std::string& address, const std::string& store);
  // In a forked child, the parent's connection is left alone.
  void close();
  // The same because there was no memory, which the error then is.
  void closeForMemory();
  bool isOpen() const { return connection_ != nullptr && !isBroken_ && PQstatus(connection_.get()) == CONNECTION_OK; }
  // Whether something could not be sent or received, and nothing will be any more.
  bool isBroken() const { return isBroken_; }
  int serverVersion() const { return PQserverVersion(connection_.get()); }
  bool isOfThisProcess() const;

  // Adds a statement to the batch: one that was prepared under a name, or a text. Parameters and results are binary.
  void send(const char* prepared, std::initializer_list<std::string_view> parameters = {});
  void sendText(const char* statement);
  void prepare(const char* name, const char* statement);
  // Ends the batch, and hands it to the system. Whoever does not receive it is not told whether it failed.
  void endBatch();
  // Ends the batch and receives the results of its statements. False when one of them failed.
  bool receive(std::vector<Result>& results);

  const ServerError& error() const { return error_; }
  std::uint64_t roundTrips() const { return roundTrips_; }

 private:
  struct Finish {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };

  void sent(int done);
  bool flush();
  bool receiveBatch(std::vector<Result>& results);
  bool waitForAnswer();
  bool lose();

  std::unique_ptr<PGconn, Finish> connection_;
  pid_t process_ = 0;
  unsigned int unreceived_ = 0;  // batches that were ended
  bool isBroken_ = false;
  std::uint64_t roundTrips_ = 0;
  ServerError error_;
};

}  // namespace ps::detail
