// What hash sets and maps cost beside those of the standard library and of Abseil, which live in memory only, and
// beside LMDB with integer keys. Elements, keys and values are references to objects of the store, hashed by their
// identifiers, so no object is opened; the peers have the same references as numbers. Every figure is the time of one
// element or pair. A load or removal is one transaction from its beginning to the end of a durable commit, of which the
// tables in memory know nothing. Ours is measured with the cache that sessions have by default, and with one that holds
// it whole, as the page cache of the system holds LMDB's file. All grow as they are filled: none is told before how
// much will come.

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>
#include <lmdb.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "StoredCollection.h"
#include "Workloads.h"
#include "core/psCollectionIterator.h"
#include "hash/HashAccess.h"
#include "hash/psHashMap.h"
#include "hash/psHashSet.h"

namespace {

constexpr int slotsPerBucket = 101;

constexpr std::size_t usualCache = psSessionOptions().cacheLimit;
constexpr std::size_t largeCache = std::size_t{1} << 30;

// Set once, before anything is measured.
int length = 1000000;

struct Pair {
  psId key;  // the element of a set
  psId value;
};

// A store with the objects that all sets and maps refer to, and the pairs in random order. No value is a key, so that
// values serve as elements that are not there.
class Pairs {
 public:
  static const std::vector<Pair>& all() { return instance().all_; }
  // The pairs that a removal takes out: half of them, in another random order.
  static const std::vector<Pair>& removed() { return instance().removed_; }
  static const ScratchFile& store() { return instance().store_; }

 private:
  static const Pairs& instance() {
    static const Pairs pairs;
    return pairs;
  }

  Pairs() {
    std::vector<psId> objects = createObjects(store_, 2 * length);
    std::shuffle(objects.begin(), objects.end(), std::mt19937_64(11));
    for (std::size_t i = 0; i < objects.size(); i += 2) all_.push_back({objects[i], objects[i + 1]});
    for (const int position : shuffledPositions(length)) {
      if (removed_.size() < all_.size() / 2) removed_.push_back(all_[static_cast<std::size_t>(position)]);
    }
  }

  ScratchFile store_;
  std::vector<Pair> all_;
  std::vector<Pair> removed_;
};

// What the bits of a pair add to the sum of a walk over a set or a map.
std::uint64_t bitsOf(const Pair& pair, bool isMap) { return pair.key.bits() + (isMap ? pair.value.bits() : 0); }

// What find(key) gives for a pair that is there: of a map the value's bits. For a key that is not there it gives 0.
std::uint64_t foundOf(const Pair& pair, bool isMap) { return isMap ? pair.value.bits() : 1; }

// The sum of a walk over all pairs but the removed ones, if those are gone.
std::uint64_t sumOf(bool isMap, bool removedAreGone) {
  std::uint64_t sum = 0;
  for (const Pair& pair : Pairs::all()) sum += bitsOf(pair, isMap);
  if (removedAreGone) {
    for (const Pair& pair : Pairs::removed()) sum -= bitsOf(pair, isMap);
  }
  return sum;
}

// The complaint about a contestant that should hold all pairs, or all but the removed ones; "" when there is none.
template <class Walk, class Find>
std::string findFault(bool isMap, bool removedAreGone, Walk walk, Find find) {
  if (walk() != sumOf(isMap, removedAreGone)) return "a walk does not meet what should be there";
  std::size_t held = 0;
  for (const Pair& pair : Pairs::all()) {
    const std::uint64_t found = find(pair.key);
    if (found == foundOf(pair, isMap)) {
      ++held;
    } else if (found != 0) {
      return "a value is wrong";
    }
    if (find(pair.value) != 0) return "something is found that was never put in";
  }
  const std::size_t gone = removedAreGone ? Pairs::removed().size() : 0;
  if (held != Pairs::all().size() - gone) return "not as many are found as should be there";
  for (std::size_t i = 0; i < gone; ++i) {
    if (find(Pairs::removed()[i].key) != 0) return "something is found that was removed";
  }
  return "";
}

// Stops the program when there is one.
template <class Contestant>
void checkHere(const Contestant& contestant, bool removedAreGone) {
  contestant.read([&](auto walk, auto find) {
    const std::string fault = findFault(Contestant::isMap, removedAreGone, walk, find);
    if (!fault.empty()) stop("a peer is not what it should be: " + fault);
  });
}

// The contestants, empty. Each is loaded with all pairs, has the removed ones taken out, and is read by run(walk,
// find), where walk gives the sum of the bits that it meets. check stops the program unless the contestant holds what
// it should. A contestant that is checked can be read after that, but not changed.

template <class Table>
class InMemory {
 public:
  static constexpr bool isMap = !std::is_same_v<typename Table::key_type, typename Table::value_type>;

