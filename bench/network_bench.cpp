// What a store on a server costs: round trips and times of look-ups, walks and commits, conflicts of several writers,
// beside the same bytes by plain SQL and the same work in a file.
//
// network_bench ADDRESS [COUNT [PART...]] works on a store of its own at an address of a PostgreSQL server, with so
// many elements in each collection, and writes tables in Markdown. Parts are fill, look-ups, far, commits, writers and
// file.
#include <libpq-fe.h>
#include <pscollections.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Payload.h"
#include "StoredItem.h"
#include "support/Proxy.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string server;
std::string address;  // of the store in it, or a file
int count = 1000000;
constexpr int perCommit = 10000;
constexpr int perNode = 200;
constexpr int warming = 20000;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

[[noreturn]] void stop(const std::string& why) {
  std::fprintf(stderr, "network_bench: %s\n", why.c_str());
  std::exit(1);
}

void require(bool isDone, const psSession& session) {
  if (!isDone) stop(session.lastError());
}

psSessionOptions options() {
  psSessionOptions chosen;
  chosen.cacheLimit = std::size_t{1} << 30;
  return chosen;
}

// Time and round trips of something.
class Cost {
 public:
  explicit Cost(const psSession& session) : session_(session) { restart(); }

  void restart() {
    trips_ = session_.roundTrips();
    start_ = Clock::now();
  }
  double milliseconds() const { return 1e3 * secondsSince(start_); }
  double roundTrips() const { return static_cast<double>(session_.roundTrips() - trips_); }
  void tell(const char* what, double of = 1) const {
    std::printf("| %s | %.3f | %.2f |\n", what, milliseconds() / of, roundTrips() / of);
    std::fflush(stdout);
  }

 private:
  const psSession& session_;
  std::uint64_t trips_ = 0;
  Clock::time_point start_;
};

// Keys are even numbers in the collections; odd ones are not there.
std::uint64_t keyOf(std::uint64_t i) { return 2 * (i * 0x9E3779B97F4A7C15U >> 24); }

class Bench {
 public:
  void open() { require(session_.open(address, options()) == 1, session_); }
  psSession& session() { return session_; }
  void begin(psMode mode) { require(session_.begin(mode) == 1, session_); }

  pstHandle<psCollection> collection(const char* name) {
    pstHandle<psCollection> found;
    if (found.lookupObj(session_.database("bench"), name, pscNoOpen) != 1)
      stop(std::string("there is no ") + name + ": " + session_.lastError());
    return found;
  }
  pstHandle<psContObj> container(const std::string& name) {
    return session_.container(session_.database("bench"), name.c_str());
  }

  // Sets, a hash set and a list of the same items.
  void fill() {
    begin(pscUpdate);
    const auto database = session_.database("bench");
    const auto in = container("collections");
    const auto order = [&in] { return pstHandle<psCompare>(new (in) ItemCompare); };
    const pstHandle<psObj> made[] = {pstHandle<psObj>(new (in) psTreeSet(order(), perNode)),
                                     pstHandle<psObj>(new (in) psHashSet(order(), 101, 1)),
                                     pstHandle<psObj>(new (in) psTreeList(perNode))};
    const char* const names[] = {"set", "hash", "list"};
    for (int i = 0; i < 3; ++i) require(session_.name(made[i], database, names[i]) == 1, session_);
    require(session_.commit() == 1, session_);
    for (int done = 0; done < count; done += perCommit) fillPart(done, std::min(done + perCommit, count));
  }

  static psId idOf(std::mt19937_64& random, const std::vector<psId>& ids) { return ids[random() % ids.size()]; }

 private:
  void fillPart(int from, int to) {
    begin(pscUpdate);
    const auto items = container("items" + std::to_string(from / 100000));
    const auto set = collection("set");
    const auto hash = collection("hash");
    const auto list = collection("list");
    for (int i = from; i < to; ++i) {
      const pstHandle<psObj> item(new (items) StoredItem(payloadOf(keyOf(static_cast<std::uint64_t>(i)))));
      const bool isAdded = set->add(item) && hash->add(item) && list->add(item);
      require(isAdded, session_);
    }
    require(session_.commit() == 1, session_);
  }

