// What the positional list costs beside std::deque, which lives in memory only, and beside LMDB with the position as
// the key. Every figure is the time of one element. A load is one transaction from its beginning to the end of a
// durable commit, of which std::deque knows nothing. LMDB takes no part where elements are put before others: each of
// those would need another key.

#include <lmdb.h>
#include <malloc.h>

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
#include "Workloads.h"
#include "core/psCollectionIterator.h"
#include "store/psSession.h"
#include "tree/psTreeList.h"

namespace {

constexpr int longLength = 1000000;
constexpr int shortLength = 10000;
constexpr int prependedLength = 100000;
constexpr int entriesPerNode = 200;

class Element : public psObj {
  PS_PERSISTENT_CLASS(Element, psObj, 20202)
 public:
  Element() = default;
};
PS_REGISTER_CLASS(Element)

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
    psSession session;
    if (session.open(store_.path().string()) != 1 || session.begin(pscUpdate) != 1) stop(session.lastError());
    const pstHandle<psContObj> in = session.container(session.database("bench"), "elements");
    std::vector<psId> objects(1000);
    for (psId& object : objects) object = pstHandle<Element>(new (in) Element).oid();
    if (session.commit() != 1) stop(session.lastError());
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

class IntegerKeys : public LmdbPeer {
 public:
  IntegerKeys() : LmdbPeer(MDB_INTEGERKEY) {}
};

void append(const IntegerKeys& lmdb, int length) {
  const Elements& elements = Elements::instance();
  MDB_txn* const transaction = lmdb.begin(0);
  for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
    psId element = elements[i];
    MDB_val key{sizeof i, &i};
    MDB_val data{sizeof element, &element};
    if (mdb_put(transaction, lmdb.database(), &key, &data, MDB_APPEND) != 0) stop("LMDB does not take a pair");
  }
  lmdb.commit(transaction);
}

class Store {
 public:
  Store() {
    copyStore(Elements::instance().store(), file_);
    if (session_.open(file_.path().string()) != 1) stop(session_.lastError());
  }

  // Puts element i in by put(list, i, element), which gives 1 or 0.
  template <class Put>
  void fill(int length, Put put) {
    const Elements& elements = Elements::instance();
    if (session_.begin(pscUpdate) != 1) stop(session_.lastError());
    const pstHandle<psDBObj> database = session_.database("bench");
    const pstHandle<psTreeList> list(new (session_.container(database, "lists")) psTreeList(entriesPerNode));
    if (list.isNull()) stop(session_.lastError());
    for (int i = 0; i < length; ++i) {
      if (put(*list, i, pstHandle<psObj>(elements[i])) != 1) stop("the list does not take an element");
    }
    if (session_.name(list, database, "list") != 1 || session_.commit() != 1) stop(session_.lastError());
  }

  // The list, open for reading, in the session's transaction.
  static pstHandle<psTreeList> list(psSession& session) {
    pstHandle<psTreeList> list;
    list.lookupObj(session.database("bench"), "list", pscRead);
    return list;
  }

  psSession& session() { return session_; }
  const ScratchFile& file() const { return file_; }

 private:
  ScratchFile file_;
  psSession session_;
};

// How elements get in; those of std::deque beside ours.

int putLast(psTreeList& list, int, const pstHandle<psObj>& element) { return list.add(element) ? 1 : 0; }
void pushBack(Deque& deque, int, void* element) { deque.push_back(element); }

int putFirst(psTreeList& list, int, const pstHandle<psObj>& element) { return list.addFirst(element); }
void pushFront(Deque& deque, int, void* element) { deque.push_front(element); }

int putAmid(psTreeList& list, int i, const pstHandle<psObj>& element) { return list.add(i / 2, element); }
void insertAmid(Deque& deque, int i, void* element) { deque.insert(deque.begin() + i / 2, element); }

// The complaint about the list in another process's session; "" when it holds what was appended.
std::string findFault(psSession& session, int length) {
  const pstHandle<psTreeList> list = Store::list(session);
  if (list.isNull()) return "there is no list in the store";
  const Elements& elements = Elements::instance();
  const std::unique_ptr<psCollectionIterator> it(list->iterator());
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
    const double nothing = static_cast<double>(sizeOf(Elements::instance().store()));
    if (store_.session().close() != 1) stop(store_.session().lastError());
    checkInOtherProcess(store_.file(), [length](psSession& session) { return findFault(session, length); });
    listBytes = (static_cast<double>(sizeOf(store_.file())) - nothing) / length;

    append(lmdb, length);
    lmdbBytes = static_cast<double>(sizeOf(lmdb.file())) / length;

    const std::size_t before = heapBytes();
    fill(deque, length, pushBack);
    dequeBytes = static_cast<double>(heapBytes() - before) / length;

    for (int i = 0; i < length; ++i) sum += Elements::instance()[i].bits();
  }

  const ScratchFile& store() const { return store_.file(); }

  IntegerKeys lmdb;
  Deque deque;
  std::uint64_t sum = 0;  // of the elements' bits
  // Bytes per element: of the files, what the list adds; of the heap, what the deque's blocks take.
  double listBytes = 0;
  double lmdbBytes = 0;
  double dequeBytes = 0;

 private:
  static std::size_t heapBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  }

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
  psSession session;
  if (session.open(filled.store().path().string()) != 1 || session.begin(pscRead) != 1) stop(session.lastError());
  const pstHandle<psTreeList> list = Store::list(session);
  if (list.isNull()) stop(session.lastError());
  const auto walk = [&] {
    std::uint64_t sum = 0;
    const std::unique_ptr<psCollectionIterator> it(list->iterator());
    while (it->hasNext()) sum += it->next(pscNoLock).oid().bits();
    return sum;
  };
  run(walk, [&](int position) { return list->get(position).oid().bits(); });
}

template <class Run>
void inDeque(const Filled& filled, Run run) {
  const auto add = [](std::uint64_t sum, const void* pointer) { return sum + toBits(pointer); };
  run([&] { return std::accumulate(filled.deque.begin(), filled.deque.end(), std::uint64_t{0}, add); },
      [&](int position) { return toBits(filled.deque[static_cast<std::size_t>(position)]); });
}

template <class Run>
void inLmdb(const Filled& filled, Run run) {
  const MDB_dbi database = filled.lmdb.database();
  MDB_txn* const transaction = filled.lmdb.begin(MDB_RDONLY);
  const auto bits = [](const MDB_val& data) { return static_cast<const psId*>(data.mv_data)->bits(); };
  const auto walk = [&] {
    std::uint64_t sum = 0;
    MDB_cursor* cursor = nullptr;
    if (mdb_cursor_open(transaction, database, &cursor) != 0) stop("LMDB does not open a cursor");
    MDB_val key{};
    MDB_val data{};
    while (mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0) sum += bits(data);
    mdb_cursor_close(cursor);
    return sum;
  };
  run(walk, [&](int position) {
    auto number = static_cast<std::size_t>(position);
    MDB_val key{sizeof number, &number};
    MDB_val data{};
    if (mdb_get(transaction, database, &key, &data) != 0) stop("LMDB does not find a key");
    return bits(data);
  });
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
