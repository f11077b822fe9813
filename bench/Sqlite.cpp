#include "Sqlite.h"

#include <stdexcept>

namespace {

[[noreturn]] void fail(sqlite3* connection, const std::string& action) {
  throw std::runtime_error("SQLite cannot " + action + ": " + sqlite3_errmsg(connection));
}

}  // namespace

class Sqlite::Statement {
 public:
  Statement(sqlite3* connection, const char* sql) : connection_(connection) {
    if (sqlite3_prepare_v2(connection, sql, -1, &statement_, nullptr) != SQLITE_OK) fail(connection, sql);
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(statement_); }

  void bind(int parameter, std::uint64_t number) {
    sqlite3_bind_int64(statement_, parameter, static_cast<sqlite3_int64>(number));
  }
  // The payload must stay until the next step.
  void bindBytes(int parameter, const Payload& payload) {
    sqlite3_bind_blob(statement_, parameter, payload.data(), sizeof payload, SQLITE_STATIC);
  }

  // Whether there is a row.
  bool step() {
    const int code = sqlite3_step(statement_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) fail(connection_, sqlite3_sql(statement_));
    return code == SQLITE_ROW;
  }
  void reset() { sqlite3_reset(statement_); }
  // Does it all, without rows, and gets ready for the next time.
  void execute() {
    step();
    reset();
  }

  std::uint64_t number(int column) const {
    return static_cast<std::uint64_t>(sqlite3_column_int64(statement_, column));
  }
  const void* bytes(int column) const { return sqlite3_column_blob(statement_, column); }

 private:
  sqlite3* connection_;
  sqlite3_stmt* statement_ = nullptr;
};

Sqlite::~Sqlite() { sqlite3_close(connection_); }

void Sqlite::create() {
  open();
  run("CREATE TABLE element (key INTEGER PRIMARY KEY, object INTEGER NOT NULL) WITHOUT ROWID");
  run("CREATE TABLE object (number INTEGER PRIMARY KEY, payload BLOB NOT NULL) WITHOUT ROWID");
  nextObject_ = 0;
}

void Sqlite::open() {
  if (sqlite3_open(fileNamed("sqlite").c_str(), &connection_) != SQLITE_OK) fail(connection_, "open a file");
  run("PRAGMA journal_mode = WAL");
  run("PRAGMA synchronous = FULL");
  run("PRAGMA cache_size = -" + std::to_string(setup().cacheBytes / 1024));
  nextObject_ = setup().count;
}

void Sqlite::add(const Keys& keys, bool) {
  change([&] {
    Statement putKey(connection_, "INSERT INTO element VALUES (?, ?)");
    Statement putObject(connection_, "INSERT INTO object VALUES (?, ?)");
    for (const std::uint64_t key : keys) {
      const std::uint64_t number = nextObject_++;
      putKey.bind(1, key);
      putKey.bind(2, number);
      putKey.execute();
      if (!ownsObjects()) continue;
      const Payload payload = payloadOf(key);
      putObject.bind(1, number);
      putObject.bindBytes(2, payload);
      putObject.execute();
    }
  });
}

void Sqlite::drop() {
  change([&] { Statement(connection_, "DELETE FROM element").execute(); });
}

void Sqlite::remove(const Keys& keys) {
  change([&] {
    Statement removeKey(connection_, "DELETE FROM element WHERE key = ? RETURNING object");
    Statement removeObject(connection_, "DELETE FROM object WHERE number = ?");
    for (const std::uint64_t key : keys) {
      removeKey.bind(1, key);
      if (!removeKey.step()) throw std::runtime_error("SQLite does not find what is to be removed");
      if (ownsObjects()) {
        removeObject.bind(1, removeKey.number(0));
        removeObject.execute();
      }
      removeKey.reset();
    }
  });
}

std::size_t Sqlite::countHits(const Keys& keys) {
  Statement find(connection_, ownsObjects() ? "SELECT payload FROM element JOIN object ON number = object WHERE key = ?"
                                            : "SELECT object FROM element WHERE key = ?");
  run("BEGIN");
  std::size_t hits = 0;
  for (const std::uint64_t key : keys) {
    find.bind(1, key);
    if (find.step() && (!ownsObjects() || numberAt(find.bytes(0)) == key)) ++hits;
    find.reset();
  }
  run("COMMIT");
  return hits;
}

std::size_t Sqlite::walk() {
  Statement all(connection_, "SELECT object FROM element ORDER BY key");
  std::size_t count = 0;
  while (all.step()) ++count;
  return count;
}

std::uint64_t Sqlite::walkReading() {
  Statement all(connection_, ownsObjects() ? "SELECT payload FROM element JOIN object ON number = object ORDER BY key"
                                           : "SELECT key, object FROM element ORDER BY key");
  std::uint64_t sum = 0;
  while (all.step()) sum += ownsObjects() ? numberAt(all.bytes(0)) : all.number(0);
  return sum;
}

void Sqlite::run(const std::string& sql) const {
  if (sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(connection_, sql);
}

template <class Change>
void Sqlite::change(Change change) const {
  run("BEGIN IMMEDIATE");
  change();
  run("COMMIT");
}