  psSession session_;
};

bool contains(const pstHandle<psCollection>& in, std::uint64_t key) { return in->contains(&key) != 0; }

std::uint64_t anyKey(std::mt19937_64& random) { return keyOf(random() % static_cast<std::uint64_t>(count)); }

void measureCold(const char* name) {
  constexpr int rounds = 200;
  std::mt19937_64 random(7);
  double time = 0;
  double trips = 0;
  for (int i = 0; i < rounds; ++i) {
    Bench bench;
    bench.open();
    bench.begin(pscRead);
    const auto set = bench.collection(name);
    const std::uint64_t key = anyKey(random);
    const Cost cost(bench.session());
    if (!contains(set, key)) stop("an element is missing");
    time += cost.milliseconds();
    trips += cost.roundTrips();
    require(bench.session().commit() == 1, bench.session());
  }
  std::printf("| cold look-up in the %s | %.3f | %.2f |\n", name, time / rounds, trips / rounds);
}

void measureWarm(Bench& bench, const char* name) {
  std::mt19937_64 random(9);
  bench.begin(pscRead);
  const auto set = bench.collection(name);
  for (int i = 0; i < warming; ++i) contains(set, anyKey(random));
  random.seed(9);
  const Cost cost(bench.session());
  for (int i = 0; i < warming; ++i) contains(set, anyKey(random));
  cost.tell((std::string("warm look-up in the ") + name).c_str(), warming);
  require(bench.session().commit() == 1, bench.session());
  bench.begin(pscRead);
  random.seed(9);
  const Cost first(bench.session());
  contains(bench.collection(name), anyKey(random));
  first.tell("the first use in the next transaction");
  require(bench.session().commit() == 1, bench.session());
}

void measureWalk(const char* name) {
  Bench bench;
  bench.open();
  bench.begin(pscRead);
  const auto set = bench.collection(name);
  const Cost cost(bench.session());
  const std::unique_ptr<psCollectionIterator> walk(set->iterator());
  int seen = 0;
  for (; walk->hasNext(); ++seen) walk->next(pscNoLock);
  if (seen != count) stop("a walk has seen " + std::to_string(seen) + " elements");
  cost.tell((std::string("walk over the ") + name + ", each 1,000").c_str(), seen / 1000.0);
  require(bench.session().commit() == 1, bench.session());
}

// A transaction that reads nothing is one round trip. Milliseconds.
double measureBegin(const char* what = "begin and end of a read transaction") {
  constexpr int rounds = 500;
  Bench bench;
  bench.open();
  const Cost cost(bench.session());
  for (int i = 0; i < rounds; ++i) {
    bench.begin(pscRead);
    require(bench.session().commit() == 1, bench.session());
  }
  cost.tell(what, rounds);
  return cost.milliseconds() / rounds;
}

void measureLookUps() {
  std::printf("\n| | ms | round trips |\n|---|---:|---:|\n");
  measureBegin();
  Bench bench;
  bench.open();
  for (const char* const name : {"set", "hash"}) {
    measureCold(name);
    measureWarm(bench, name);
    measureWalk(name);
  }
  measureWalk("list");
}

// The bytes of a commit by plain SQL: rows of the same number and sizes, in a table with an index on the key.
class PlainSql {
 public:
  PlainSql() : connection_(PQconnectdb(server.c_str())) {
    if (PQstatus(connection_) != CONNECTION_OK) stop(PQerrorMessage(connection_));
    run("set client_min_messages = warning; drop table if exists plain_sql; create table plain_sql (key bytea primary "
        "key,"
        " value bytea not null) with (fillfactor = 50); alter table plain_sql alter column value set storage external;"
        " set jit = off");
  }
  PlainSql(const PlainSql&) = delete;
  PlainSql& operator=(const PlainSql&) = delete;
  ~PlainSql() { PQfinish(connection_); }

