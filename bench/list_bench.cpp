// What the positional list costs beside std::deque, which lives in memory only, and beside LMDB with the position as
// the key. Every figure is the time of one element. A load is one transaction from its beginning to the end of a
// durable commit, of which std::deque knows nothing. LMDB takes no part where elements are put before others: each of
// those would need another key.

#include <lmdb.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <iterator>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "StoredCollection.h"
#include "Workloads.h"
#include "core/psCollectionIterator.h"
#include "list/psTreeList.h"

namespace {

constexpr int longLength = 1000000;
constexpr int shortLength = 10000;
constexpr int prependedLength = 100000;
constexpr int entriesPerNode = 200;

// A store with some objects, and in random order the references to them of which all lists consist. Lists do not open
// their elements; with few objects, a store's file is nearly all list.
class Elements {
 public:
  static const Elements& instance() {
    static const Elements elements;
    return elements;
  }

  // Our stores are copies of this one, so that the references are good in all of them.
  const ScratchFile& store() const { return store_; }
  const psId& operator[](std::size_t position) const { return references_[position]; }

 private:
  Elements() {
    const std::vector<psId> objects = createObjects(store_, 1000);
    std::mt19937_64 random(7);
    std::generate_n(std::back_inserter(references_), longLength, [&] { return objects[random() % objects.size()]; });
  }

  ScratchFile store_;
  std::vector<psId> references_;
};

// The contestants, empty; each is filled with so many elements, one after the other.

// Pointers that nobody follows: they are the bits of the references, so that all contestants hold the same.
using Deque = std::deque<void*>;

void* toPointer(const psId& reference) { return reinterpret_cast<void*>(reference.bits()); }

std::uint64_t toBits(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

// Puts element i in by put(deque, i, pointer).
template <class Put>
void fill(Deque& deque, int length, Put put) {
  const Elements& elements = Elements::instance();
  for (int i = 0; i < length; ++i) put(deque, i, toPointer(elements[i]));
}

void append(const IntegerKeys& lmdb, int length) {
  const Elements& elements = Elements::instance();
  MDB_txn* const transaction = lmdb.begin(0);
  for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
    lmdb.put(transaction, i, &elements[i], MDB_APPEND);
  }
  lmdb.commit(transaction);
}

class Store : public StoredCollection<psTreeList> {
 public:
  Store() : StoredCollection(Elements::instance().store()) {}

  // Puts element i in by put(list, i, element), which gives 1 or 0.
  template <class Put>
  void fill(int length, Put put) {
    const Elements& elements = Elements::instance();
    const auto putAll = [&](psTreeList& list) {
      for (int i = 0; i < length; ++i) {
        if (put(list, i, pstHandle<psObj>(elements[i])) != 1) stop("the list does not take an element");
      }
    };
    create(putAll, entriesPerNode);
  }
};

// How elements get in; those of std::deque beside ours.

int putLast(psTreeList& list, int, const pstHandle<psObj>& element) { return list.add(element) ? 1 : 0; }
void pushBack(Deque& deque, int, void* element) { deque.push_back(element); }

int putFirst(psTreeList& list, int, const pstHandle<psObj>& element) { return list.addFirst(element); }
void pushFront(Deque& deque, int, void* element) { deque.push_front(element); }

int putAmid(psTreeList& list, int i, const pstHandle<psObj>& element) { return list.add(i / 2, element); }
void insertAmid(Deque& deque, int i, void* element) { deque.insert(deque.begin() + i / 2, element); }

// The complaint about the list in another process's session; "" when it holds what was appended.
std::string findFault(const psTreeList& list, int length) {
  const Elements& elements = Elements::instance();
  const std::unique_ptr<psCollectionIterator> it(list.iterator());
  int i = 0;
  for (; i < length && it->hasNext(); ++i) {
    if (it->next(pscNoLock).oid() != elements[i]) return "the element at position " + std::to_string(i) + " is wrong";
  }
  if (i < length || it->hasNext()) return "the list is not " + std::to_string(length) + " elements long";
  return "";
}

// The same elements in all contestants, to be read. What our store holds has been read back by another process.
class Filled {
 public:
  explicit Filled(int length) {
    store_.fill(length, putLast);
    store_.check([length](const psTreeList& list) { return findFault(list, length); });
    listBytes = store_.bytes() / length;

    append(lmdb, length);
    lmdbBytes = static_cast<double>(sizeOf(lmdb.file())) / length;

    const std::size_t before = heapBytes();
    fill(deque, length, pushBack);
    dequeBytes = static_cast<double>(heapBytes() - before) / length;

    for (int i = 0; i < length; ++i) sum += Elements::instance()[i].bits();
  }

  const Store& store() const { return store_; }

  IntegerKeys lmdb;
  Deque deque;
  std::uint64_t sum = 0;  // of the elements' bits
  // Bytes per element: of the files, what the list adds; of the heap, what the deque's blocks take.
  double listBytes = 0;
  double lmdbBytes = 0;
  double dequeBytes = 0;

