// What the sorted map costs beside std::map, which lives in memory only, and beside LMDB with integer keys. Keys and
// values are references to objects of the store, and the order is that of identifiers, so no object is opened; the
// peers have the same references as numbers. Every figure is the time of one pair. A load is one transaction from its
// beginning to the end of a durable commit, of which std::map knows nothing.

#include <lmdb.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "StoredCollection.h"
#include "Workloads.h"
#include "core/psCollectionIterator.h"
#include "sorted/psTreeMap.h"

namespace {

constexpr int length = 1000000;
constexpr int entriesPerNode = 200;

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
    std::vector<psId> keys = createObjects(store_, length);
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

class Lmdb : public IntegerKeys {
 public:
  void load(const std::vector<Pairs::Pair>& pairs) {
    MDB_txn* const transaction = begin(0);
    for (const Pairs::Pair& pair : pairs) put(transaction, rankOf(pair.key), &pair.value);
    commit(transaction);
  }
};

class Store : public StoredCollection<psTreeMap> {
 public:
  Store() : StoredCollection(Pairs::instance().store()) {}

  void load(const std::vector<Pairs::Pair>& pairs) {
    const auto put = [&](psTreeMap& map) {
      for (const Pairs::Pair& pair : pairs) {
        if (map.put(pair.key, pair.value) != 1) stop("the map does not take a pair");
      }
    };
    create(put, entriesPerNode);
  }
};

// What another process misses in the stored map; "" when it holds what was put.
std::string findFault(const psTreeMap& map) {
  for (const Pairs::Pair& pair : Pairs::instance().shuffled()) {
    if (map.get(pair.key) != pair.value) return "a value is wrong";
  }
  return map.size() == length ? "" : "the map is not " + std::to_string(length) + " pairs long";
}

// The same pairs in all contestants, to be read. What our store holds has been read back by another process.
class Filled {
 public:
  static const Filled& instance() {
    static const Filled filled;
    return filled;
  }

  const Store& store() const { return store_; }
  const Lmdb& lmdb() const { return lmdb_; }
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
    store_.check(findFault);
    mapBytes = store_.bytes() / length;
    lmdb_.load(pairs);
    lmdbBytes = static_cast<double>(sizeOf(lmdb_.file())) / length;
    const std::size_t before = heapBytes();
    standard_.load(pairs);
    standardBytes = static_cast<double>(heapBytes() - before) / length;
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
  Filled::instance().store().read([&](const psTreeMap& map) {
    const auto walkValues = [&] {
      std::uint64_t sum = 0;
      const std::unique_ptr<psCollectionIterator> it(map.valueIterator());
      while (it->hasNext()) sum += it->next(pscNoLock).oid().bits();
      return sum;
    };
    const auto walkPairs = [&] {
      std::uint64_t sum = 0;
      const std::unique_ptr<psCollectionIterator> it(map.iterator());
      while (it->hasNext()) {
        benchmark::DoNotOptimize(it->next(pscNoLock));
        sum += it->currentValue().oid().bits();
      }
      return sum;
    };
    run(walkPairs, walkValues, [&](int i) { return map.get(Pairs::instance()[i].key).oid().bits(); });
  });
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
  const Lmdb& lmdb = Filled::instance().lmdb();
  MDB_txn* const transaction = lmdb.begin(MDB_RDONLY);
  const auto walk = [&] { return lmdb.sumOfBits(transaction); };
  run(walk, walk, [&](int i) { return lmdb.get(transaction, rankOf(Pairs::instance()[i].key)); });
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