  void load() {
    for (const Pair& pair : Pairs::all()) {
      if constexpr (isMap) {
        table_[pair.key.bits()] = pair.value.bits();
      } else {
        table_.insert(pair.key.bits());
      }
    }
  }

  void remove() {
    for (const Pair& pair : Pairs::removed()) {
      if (table_.erase(pair.key.bits()) != 1) stop("a table in memory does not remove an element");
    }
  }

  void check(bool removedAreGone) const { checkHere(*this, removedAreGone); }

  template <class Run>
  void read(Run run) const {
    const auto walk = [&] {
      std::uint64_t sum = 0;
      for (const auto& stored : table_) {
        if constexpr (isMap) {
          sum += stored.first + stored.second;
        } else {
          sum += stored;
        }
      }
      return sum;
    };
    run(walk, [&](const psId& key) -> std::uint64_t {
      const auto found = table_.find(key.bits());
      if (found == table_.end()) return 0;
      if constexpr (isMap) {
        return found->second;
      } else {
        return 1;
      }
    });
  }

  // All that the heap holds, of which only differences mean something.
  static double bytes() { return static_cast<double>(heapBytes()); }

 private:
  Table table_;
};

template <bool withValues>
class InLmdb {
 public:
  static constexpr bool isMap = withValues;

  void load() {
    MDB_txn* const transaction = lmdb_.begin(0);
    for (const Pair& pair : Pairs::all()) lmdb_.put(transaction, pair.key.bits(), isMap ? &pair.value : nullptr);
    lmdb_.commit(transaction);
  }

  void remove() {
    MDB_txn* const transaction = lmdb_.begin(0);
    for (const Pair& pair : Pairs::removed()) lmdb_.remove(transaction, pair.key.bits());
    lmdb_.commit(transaction);
  }

  void check(bool removedAreGone) const { checkHere(*this, removedAreGone); }

  template <class Run>
  void read(Run run) const {
    MDB_txn* const transaction = lmdb_.begin(MDB_RDONLY);
    const auto walk = [&] {
      std::uint64_t sum = 0;
      lmdb_.visitAll(transaction, [&](const MDB_val& key, const MDB_val& data) {
        sum += *static_cast<const std::uint64_t*>(key.mv_data) + (isMap ? IntegerKeys::bitsOf(data) : 0);
      });
      return sum;
    };
    run(walk, [&](const psId& key) -> std::uint64_t {
      MDB_val data{};
      if (!lmdb_.find(transaction, key.bits(), data)) return 0;
      return isMap ? IntegerKeys::bitsOf(data) : 1;
    });
    mdb_txn_abort(transaction);
  }

  double bytes() const { return static_cast<double>(sizeOf(lmdb_.file())); }

 private:
  IntegerKeys lmdb_;
};

template <class Table, std::size_t cacheLimit>
class InStore {
 public:
  static constexpr bool isMap = std::is_same_v<Table, psHashMap>;

  void load() {
    stored_.create(
        [](Table& table) {
          for (const Pair& pair : Pairs::all()) {
            if (!put(table, pair)) stop("the store does not take an element");
          }
        },
        slotsPerBucket, 1);
  }

  void remove() {
    stored_.change([](Table& table) {
      for (const Pair& pair : Pairs::removed()) {
        if (!table.remove(pstHandle<psObj>(pair.key))) stop("the store does not remove an element");
      }
    });
  }

  // Looks from another process.
  void check(bool removedAreGone) {
    stored_.check([&](const Table& table) {
      std::string fault;
      read(table, [&](auto walk, auto find) { fault = findFault(isMap, removedAreGone, walk, find); });
      return fault;
    });
  }

