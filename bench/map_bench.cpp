// What the sorted map costs beside std::map, which lives in memory only, and beside LMDB with integer keys. Keys and
// values are references to objects of the store, and the order is that of identifiers, so no object is opened; the
// peers have the same references as numbers. Every figure is the time of one pair. A load is one transaction from its
// beginning to the end of a durable commit, of which std::map knows nothing.

#include <lmdb.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "Workloads.h"
#include "core/psCollectionIterator.h"
#include "sorted/psTreeMap.h"
#include "store/psSession.h"

namespace {

constexpr int length = 1000000;
constexpr int entriesPerNode = 200;

class Element : public psObj {
  PS_PERSISTENT_CLASS(Element, psObj, 20203)
 public:
  Element() = default;
};
PS_REGISTER_CLASS(Element)

// The number by which a reference is ordered.
std::uint64_t rankOf(const psId& id) {
  return std::uint64_t{id.get_DB()} << 48 | std::uint64_t{id.get_OC()} << 32 | std::uint64_t{id.get_page()} << 16 |
         id.get_slot();
}

// A store with the objects that all maps refer to, and the pairs, in random order of the keys.
class Pairs {
 public:
  struct Pair {
    psId key;
    psId value;
  };

  static const Pairs& instance() {
    static const Pairs pairs;
    return pairs;
  }

  const ScratchFile& store() const { return store_; }
  const std::vector<Pair>& shuffled() const { return shuffled_; }
  const Pair& operator[](int i) const { return shuffled_[static_cast<std::size_t>(i)]; }

 private:
  Pairs() {
    psSession session;
    if (session.open(store_.path().string()) != 1 || session.begin(pscUpdate) != 1) stop(session.lastError());
    const pstHandle<psContObj> in = session.container(session.database("bench"), "elements");
    std::vector<psId> keys(length);
    for (psId& key : keys) key = pstHandle<Element>(new (in) Element).oid();
    if (session.commit() != 1) stop(session.lastError());
    std::mt19937_64 random(7);
    std::shuffle(keys.begin(), keys.end(), random);
    for (const psId& key : keys) shuffled_.push_back({key, keys[random() % keys.size()]});
  }

  ScratchFile store_;
  std::vector<Pair> shuffled_;
};

std::vector<Pairs::Pair> ascending() {
  std::vector<Pairs::Pair> pairs = Pairs::instance().shuffled();
  std::sort(pairs.begin(), pairs.end(),
            [](const Pairs::Pair& a, const Pairs::Pair& b) { return rankOf(a.key) < rankOf(b.key); });
  return pairs;
}

// The contestants, empty; each takes the pairs in the given order.

class StandardMap {
 public:
  void load(const std::vector<Pairs::Pair>& pairs) {
    for (const Pairs::Pair& pair : pairs) map_[rankOf(pair.key)] = pair.value.bits();
  }
  const std::map<std::uint64_t, std::uint64_t>& map() const { return map_; }

 private:
  std::map<std::uint64_t, std::uint64_t> map_;
};

class Lmdb {
 public:
  void load(const std::vector<Pairs::Pair>& pairs) {
    MDB_txn* const transaction = peer_.begin(0);
    for (const Pairs::Pair& pair : pairs) {
      std::uint64_t rank = rankOf(pair.key);
      psId value = pair.value;
      MDB_val key{sizeof rank, &rank};
      MDB_val data{sizeof value, &value};
      if (mdb_put(transaction, peer_.database(), &key, &data, 0) != 0) stop("LMDB does not take a pair");
    }
    peer_.commit(transaction);
  }
  const LmdbPeer& peer() const { return peer_; }

 private:
  LmdbPeer peer_{MDB_INTEGERKEY};
};

class Store {
 public:
  Store() {
    copyStore(Pairs::instance().store(), file_);
    if (session_.open(file_.path().string()) != 1) stop(session_.lastError());
  }

  void load(const std::vector<Pairs::Pair>& pairs) {
    if (session_.begin(pscUpdate) != 1) stop(session_.lastError());
    const pstHandle<psDBObj> database = session_.database("bench");
    const pstHandle<psTreeMap> map(new (session_.container(database, "maps")) psTreeMap(entriesPerNode));
    if (map.isNull()) stop(session_.lastError());
    for (const Pairs::Pair& pair : pairs) {
      if (map->put(pair.key, pair.value) != 1) stop("the map does not take a pair");
    }
    if (session_.name(map, database, "map") != 1 || session_.commit() != 1) stop(session_.lastError());
  }

