#include "store/postgresql/ServerConnection.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "store/engine/StoreAddress.h"
#include "store/engine/StoreKey.h"
#include "store/postgresql/ServerErrors.h"
#include "store/postgresql/ServerTexts.h"
#include "store/postgresql/Statements.h"
#include "store/postgresql/TransactionSets.h"
#include "store/postgresql/WireBytes.h"

namespace ps::detail {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds usualPatience{30};
constexpr int oldestServer = 130000;
// The server cuts off the rest of a longer name, so that 2 stores would be one.
constexpr std::size_t longestName = 63;

std::string withSchema(std::string statement, const std::string& schema) {
  for (std::size_t at = statement.find("%s"); at != std::string::npos; at = statement.find("%s", at + schema.size()))
    statement.replace(at, 2, schema);
  return statement;
}

}  // namespace

ServerPlace ServerPlace::of(const std::string& path) {
  const std::size_t name = path.find('#');
  ServerPlace place;
  place.address = path.substr(0, name);
  place.schema = name == std::string::npos ? "pscollections" : path.substr(name + 1);
  return place;
}

std::string ServerConnection::quotedSchema() const {
  std::string quoted = "\"";
  for (const char c : place_.schema) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

bool ServerConnection::open(const ServerPlace& place, StoreError& error) {
  place_ = place;
  if (place_.schema.empty()) {
    error = {psErrorKind::usage, "the address names no store behind the \"#\". Name one, or leave the \"#\" out"};
    return false;
  }
  if (place_.schema.size() > longestName) {
    error = {psErrorKind::usage,
             "the name of the store has more than " + std::to_string(longestName) + " bytes. Give it a shorter one"};
    return false;
  }
  bool has = false;
  if (!readAddress(error) || !connect(error) || !hasTables(has, error)) return false;
  if (!has && place_.isReadOnly) {
    error = {psErrorKind::absent, "there is no such store in the database. Open it once without the option readOnly"};
    return false;
  }
  return (has || makeTables(error)) && prepare(error);
}

// The client library's own words may have the password in what they quote.
bool ServerConnection::readAddress(StoreError& error) {
  if (!isPlainAddress(place_.address)) {
    error = {psErrorKind::usage,
             "its port is not a number, or a password or database in it ends too early. In these, write \"/\" as %2F, "
             "\"@\" as %40, \"?\" as %3F, \"#\" as %23 and \":\" as %3A"};
    return false;
  }
  char* complaint = nullptr;
  const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(
      PQconninfoParse(place_.address.c_str(), &complaint), &PQconninfoFree);
  std::string said = complaint != nullptr ? complaint : serverTexts::noMemory[0];
  PQfreemem(complaint);
  if (options == nullptr && hasNoMemory(said)) {
    error = {psErrorKind::memory, shortMemoryText};
    return false;
  }
  if (options == nullptr) {
    said.erase(std::min(said.find(": \""), said.size()));
    error = {psErrorKind::usage, "the client library cannot read the address (" + said +
                                     "). Write it as postgresql://user@host:port/database#store"};
    return false;
  }
  patience_ = usualPatience;
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    const bool isWish = std::string_view(option->keyword) == "connect_timeout" && option->val != nullptr;
    if (isWish && std::atoi(option->val) > 0) patience_ = std::chrono::seconds(std::atoi(option->val));
  }
  return true;
}

bool ServerConnection::connect(StoreError& error) {
  const Clock::time_point end = Clock::now() + patience_;
  for (std::chrono::milliseconds pause{20}; !connection_.open(place_.address, place_.schema);
       pause = std::min<std::chrono::milliseconds>(2 * pause, std::chrono::milliseconds{500})) {
    error = explainRefusedConnection(connection_.error().text);
    if (!isStarting(connection_.error().text) || Clock::now() > end) return false;
    std::this_thread::sleep_for(pause);
  }
  if (connection_.serverVersion() >= oldestServer) return true;
  error = {psErrorKind::usage, "the server is of version " + std::to_string(connection_.serverVersion() / 10000) +
                                   ". Use PostgreSQL 13 or a newer one"};
  return false;
}

bool ServerConnection::hasTables(bool& has, StoreError& error) {
  std::vector<Result> results;
  const std::string setPath = withSchema(statements::setPath, quotedSchema());
  connection_.sendText(setPath.c_str());
  for (const char* const setting : statements::settings) connection_.sendText(setting);
  if (!place_.isSynced) connection_.sendText(statements::unsynced);
  connection_.prepare("look", statements::look);
  connection_.send("look", {quotedSchema()});
  if (!connection_.receive(results)) {
    error = explain(connection_.error());
    return false;
  }
  has = numberIn(results.back().field(0, 0)) != 0;
  return true;
}

bool ServerConnection::makeTables(StoreError& error) {
  std::vector<Result> results;
  for (const char* const statement : statements::create)
    connection_.sendText(withSchema(statement, quotedSchema()).c_str());
  if (connection_.receive(results)) return true;
  error = explain(connection_.error());
  return false;
}

// The format is read before anything that another format may lack.
bool ServerConnection::prepare(StoreError& error) {
  std::vector<Result> results;
  connection_.sendText(statements::readFormat);
  for (const statements::Prepared& statement : statements::prepared)
    connection_.prepare(statement.name, statement.text);
  // So that the first page that is wanted does not wait for the server to plan and to look up what it needs.
  connection_.send("page", {StoreKey::pages(), behindPrefix(StoreKey::pages()), number32(1)});
  const bool isDone = connection_.receive(results);
  const bool isRead = !results.empty() && results.front().rows() == 1;
  const bool isFuture = isRead && numberIn(results.front().field(0, 1)) != 0;
  const auto format = isRead ? static_cast<int>(numberIn(results.front().field(0, 0))) : statements::format;
  if (format != statements::format) {
    error = {psErrorKind::usage, "its tables are of format " + std::to_string(format) +
                                     ", but this release of pscollections knows format " +
                                     std::to_string(statements::format) +
                                     ". Use the release that made it, or a newer one"};
    return false;
  }
  if (!isDone) error = explain(connection_.error());
  return isDone && (!isFuture || forgetFuture(error));
}

bool ServerConnection::forgetFuture(StoreError& error) {
  std::vector<Result> results;
  for (const char* const statement : statements::forgetFuture) connection_.sendText(statement);
  if (connection_.receive(results)) return true;
  error = explain(connection_.error());
  return false;
}

}  // namespace ps::detail
