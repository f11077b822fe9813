// What it costs to open an object: the figure on which the speed of every collection rests. Each contestant chases
// through its 100,000 objects in the same random order: every object holds the number of the next one, as a search
// learns from one node which to open next.

#include <lmdb.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <numeric>
#include <random>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "store/psSession.h"

namespace {

constexpr std::size_t objectCount = 100000;

class Number : public psObj {
  PS_PERSISTENT_CLASS(Number, psObj, 20200)
 public:
  explicit Number(std::uint64_t number) : next(number) {}
  std::uint64_t next = 0;
};
PS_REGISTER_CLASS(Number)

// Seven of them fill a page.
class Block : public psObj {
  PS_PERSISTENT_CLASS(Block, psObj, 20201)
 public:
  explicit Block(std::uint64_t number) : next(number) {}
  std::uint64_t next = 0;
  std::uint64_t rest[127] = {};
};
PS_REGISTER_CLASS(Block)

// All contestants' data; made once, removed at the end.
class World {
 public:
  static World& instance() {
    static World world;
    return world;
  }

  ScratchFile file;
  psSession session;
  std::vector<std::uint64_t> order;               // the numbers of the store's objects in the order of the visits
  std::vector<psId> ids;                          // of the store's objects
  std::vector<psId> blocks;                       // of objects that together are many times larger than the least cache
  std::vector<const Number*> addresses;           // of the objects' transient twins
  std::vector<std::vector<const Number*>> table;  // the twins by page and slot of their identifiers
  LmdbPeer lmdb;

 private:
  World() {
    fillStore();
    fillLmdb();
  }

  void fillStore() {
    if (session.open(file.path().string()) != 1 || session.begin(pscUpdate) != 1) stop(session.lastError());
    const pstHandle<psContObj> in = session.container(session.database("bench"), "numbers");
    const std::vector<std::uint64_t> next = cycle(objectCount);
    for (std::uint64_t i = 0; order.size() < objectCount; i = next[i]) order.push_back(i);
    for (std::size_t i = 0; i < objectCount; ++i) {
      ids.push_back(pstHandle<Number>(new (in) Number(next[i])).oid());
      addTwin(ids.back(), next[i]);
    }
    const pstHandle<psContObj> large = session.container(session.database("bench"), "blocks");
    for (const std::uint64_t number : cycle(7 * 8000)) {
      blocks.push_back(pstHandle<Block>(new (large) Block(number)).oid());
    }
    if (session.commit() != 1) stop(session.lastError());
  }

  // For each of n objects the next one, on a random way through all.
  static std::vector<std::uint64_t> cycle(std::size_t n) {
    std::vector<std::uint64_t> order(n);
    std::iota(order.begin(), order.end(), std::uint64_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937_64(7));
    std::vector<std::uint64_t> next(n);
    for (std::size_t i = 0; i < n; ++i) next[order[i]] = order[(i + 1) % n];
    return next;
  }

  void addTwin(const psId& id, std::uint64_t next) {
    if (table.size() <= id.get_page()) table.resize(id.get_page() + 1U);
    std::vector<const Number*>& page = table[id.get_page()];
    if (page.size() <= id.get_slot()) page.resize(id.get_slot() + 1U);
    page[id.get_slot()] = &twins_.emplace_back(next);
    addresses.push_back(page[id.get_slot()]);
  }

  void fillLmdb() {
    MDB_txn* const transaction = lmdb.begin(0);
    for (std::size_t i = 0; i < ids.size(); ++i) {
      std::uint64_t next = addresses[i]->next;
      MDB_val key{sizeof(psId), &ids[i]};
      MDB_val data{sizeof next, &next};
      if (mdb_put(transaction, lmdb.database(), &key, &data, 0) != 0) stop("LMDB does not take a pair");
    }
    lmdb.commit(transaction);
  }