  template <class Run>
  void read(Run run) const {
    stored_.read([&](const Table& table) { read(table, run); });
  }

  double bytes() const { return stored_.bytes(); }

  void countParts(benchmark::UserCounters& counters) const {
    stored_.read([&](const Table& table) {
      const auto& directory = ps::detail::HashAccess::directory(table);
      int buckets = 0;
      psId last;
      for (unsigned int i = 0; i < directory.size(); ++i) {
        if (directory[i].oid() != last) ++buckets;
        last = directory[i].oid();
      }
      counters["depth"] = ps::detail::HashAccess::depth(table);
      counters["buckets"] = buckets;
    });
  }

 private:
  static bool put(psHashSet& set, const Pair& pair) { return set.add(pair.key); }
  static bool put(psHashMap& map, const Pair& pair) { return map.put(pair.key, pair.value); }

  static std::uint64_t find(const psHashSet& set, const psId& key) {
    return set.contains(pstHandle<psObj>(key)) ? 1 : 0;
  }
  static std::uint64_t find(const psHashMap& map, const psId& key) {
    return map.get(pstHandle<psObj>(key)).oid().bits();
  }

  static std::uint64_t walk(const psHashSet& set) {
    std::uint64_t sum = 0;
    const std::unique_ptr<psCollectionIterator> it(set.iterator());
    while (it->hasNext()) sum += it->next(pscNoLock).oid().bits();
    return sum;
  }
  static std::uint64_t walk(const psHashMap& map) {
    std::uint64_t sum = 0;
    const std::unique_ptr<psCollectionIterator> it(map.keyIterator());
    while (it->hasNext()) {
      sum += it->next(pscNoLock).oid().bits();
      sum += it->currentValue().oid().bits();
    }
    return sum;
  }

  template <class Run>
  static void read(const Table& table, Run run) {
    run([&] { return walk(table); }, [&](const psId& key) { return find(table, key); });
  }

  static psSessionOptions options() {
    psSessionOptions options;
    options.cacheLimit = cacheLimit;
    return options;
  }

  StoredCollection<Table> stored_{Pairs::store(), options()};
};

// A contestant that holds all pairs and has been checked, to be read.
template <class Contestant>
class Filled {
 public:
  static const Filled& instance() {
    static const Filled filled;
    return filled;
  }

  const Contestant& contestant() const { return contestant_; }
  double bytes() const { return bytes_; }

 private:
  Filled() {
    Pairs::all();
    const double before = contestant_.bytes();
    contestant_.load();
    bytes_ = contestant_.bytes() - before;
    contestant_.check(false);
  }

