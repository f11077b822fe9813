#include "store/postgresql/Connection.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "store/postgresql/ServerErrors.h"
#include "store/postgresql/ServerTexts.h"

namespace ps::detail {

namespace {

constexpr std::size_t mostParameters = 6;

}  // namespace

std::uint64_t Result::changed() const { return std::strtoull(PQcmdTuples(result_.get()), nullptr, 10); }

// What the address does not say: a server that is gone is noticed within a minute.
bool Connection::open(const std::string& address, const std::string& store) {
  close();
  const std::string name = "pscollections " + std::to_string(::getpid()) + " " + store;
  const std::array<const char*, 8> keys = {
      "fallback_application_name", "connect_timeout",  "keepalives_idle", "keepalives_interval",
      "keepalives_count",          "tcp_user_timeout", "dbname",          nullptr};
  const std::array<const char*, 8> values = {name.c_str(), "10", "20", "10", "3", "60000", address.c_str(), nullptr};
  connection_.reset(PQconnectdbParams(keys.data(), values.data(), 1));
  process_ = ::getpid();
  const bool isReady = PQstatus(connection_.get()) == CONNECTION_OK && PQenterPipelineMode(connection_.get()) == 1 &&
                       PQsetnonblocking(connection_.get(), 1) == 0;
  if (!isReady) return lose();
  PQsetNoticeProcessor(
      connection_.get(), [](void*, const char*) {}, nullptr);
  return true;
}

void Connection::close() {
  if (connection_ != nullptr && !isOfThisProcess()) {
    ::close(PQsocket(connection_.get()));
    static_cast<void>(connection_.release());
  }
  connection_.reset();
  unreceived_ = 0;
  isBroken_ = false;
}

void Connection::closeForMemory() {
  close();
  error_.state.clear();
  error_.text = serverTexts::noMemory[0];  // short enough to need no allocation
}

bool Connection::isOfThisProcess() const { return process_ == ::getpid(); }

// Notes the reason why the server cannot be reached any more.
bool Connection::lose() {
  isBroken_ = true;
  const char* const text = connection_ != nullptr ? PQerrorMessage(connection_.get()) : serverTexts::noMemory[0];
  error_ = {"", text};
  while (!error_.text.empty() && error_.text.back() == '\n') error_.text.pop_back();
  return false;
}

void Connection::send(const char* prepared, std::initializer_list<std::string_view> parameters) {
  std::array<const char*, mostParameters> values{};
  std::array<int, mostParameters> lengths{};
  std::array<int, mostParameters> formats{};
  std::size_t count = 0;
  for (const std::string_view parameter : parameters) {
    values[count] = parameter.data() != nullptr ? parameter.data() : "";
    lengths[count] = static_cast<int>(parameter.size());
    formats[count++] = 1;
  }
  if (!isBroken_)
    sent(PQsendQueryPrepared(connection_.get(), prepared, static_cast<int>(count), values.data(), lengths.data(),
                             formats.data(), 1));
}

void Connection::sendText(const char* statement) {
  if (!isBroken_) sent(PQsendQueryParams(connection_.get(), statement, 0, nullptr, nullptr, nullptr, nullptr, 1));
}

void Connection::prepare(const char* name, const char* statement) {
  if (!isBroken_) sent(PQsendPrepare(connection_.get(), name, statement, 0, nullptr));
}

void Connection::sent(int done) {
  if (done != 1 || !flush()) lose();
}

// Hands to the system what is to be sent. What the server answers meanwhile is read, since it stops listening while
// nobody takes its answers.
bool Connection::flush() {
  for (;;) {
    const int left = PQflush(connection_.get());
    if (left <= 0) return left == 0;
    pollfd socket{PQsocket(connection_.get()), POLLIN | POLLOUT, 0};
    if (::poll(&socket, 1, -1) < 0 && errno != EINTR) return false;
    if ((socket.revents & POLLIN) != 0 && PQconsumeInput(connection_.get()) == 0) return false;
  }
}

void Connection::endBatch() {
  if (!isBroken_) sent(PQpipelineSync(connection_.get()));
  if (!isBroken_) ++unreceived_;
}

bool Connection::receive(std::vector<Result>& results) {
  ++roundTrips_;
  results.clear();
  endBatch();
  if (isBroken_) return false;
  bool isDone = true;
  while (unreceived_ > 0) {
    --unreceived_;
    results.clear();
    isDone = receiveBatch(results);
    if (!isDone && error_.state.empty()) return false;
  }
  return isDone;
}

// Waits until PQgetResult does not wait. It would wait for ever where the library had no memory for the end of a batch:
// it notes that, and expects more.
bool Connection::waitForAnswer() {
  while (PQisBusy(connection_.get()) != 0) {
    if (hasNoMemory(PQerrorMessage(connection_.get()))) return false;
    pollfd socket{PQsocket(connection_.get()), POLLIN, 0};
    if (::poll(&socket, 1, -1) < 0 && errno != EINTR) return false;
    if (PQconsumeInput(connection_.get()) == 0) return false;
  }
  return true;
}

// Receives one batch. A batch ends with a result of its own; null comes between the results of its statements.
bool Connection::receiveBatch(std::vector<Result>& results) {
  bool isDone = true;
  int nulls = 0;
  for (;;) {
    if (!waitForAnswer()) return lose();
    PGresult* const received = PQgetResult(connection_.get());
    if (received == nullptr) {
      // Two in a row: nothing more will come.
      if (++nulls > 1 || PQstatus(connection_.get()) != CONNECTION_OK) return lose();
      continue;
    }
    nulls = 0;
    Result result(received);
    const ExecStatusType status = PQresultStatus(received);
    if (status == PGRES_PIPELINE_SYNC) return isDone;
    if (status == PGRES_FATAL_ERROR && isDone) {
      isDone = false;
      const char* const state = PQresultErrorField(received, PG_DIAG_SQLSTATE);
      const char* const text = PQresultErrorField(received, PG_DIAG_MESSAGE_PRIMARY);
      error_ = {state != nullptr ? state : "", text != nullptr ? text : PQresultErrorMessage(received)};
    }
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
      const std::string said = error_.text;
      lose();
      if (!isDone) error_.text = said;
      return false;
    }
    if (status != PGRES_PIPELINE_ABORTED) results.push_back(std::move(result));
  }
}

}  // namespace ps::detail