  // The map, open for reading, in the session's transaction.
  static pstHandle<psTreeMap> map(psSession& session) {
    pstHandle<psTreeMap> map;
    map.lookupObj(session.database("bench"), "map", pscRead);
    return map;
  }

  psSession& session() { return session_; }
  const ScratchFile& file() const { return file_; }

 private:
  ScratchFile file_;
  psSession session_;
};

// What another process misses in the stored map; "" when it holds what was put.
std::string findFault(psSession& session) {
  const pstHandle<psTreeMap> map = Store::map(session);
  if (map.isNull()) return "there is no map in the store";
  for (const Pairs::Pair& pair : Pairs::instance().shuffled()) {
    if (map->get(pair.key) != pair.value) return "a value is wrong";
  }
  return map->size() == length ? "" : "the map is not " + std::to_string(length) + " pairs long";
}

// The same pairs in all contestants, to be read. What our store holds has been read back by another process.
class Filled {
 public:
  static const Filled& instance() {
    static const Filled filled;
    return filled;
  }

  const ScratchFile& store() const { return store_.file(); }
  const LmdbPeer& lmdb() const { return lmdb_.peer(); }
  const std::map<std::uint64_t, std::uint64_t>& standard() const { return standard_.map(); }

  std::uint64_t sum = 0;  // of the values' bits
  // Bytes per pair: of the files, what the map adds; of the heap, what the map's nodes take.
  double mapBytes = 0;
  double lmdbBytes = 0;
  double standardBytes = 0;

 private:
  Filled() {
    const std::vector<Pairs::Pair>& pairs = Pairs::instance().shuffled();
    store_.load(pairs);
    const double nothing = static_cast<double>(sizeOf(Pairs::instance().store()));
    if (store_.session().close() != 1) stop(store_.session().lastError());
    checkInOtherProcess(store_.file(), findFault);
    mapBytes = (static_cast<double>(sizeOf(store_.file())) - nothing) / length;
    lmdb_.load(pairs);
    lmdbBytes = static_cast<double>(sizeOf(lmdb_.peer().file())) / length;
    const std::size_t before = mallinfo2().uordblks;
    standard_.load(pairs);
    standardBytes = static_cast<double>(mallinfo2().uordblks - before) / length;
    for (const Pairs::Pair& pair : pairs) sum += pair.value.bits();
  }