  // What a session has written last: copied, replaced and committed again. Milliseconds.
  double rewrite(const std::string& schema, int rounds) {
    const std::string pairs = '"' + schema + "\".pairs";
    const std::string written = "(select unnest(keys) from \"" + schema +
                                "\".commits order by xid desc limit (select cardinality(keys) from \"" + schema +
                                "\".commits order by xid desc limit 1))";
    PGresult* const rows =
        PQexecParams(connection_, ("select key, value from " + pairs + " where key in " + written).c_str(), 0, nullptr,
                     nullptr, nullptr, nullptr, 1);
    std::string copy;
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
      const Clock::time_point start = Clock::now();
      run("begin; create temporary table stage (key bytea, value bytea) on commit drop");
      copyIn(rows);
      run("insert into plain_sql select * from stage on conflict (key) do update set value = excluded.value; commit");
      best = std::min(best, 1e3 * secondsSince(start));
    }
    rows_ = PQntuples(rows);
    bytes_ = 0;
    for (int i = 0; i < rows_; ++i) bytes_ += PQgetlength(rows, i, 1);
    PQclear(rows);
    return best;
  }
  int rows() const { return rows_; }
  int bytes() const { return bytes_; }

 private:
  void run(const char* statement) {
    PGresult* const result = PQexec(connection_, statement);
    if (PQresultStatus(result) != PGRES_COMMAND_OK) stop(PQerrorMessage(connection_));
    PQclear(result);
  }
  static void append(std::string& to, std::uint32_t number, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) to.push_back(static_cast<char>(number >> shift));
  }
  void copyIn(PGresult* rows) {
    std::string data("PGCOPY\n\377\r\n\0", 11);
    append(data, 0, 4);
    append(data, 0, 4);
    for (int i = 0; i < PQntuples(rows); ++i) {
      append(data, 2, 2);
      for (int column = 0; column < 2; ++column) {
        append(data, static_cast<std::uint32_t>(PQgetlength(rows, i, column)), 4);
        data.append(PQgetvalue(rows, i, column), static_cast<std::size_t>(PQgetlength(rows, i, column)));
      }
    }
    append(data, 0xFFFF, 2);
    PQclear(PQexec(connection_, "copy stage from stdin binary"));
    const bool isSent = PQputCopyData(connection_, data.data(), static_cast<int>(data.size())) == 1 &&
                        PQputCopyEnd(connection_, nullptr) == 1;
    PGresult* const result = PQgetResult(connection_);
    if (!isSent || PQresultStatus(result) != PGRES_COMMAND_OK) stop(PQerrorMessage(connection_));
    PQclear(result);
    while (PGresult* const more = PQgetResult(connection_)) PQclear(more);
  }

  PGconn* connection_;
  int rows_ = 0;
  int bytes_ = 0;
};

// Commits of new elements: with keys that follow each other, or from all over the set.
class Commits {
 public:
  struct Best {
    double milliseconds = 1e9;
    double roundTrips = 0;
  };
  static constexpr int rounds = 5;

  Commits() { bench_.open(); }

  Best best(bool isInOrder, int size) {
    Best best;
    for (int i = 0; i < rounds; ++i) {
      bench_.begin(pscUpdate);
      const auto items = bench_.container("more");
      const auto set = bench_.collection("set");
      for (int k = 0; k < size; ++k, next_ += 2) {
        const std::uint64_t key = isInOrder ? (std::uint64_t{1} << 50) + next_ : (anyKey(random_) | 1U);
        set->add(pstHandle<psObj>(new (items) StoredItem(payloadOf(key))));
      }
      const Cost cost(bench_.session());
      require(bench_.session().commit() == 1, bench_.session());
      best.milliseconds = std::min(best.milliseconds, cost.milliseconds());
      best.roundTrips = cost.roundTrips();
    }
    return best;
  }