  std::deque<Number> twins_;
};

// Visits one object after the other; visit gets the number of one and returns that of the next.
template <class Visit>
void run(benchmark::State& state, Visit visit) {
  std::uint64_t i = 0;
  for (auto _ : state) i = visit(i);
  benchmark::DoNotOptimize(i);
}

// The same without waiting: what visit returns is only added up.
template <class Visit>
void runAtOnce(benchmark::State& state, Visit visit) {
  const std::vector<std::uint64_t>& order = World::instance().order;
  std::uint64_t sum = 0;
  std::size_t i = 0;
  for (auto _ : state) {
    sum += visit(order[i]);
    if (++i == order.size()) i = 0;
  }
  benchmark::DoNotOptimize(sum);
}

void pointerChase(benchmark::State& state) {
  const World& world = World::instance();
  run(state, [&](std::uint64_t i) { return world.addresses[i]->next; });
}

void twoLevelTable(benchmark::State& state) {
  const World& world = World::instance();
  run(state, [&](std::uint64_t i) { return world.table[world.ids[i].get_page()][world.ids[i].get_slot()]->next; });
}

// Looks objects up in LMDB; run is one of the two ways to visit them.
template <class Run>
void runInLmdb(Run run) {
  World& world = World::instance();
  MDB_txn* const transaction = world.lmdb.begin(MDB_RDONLY);
  run([&](std::uint64_t i) {
    MDB_val key{sizeof(psId), &world.ids[i]};
    MDB_val data{};
    if (mdb_get(transaction, world.lmdb.database(), &key, &data) != 0) stop("LMDB does not find a key");
    return *static_cast<const std::uint64_t*>(data.mv_data);
  });
  mdb_txn_abort(transaction);
}

void lmdbGet(benchmark::State& state) {
  runInLmdb([&](auto visit) { run(state, visit); });
}

void lmdbGetAtOnce(benchmark::State& state) {
  runInLmdb([&](auto visit) { runAtOnce(state, visit); });
}

// Runs the benchmark in a transaction of our store; visit gets the identifier.
template <class Visit>
void runInTransaction(benchmark::State& state, psMode mode, const std::vector<psId>& ids, Visit visit) {
  psSession& session = World::instance().session;
  if (session.begin(mode) != 1) stop(session.lastError());
  run(state, [&](std::uint64_t i) { return visit(ids[i]); });
  session.abort();
}

void openForReading(benchmark::State& state) {
  runInTransaction(state, pscRead, World::instance().ids, [](const psId& id) {
    const pstHandle<Number> number(id);
    return number.open(pscRead) == 1 ? number->next : std::uint64_t{0};
  });
}

void openForReadingAtOnce(benchmark::State& state) {
  World& world = World::instance();
  if (world.session.begin(pscRead) != 1) stop(world.session.lastError());
  runAtOnce(state, [&](std::uint64_t i) {
    const pstHandle<Number> number(world.ids[i]);
    return number.open(pscRead) == 1 ? number->next : std::uint64_t{0};
  });
  world.session.abort();
}

void dereference(benchmark::State& state) {
  runInTransaction(state, pscRead, World::instance().ids, [](const psId& id) { return pstRef<Number>(id)->next; });
}

void openForUpdate(benchmark::State& state) {
  runInTransaction(state, pscUpdate, World::instance().ids, [](const psId& id) {
    const pstHandle<Number> number(id);
    return number.open(pscUpdate) == 1 ? number->next : std::uint64_t{0};
  });
}

void copyOpenHandle(benchmark::State& state) {
  psSession& session = World::instance().session;
  if (session.begin(pscRead) != 1) stop(session.lastError());
  const pstHandle<Number> number(World::instance().ids.front());
  number.open(pscRead);
  run(state, [&](std::uint64_t) {
    const pstHandle<Number> copy(number);
    benchmark::DoNotOptimize(&copy);
    return copy->next;
  });
  session.abort();
}

// With the least cache, nearly every visit of a random block reads its page of 8 KiB.
void loadPage(benchmark::State& state) {
  psSession& session = World::instance().session;
  session.cacheLimit(0);
  const std::uint64_t before = session.counters().pageReads;
  runInTransaction(state, pscRead, World::instance().blocks, [](const psId& id) { return pstRef<Block>(id)->next; });
  state.counters["pages per visit"] =
      static_cast<double>(session.counters().pageReads - before) / static_cast<double>(state.iterations());
  session.cacheLimit(psSessionOptions().cacheLimit);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("ref/pointer chase", pointerChase);
  benchmark::RegisterBenchmark("ref/two-level table", twoLevelTable);
  benchmark::RegisterBenchmark("ref/mdb_get", lmdbGet);
  benchmark::RegisterBenchmark("ref/mdb_get, at once", lmdbGetAtOnce);
  benchmark::RegisterBenchmark("open resident, read", openForReading);
  benchmark::RegisterBenchmark("open resident, read, at once", openForReadingAtOnce);
  benchmark::RegisterBenchmark("pstRef::operator->", dereference);
  benchmark::RegisterBenchmark("open resident, update", openForUpdate);
  benchmark::RegisterBenchmark("copy of an open handle", copyOpenHandle);
  benchmark::RegisterBenchmark("page load", loadPage);
  return runWithRatios(argc, argv);
}