  Contestant contestant_;
  double bytes_ = 0;
};

// The workloads.

template <class Contestant>
void load(benchmark::State& state) {
  const Filled<Contestant>& filled = Filled<Contestant>::instance();
  state.counters["bytes per element"] = filled.bytes() / length;
  runLoads<Contestant>(state, length, [](Contestant& contestant) { contestant.load(); });
}

template <class Contestant>
void loadAndCount(benchmark::State& state) {
  load<Contestant>(state);
  Filled<Contestant>::instance().contestant().countParts(state.counters);
}

template <class Contestant>
void remove(benchmark::State& state) {
  runChanges<Contestant>(
      state, static_cast<int>(Pairs::removed().size()), [](Contestant& contestant) { contestant.load(); },
      [](Contestant& contestant) { contestant.remove(); }, [](Contestant& contestant) { contestant.check(true); });
}

template <class Contestant>
void walk(benchmark::State& state) {
  Filled<Contestant>::instance().contestant().read(
      [&](auto walkOnce, auto) { runWalks(state, length, sumOf(Contestant::isMap, false), walkOnce); });
}

// Looks for the key that keyOf(pair) gives, of pairs in random order, after a walk has brought them into memory.
// expected(pair) is what is to be found.
template <class Contestant, class KeyOf, class Expected>
void find(benchmark::State& state, KeyOf keyOf, Expected expected) {
  const auto pairAt = [](int i) -> const Pair& { return Pairs::all()[static_cast<std::size_t>(i)]; };
  Filled<Contestant>::instance().contestant().read([&](auto walkOnce, auto findOne) {
    walkOnce();
    runGets(
        state, length, [&](int i) { return findOne(keyOf(pairAt(i))); }, [&](int i) { return expected(pairAt(i)); });
  });
}

template <class Contestant>
void hit(benchmark::State& state) {
  find<Contestant>(
      state, [](const Pair& pair) { return pair.key; },
      [](const Pair& pair) { return foundOf(pair, Contestant::isMap); });
}

template <class Contestant>
void miss(benchmark::State& state) {
  find<Contestant>(
      state, [](const Pair& pair) { return pair.value; }, [](const Pair&) { return std::uint64_t{0}; });
}

using StandardSet = InMemory<std::unordered_set<std::uint64_t>>;
using AbseilSet = InMemory<absl::flat_hash_set<std::uint64_t>>;
using LmdbSet = InLmdb<false>;
using OurSet = InStore<psHashSet, usualCache>;
using OurCachedSet = InStore<psHashSet, largeCache>;

using StandardMap = InMemory<std::unordered_map<std::uint64_t, std::uint64_t>>;
using AbseilMap = InMemory<absl::flat_hash_map<std::uint64_t, std::uint64_t>>;
using LmdbMap = InLmdb<true>;
using OurMap = InStore<psHashMap, usualCache>;
using OurCachedMap = InStore<psHashMap, largeCache>;

using Workload = void (*)(benchmark::State&);

constexpr std::array sets{"ref/std::unordered_set", "ref/absl::flat_hash_set", "ref/LMDB", "psHashSet",
                          "psHashSet, large cache"};
constexpr std::array maps{"ref/std::unordered_map", "ref/absl::flat_hash_map", "ref/LMDB", "psHashMap",
                          "psHashMap, large cache"};

// Times a workload with each of the contestants.
void compare(const std::string& what, const std::array<const char*, 5>& contestants,
             const std::array<Workload, 5>& workloads) {
  for (std::size_t i = 0; i < contestants.size(); ++i) {
    const std::string contestant = contestants[i];
    const std::size_t prefix = contestant.rfind('/') + 1;
    const std::string name = contestant.substr(0, prefix) + what + ": " + contestant.substr(prefix);
    benchmark::RegisterBenchmark(name.c_str(), workloads[i])->UseRealTime();
  }
}

}  // namespace

int main(int argc, char** argv) {
  length = takeElements(argc, argv, length);
  compare("set, add in random order", sets,
          {load<StandardSet>, load<AbseilSet>, load<LmdbSet>, loadAndCount<OurSet>, loadAndCount<OurCachedSet>});
  compare("set, contains, present", sets,
          {hit<StandardSet>, hit<AbseilSet>, hit<LmdbSet>, hit<OurSet>, hit<OurCachedSet>});
  compare("set, contains, absent", sets,
          {miss<StandardSet>, miss<AbseilSet>, miss<LmdbSet>, miss<OurSet>, miss<OurCachedSet>});
  compare("set, next", sets, {walk<StandardSet>, walk<AbseilSet>, walk<LmdbSet>, walk<OurSet>, walk<OurCachedSet>});
  compare("set, remove in random order", sets,
          {remove<StandardSet>, remove<AbseilSet>, remove<LmdbSet>, remove<OurSet>, remove<OurCachedSet>});
  compare("map, put in random order", maps,
          {load<StandardMap>, load<AbseilMap>, load<LmdbMap>, loadAndCount<OurMap>, loadAndCount<OurCachedMap>});
  compare("map, get, present", maps, {hit<StandardMap>, hit<AbseilMap>, hit<LmdbMap>, hit<OurMap>, hit<OurCachedMap>});
  compare("map, get, absent", maps,
          {miss<StandardMap>, miss<AbseilMap>, miss<LmdbMap>, miss<OurMap>, miss<OurCachedMap>});
  compare("map, next key with value", maps,
          {walk<StandardMap>, walk<AbseilMap>, walk<LmdbMap>, walk<OurMap>, walk<OurCachedMap>});
  return runWithRatios(argc, argv);
}