  // Calls measure(what, isInOrder, size) for each kind.
  template <class Measure>
  static void forEach(const Measure& measure) {
    for (const bool isInOrder : {true, false}) {
      for (const int size : {1, 100, 10000})
        measure(std::to_string(size) + (isInOrder ? " in order" : " at random"), isInOrder, size);
    }
  }

 private:
  Bench bench_;
  std::mt19937_64 random_{11};
  std::uint64_t next_ = 1;
};

void measureCommits(const std::string& schema) {
  std::printf("\n| commit of elements in the set | rows | bytes | ms | round trips | plain SQL, ms | ratio |\n");
  std::printf("|---|---:|---:|---:|---:|---:|---:|\n");
  Commits commits;
  PlainSql sql;
  Commits::forEach([&](const std::string& what, bool isInOrder, int size) {
    const Commits::Best best = commits.best(isInOrder, size);
    const double plain = sql.rewrite(schema, Commits::rounds);
    std::printf("| %s | %d | %d | %.2f | %.0f | %.2f | %.2f |\n", what.c_str(), sql.rows(), sql.bytes(),
                best.milliseconds, best.roundTrips, plain, best.milliseconds / plain);
    std::fflush(stdout);
  });
}

// What a commit costs that compares all leaves of the set.
void measureReadMuch() {
  Bench bench;
  bench.open();
  bench.begin(pscUpdate);
  const auto set = bench.collection("set");
  const std::unique_ptr<psCollectionIterator> walk(set->iterator());
  while (walk->hasNext()) walk->next(pscNoLock);
  set->add(pstHandle<psObj>(new (bench.container("more")) StoredItem(payloadOf(std::uint64_t{1} << 60))));
  std::printf("\n| | ms | round trips |\n|---|---:|---:|\n");
  const Cost cost(bench.session());
  require(bench.session().commit() == 1, bench.session());
  cost.tell("commit of 1 element after a walk over the set");
}

struct Tally {
  std::uint64_t commits = 0;
  std::uint64_t conflicts = 0;
  std::uint64_t roundTrips = 0;
  double seconds = 0;
};

// What a writer does in a transaction. It gets a number of the writer and random numbers.
using Change = std::function<void(Bench& bench, int writer, std::mt19937_64& random)>;

// Repeats a change until it is committed, for some seconds.
Tally write(int writer, double seconds, const Change& warm, const Change& change) {
  Bench bench;
  bench.open();
  std::mt19937_64 random(static_cast<std::uint64_t>(writer) * 7919 + 1);
  bench.begin(pscUpdate);
  warm(bench, writer, random);
  require(bench.session().commit() == 1 || bench.session().lastErrorKind() == psErrorKind::conflict, bench.session());
  Tally tally;
  const std::uint64_t trips = bench.session().roundTrips();
  const Clock::time_point start = Clock::now();
  while (secondsSince(start) < seconds) {
    const std::mt19937_64 before = random;
    for (int attempt = 0;; ++attempt) {
      random = before;
      bench.begin(pscUpdate);
      change(bench, writer, random);
      if (bench.session().commit() == 1) break;
      if (bench.session().lastErrorKind() != psErrorKind::conflict) stop(bench.session().lastError());
      if (std::getenv("NETWORK_BENCH_SAY") != nullptr)
        std::fprintf(stderr, "%s\n", bench.session().lastError().c_str());
      ++tally.conflicts;
      std::this_thread::sleep_for(std::chrono::microseconds(random() % (1000U << std::min(attempt, 5))));
    }
    ++tally.commits;
  }
  tally.seconds = secondsSince(start);
  tally.roundTrips = bench.session().roundTrips() - trips;
  return tally;
}