  Store store_;
  Lmdb lmdb_;
  StandardMap standard_;
};

template <class Contestant>
void putInRandomOrder(benchmark::State& state) {
  const std::vector<Pairs::Pair>& pairs = Pairs::instance().shuffled();
  runLoads<Contestant>(state, length, [&](Contestant& contestant) { contestant.load(pairs); });
}

template <class Contestant>
void putInAscendingOrder(benchmark::State& state) {
  const std::vector<Pairs::Pair> pairs = ascending();
  runLoads<Contestant>(state, length, [&](Contestant& contestant) { contestant.load(pairs); });
}

template <class Contestant>
void putInRandomOrderWithBytes(benchmark::State& state, double Filled::*bytes) {
  state.counters["bytes per pair"] = Filled::instance().*bytes;
  putInRandomOrder<Contestant>(state);
}

// Reading: each contestant calls run with a walk, which gives the sum of the values' bits, and a get, which gives the
// bits of the value of pair i.

template <class Run>
void inMap(Run run) {
  psSession session;
  if (session.open(Filled::instance().store().path().string()) != 1 || session.begin(pscRead) != 1) {
    stop(session.lastError());
  }
  const pstHandle<psTreeMap> map = Store::map(session);
  if (map.isNull()) stop(session.lastError());
  const auto walkValues = [&] {
    std::uint64_t sum = 0;
    const std::unique_ptr<psCollectionIterator> it(map->valueIterator());
    while (it->hasNext()) sum += it->next(pscNoLock).oid().bits();
    return sum;
  };
  const auto walkPairs = [&] {
    std::uint64_t sum = 0;
    const std::unique_ptr<psCollectionIterator> it(map->iterator());
    while (it->hasNext()) {
      benchmark::DoNotOptimize(it->next(pscNoLock));
      sum += it->currentValue().oid().bits();
    }
    return sum;
  };
  run(walkPairs, walkValues, [&](int i) { return map->get(Pairs::instance()[i].key).oid().bits(); });
}

template <class Run>
void inStandardMap(Run run) {
  const std::map<std::uint64_t, std::uint64_t>& map = Filled::instance().standard();
  const auto walk = [&] {
    std::uint64_t sum = 0;
    for (const auto& pair : map) {
      benchmark::DoNotOptimize(pair.first);
      sum += pair.second;
    }
    return sum;
  };
  run(walk, walk, [&](int i) { return map.find(rankOf(Pairs::instance()[i].key))->second; });
}

template <class Run>
void inLmdb(Run run) {
  const LmdbPeer& lmdb = Filled::instance().lmdb();
  MDB_txn* const transaction = lmdb.begin(MDB_RDONLY);
  const auto bits = [](const MDB_val& data) { return static_cast<const psId*>(data.mv_data)->bits(); };
  const auto walk = [&] {
    std::uint64_t sum = 0;
    MDB_cursor* cursor = nullptr;
    if (mdb_cursor_open(transaction, lmdb.database(), &cursor) != 0) stop("LMDB does not open a cursor");
    MDB_val key{};
    MDB_val data{};
    while (mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0) sum += bits(data);
    mdb_cursor_close(cursor);
    return sum;
  };
  run(walk, walk, [&](int i) {
    std::uint64_t rank = rankOf(Pairs::instance()[i].key);
    MDB_val key{sizeof rank, &rank};
    MDB_val data{};
    if (mdb_get(transaction, lmdb.database(), &key, &data) != 0) stop("LMDB does not find a key");
    return bits(data);
  });
  mdb_txn_abort(transaction);
}

auto pairWalks(benchmark::State& state) {
  return [&state](auto walk, auto, auto) { runWalks(state, length, Filled::instance().sum, walk); };
}

auto valueWalks(benchmark::State& state) {
  return [&state](auto, auto walk, auto) { runWalks(state, length, Filled::instance().sum, walk); };
}

// Gets the values of keys in random order, after a walk has brought them into memory.
auto gets(benchmark::State& state) {
  return [&state](auto walk, auto, auto get) {
    if (walk() != Filled::instance().sum) stop("a walk does not meet every pair");
    runGets(state, length, get, [](int i) { return Pairs::instance()[i].value.bits(); });
  };
}

}  // namespace

int main(int argc, char** argv) {
  const auto time = [](const char* name, auto run) { return benchmark::RegisterBenchmark(name, run); };
  time("ref/put, random order: std::map", [](benchmark::State& state) {
    putInRandomOrderWithBytes<StandardMap>(state, &Filled::standardBytes);
  })->UseRealTime();
  time("ref/put, random order: LMDB", [](benchmark::State& state) {
    putInRandomOrderWithBytes<Lmdb>(state, &Filled::lmdbBytes);
  })->UseRealTime();
  time("put, random order: psTreeMap", [](benchmark::State& state) {
    putInRandomOrderWithBytes<Store>(state, &Filled::mapBytes);
  })->UseRealTime();
  time("ref/put, ascending: std::map", putInAscendingOrder<StandardMap>)->UseRealTime();
  time("ref/put, ascending: LMDB", putInAscendingOrder<Lmdb>)->UseRealTime();
  time("put, ascending: psTreeMap", putInAscendingOrder<Store>)->UseRealTime();
  time("ref/get: std::map", [](benchmark::State& state) { inStandardMap(gets(state)); });
  time("ref/get: LMDB", [](benchmark::State& state) { inLmdb(gets(state)); });
  time("get: psTreeMap", [](benchmark::State& state) { inMap(gets(state)); });
  time("ref/next value: std::map", [](benchmark::State& state) { inStandardMap(valueWalks(state)); });
  time("ref/next value: LMDB", [](benchmark::State& state) { inLmdb(valueWalks(state)); });
  time("next value: psTreeMap", [](benchmark::State& state) { inMap(valueWalks(state)); });
  time("ref/next key with value: std::map", [](benchmark::State& state) { inStandardMap(pairWalks(state)); });
  time("ref/next key with value: LMDB", [](benchmark::State& state) { inLmdb(pairWalks(state)); });
  time("next key with value: psTreeMap", [](benchmark::State& state) { inMap(pairWalks(state)); });
  return runWithRatios(argc, argv);
}