 private:
  Store store_;
};

template <int length>
const Filled& filledWith() {
  static const Filled filled(length);
  return filled;
}

template <class Put>
void loadList(benchmark::State& state, int length, Put put) {
  Elements::instance();
  runLoads<Store>(state, length, [&](Store& store) { store.fill(length, put); });
}

template <class Put>
void loadDeque(benchmark::State& state, int length, Put put) {
  Elements::instance();
  runLoads<Deque>(state, length, [&](Deque& deque) { fill(deque, length, put); });
}

void reportBytes(benchmark::State& state, double Filled::*bytes) {
  state.counters["bytes per element"] = filledWith<longLength>().*bytes;
}

void appendToList(benchmark::State& state) {
  reportBytes(state, &Filled::listBytes);
  loadList(state, longLength, putLast);
}

void appendToDeque(benchmark::State& state) {
  reportBytes(state, &Filled::dequeBytes);
  loadDeque(state, longLength, pushBack);
}

void appendToLmdb(benchmark::State& state) {
  reportBytes(state, &Filled::lmdbBytes);
  runLoads<IntegerKeys>(state, longLength, [](const IntegerKeys& lmdb) { append(lmdb, longLength); });
}

void prependToList(benchmark::State& state) { loadList(state, prependedLength, putFirst); }
void prependToDeque(benchmark::State& state) { loadDeque(state, prependedLength, pushFront); }

void insertIntoList(benchmark::State& state) { loadList(state, shortLength, putAmid); }
void insertIntoDeque(benchmark::State& state) { loadDeque(state, shortLength, insertAmid); }

// Reading: each contestant calls run with a walk, which gives the sum of the elements' bits, and a get, which gives the
// bits of the element at a position.

template <class Run>
void inList(const Filled& filled, Run run) {
  filled.store().read([&](const psTreeList& list) {
    const auto walk = [&] {
      std::uint64_t sum = 0;
      const std::unique_ptr<psCollectionIterator> it(list.iterator());
      while (it->hasNext()) sum += it->next(pscNoLock).oid().bits();
      return sum;
    };
    run(walk, [&](int position) { return list.get(position).oid().bits(); });
  });
}

template <class Run>
void inDeque(const Filled& filled, Run run) {
  const auto add = [](std::uint64_t sum, const void* pointer) { return sum + toBits(pointer); };
  run([&] { return std::accumulate(filled.deque.begin(), filled.deque.end(), std::uint64_t{0}, add); },
      [&](int position) { return toBits(filled.deque[static_cast<std::size_t>(position)]); });
}

template <class Run>
void inLmdb(const Filled& filled, Run run) {
  const IntegerKeys& lmdb = filled.lmdb;
  MDB_txn* const transaction = lmdb.begin(MDB_RDONLY);
  run([&] { return lmdb.sumOfBits(transaction); },
      [&](int position) { return lmdb.get(transaction, static_cast<std::uint64_t>(position)); });
  mdb_txn_abort(transaction);
}

auto walks(benchmark::State& state) {
  return [&state](auto walk, auto) { runWalks(state, longLength, filledWith<longLength>().sum, walk); };
}

// Gets elements by position, after a walk has brought them into memory.
auto gets(benchmark::State& state, const Filled& filled) {
  return [&](auto walk, auto get) {
    if (walk() != filled.sum) stop("a walk does not meet every element");
    runGets(state, static_cast<int>(filled.deque.size()), get,
            [](int position) { return Elements::instance()[position].bits(); });
  };
}

void walkList(benchmark::State& state) { inList(filledWith<longLength>(), walks(state)); }
void walkDeque(benchmark::State& state) { inDeque(filledWith<longLength>(), walks(state)); }
void walkLmdb(benchmark::State& state) { inLmdb(filledWith<longLength>(), walks(state)); }

// Our get(i) goes from leaf to leaf, as its contract says: its time grows with the position, that of the others hardly.
template <int length>
void getFromList(benchmark::State& state) {
  inList(filledWith<length>(), gets(state, filledWith<length>()));
}

template <int length>
void getFromDeque(benchmark::State& state) {
  inDeque(filledWith<length>(), gets(state, filledWith<length>()));
}

template <int length>
void getFromLmdb(benchmark::State& state) {
  inLmdb(filledWith<length>(), gets(state, filledWith<length>()));
}

}  // namespace

int main(int argc, char** argv) {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("ref/append 1,000,000: std::deque", appendToDeque)->UseRealTime();
  RegisterBenchmark("ref/append 1,000,000: LMDB", appendToLmdb)->UseRealTime();
  RegisterBenchmark("append 1,000,000: psTreeList", appendToList)->UseRealTime();
  RegisterBenchmark("ref/prepend 100,000: std::deque", prependToDeque)->UseRealTime();
  RegisterBenchmark("prepend 100,000: psTreeList", prependToList)->UseRealTime();
  RegisterBenchmark("ref/insert 10,000 in the middle: std::deque", insertIntoDeque)->UseRealTime();
  RegisterBenchmark("insert 10,000 in the middle: psTreeList", insertIntoList)->UseRealTime();
  RegisterBenchmark("ref/next, of 1,000,000: std::deque", walkDeque);
  RegisterBenchmark("ref/next, of 1,000,000: LMDB", walkLmdb);
  RegisterBenchmark("next, of 1,000,000: psTreeList", walkList);
  RegisterBenchmark("ref/get(i), of 1,000,000: std::deque", getFromDeque<longLength>);
  RegisterBenchmark("ref/get(i), of 1,000,000: LMDB", getFromLmdb<longLength>);
  RegisterBenchmark("get(i), of 1,000,000: psTreeList", getFromList<longLength>);
  RegisterBenchmark("ref/get(i), of 10,000: std::deque", getFromDeque<shortLength>);
  RegisterBenchmark("ref/get(i), of 10,000: LMDB", getFromLmdb<shortLength>);
  RegisterBenchmark("get(i), of 10,000: psTreeList", getFromList<shortLength>);
  return runWithRatios(argc, argv);
}