double contend(const char* what, int writers, const Change& warm, const Change& change) {
  constexpr double seconds = 4;
  std::vector<int> pipes;
  std::fflush(stdout);
  for (int writer = 0; writer < writers; ++writer) {
    int ends[2];
    if (pipe(ends) != 0) stop("there are no more pipes");
    if (fork() == 0) {
      const Tally tally = write(writer, seconds, warm, change);
      const bool isTold = ::write(ends[1], &tally, sizeof tally) == sizeof tally;
      _exit(isTold ? 0 : 1);
    }
    close(ends[1]);
    pipes.push_back(ends[0]);
  }
  Tally all;
  double rate = 0;
  for (const int end : pipes) {
    Tally tally;
    if (read(end, &tally, sizeof tally) != sizeof tally) stop("a writer has failed");
    close(end);
    rate += static_cast<double>(tally.commits) / tally.seconds;
    all.commits += tally.commits;
    all.conflicts += tally.conflicts;
    all.roundTrips += tally.roundTrips;
  }
  while (wait(nullptr) > 0) continue;
  const auto attempts = static_cast<double>(all.commits + all.conflicts);
  std::printf("| %s | %d | %.0f | %.2f %% | %.2f |\n", what, writers, rate,
              100 * static_cast<double>(all.conflicts) / attempts, static_cast<double>(all.roundTrips) / attempts);
  std::fflush(stdout);
  return rate;
}

// Opens much of a collection.
Change warmed(const char* name) {
  return [name](Bench& bench, int, std::mt19937_64& random) {
    const auto set = bench.collection(name);
    for (int i = 0; i < warming; ++i) contains(set, anyKey(random));
  };
}

// Adds or removes elements, at random keys. Items are made before, so that only the collection changes.
Change flips(const char* name, int changes, const std::vector<psId>& items) {
  return [name, changes, &items](Bench& bench, int, std::mt19937_64& random) {
    const auto set = bench.collection(name);
    for (int i = 0; i < changes; ++i) {
      const pstHandle<psObj> item(Bench::idOf(random, items));
      if (!set->remove(item)) set->add(item);
    }
  };
}

std::string ownList(int writer) { return "list" + std::to_string(writer); }

void makeOwnList(Bench& bench, int writer, std::mt19937_64&) {
  const std::string name = ownList(writer);
  pstHandle<psObj> found;
  if (found.lookupObj(bench.session().database("bench"), name.c_str(), pscNoOpen) != 0) return;
  const pstHandle<psObj> list(new (bench.container(name)) psTreeList(perNode));
  require(bench.session().name(list, bench.session().database("bench"), name.c_str()) == 1, bench.session());
}

// Creates an element in a container, and appends it to a list.
void append(Bench& bench, const std::string& in, const std::string& list, std::mt19937_64& random) {
  const pstHandle<psObj> item(new (bench.container(in)) StoredItem(payloadOf(random())));
  bench.collection(list.c_str())->add(item);
}

std::vector<psId> someItems() {
  Bench bench;
  bench.open();
  bench.begin(pscRead);
  std::vector<psId> ids;
  for (int part = 0; part * 100000 < count; ++part) {
    pstItr<StoredItem> item;
    item.scan(bench.container("items" + std::to_string(part)), pscNoOpen);
    while (item.next()) ids.push_back(item.oid());
  }
  require(bench.session().commit() == 1, bench.session());
  return ids;
}

void measureWriters() {
  std::printf("\n| changes | writers | commits/s | conflicts | round trips |\n|---|---:|---:|---:|---:|\n");
  const std::vector<psId> items = someItems();
  for (const char* const name : {"set", "hash"}) {
    for (const int changes : {1, 5}) {
      const std::string what = std::to_string(changes) + (changes == 1 ? " change" : " changes") + ", one " + name;
      for (const int writers : {1, 8}) contend(what.c_str(), writers, warmed(name), flips(name, changes, items));
    }
  }
  const Change nothing = [](Bench&, int, std::mt19937_64&) {};
  const Change appendToOne = [](Bench& bench, int, std::mt19937_64& random) {
    append(bench, "created", "list", random);
  };
  contend("a new element, appended to one list", 8, nothing, appendToOne);
  const Change appendToOwn = [](Bench& bench, int writer, std::mt19937_64& random) {
    append(bench, "created", ownList(writer), random);
  };
  for (const int writers : {1, 4, 8})
    contend("new elements in one container, a list each", writers, makeOwnList, appendToOwn);
}

// The same from farther away: each round trip takes a millisecond more.
void measureFar() {
  const std::string parameter = "host=";
  const std::size_t host = server.find(parameter);
  if (host == std::string::npos) stop("the address has no host=, the folder of a socket");
  const std::size_t begin = host + parameter.size();
  ps::test::Proxy proxy(server.substr(begin, server.find('&', begin) - begin));
  std::printf("\n| | ms | round trips |\n|---|---:|---:|\n");
  const double before = measureBegin("begin and end, not farther away");
  const std::string near = std::exchange(address, proxy.address() + address.substr(address.find('#')));
  proxy.delay(std::chrono::milliseconds(1));
  // The proxy itself takes time too.
  const double excess = measureBegin("begin and end, with a delay of 1 ms in a proxy") - before - 1;
  proxy.delay(std::chrono::microseconds(static_cast<int>(1000 * (1 - excess))));
  measureBegin("begin and end, 1 ms farther away");
  std::printf("\n| 1 ms farther away | ms | round trips |\n|---|---:|---:|\n");
  for (const char* const name : {"set", "hash"}) measureCold(name);
  std::printf("\n| changes, 1 ms farther away | writers | commits/s | conflicts | round trips |\n");
  std::printf("|---|---:|---:|---:|---:|\n");
  const Change appendToOwn = [](Bench& bench, int writer, std::mt19937_64& random) {
    append(bench, ownList(writer), ownList(writer), random);
  };
  const double one = contend("a collection and a container each", 1, makeOwnList, appendToOwn);
  const double four = contend("the same", 4, makeOwnList, appendToOwn);
  std::printf("\n4 writers commit %.1f times what 1 does.\n", four / one);
  address = near;
}

void fill() {
  Bench bench;
  bench.open();
  const Cost cost(bench.session());
  bench.fill();
  std::printf("Filled with %d elements in %.1f s.\n", count, cost.milliseconds() / 1e3);
}

// The same work in a file, whose pages the system has in memory.
void measureFile() {
  std::string folder = (std::filesystem::temp_directory_path() / "network_bench-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) stop("no temporary folder at " + folder);
  const std::string far = std::exchange(address, folder + "/bench.ps");
  std::printf("\nIn a file:\n\n");
  fill();
  measureLookUps();
  std::printf("\n| commit of elements in the set of a file | ms |\n|---|---:|\n");
  Commits commits;
  Commits::forEach([&](const std::string& what, bool isInOrder, int size) {
    std::printf("| %s | %.2f |\n", what.c_str(), commits.best(isInOrder, size).milliseconds);
  });
  std::filesystem::remove_all(folder);
  address = far;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) stop("give the address of a server");
  server = argv[1];
  const std::string schema = "bench";
  address = server + '#' + schema;
  if (argc > 2) count = std::atoi(argv[2]);
  const std::vector<std::string> parts(argv + std::min(argc, 3), argv + argc);
  const auto wants = [&parts](const char* part) {
    return parts.empty() || std::find(parts.begin(), parts.end(), part) != parts.end();
  };
  if (wants("fill")) fill();
  if (wants("look-ups")) measureLookUps();
  if (wants("far")) measureFar();
  if (wants("commits")) {
    measureCommits(schema);
    measureReadMuch();
  }
  if (wants("writers")) measureWriters();
  if (wants("file")) measureFile();
  return 0;
}
