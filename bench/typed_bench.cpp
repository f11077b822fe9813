// What the typed layer costs beside the plain calls that it makes, lazy set algebra beside merging by hand, and reading
// objects of an older version beside reading present ones. Ratios are of the least times of several rounds.
//
// typed_bench [FILE [COUNT]] writes a table in Markdown to the file, else to the standard output, about so many
// elements.
#include <pstyped.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Payload.h"
#include "ScratchFolder.h"
#include "StoredItem.h"

namespace {

int count = 1000000;
constexpr int rounds = 5;

PS_ORDER(ByKey, 20240, &StoredItem::key)
using TypedSet = ps::SortedSet<StoredItem, ByKey>;
using TypedHash = ps::HashSet<StoredItem, ByKey>;

template <class Action>
double secondsOf(Action action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <class Action>
double leastOf(Action action) {
  double least = secondsOf(action);
  for (int i = 1; i < rounds; ++i) least = std::min(least, secondsOf(action));
  return least;
}

void require(bool isDone, const char* what) {
  if (isDone) return;
  std::fprintf(stderr, "typed_bench: %s: %s\n", what, pehSessionDataGetFunction()->text().c_str());
  std::exit(1);
}

// The least times of two ways in turn, in a row of a table, per element.
template <class Ours, class Other>
void row(const char* what, const char* ours, const char* other, int n, Ours oursDoes, Other otherDoes) {
  double ourTime = 1e9;
  double otherTime = 1e9;
  for (int i = 0; i < rounds; ++i) {
    otherTime = std::min(otherTime, secondsOf(otherDoes));
    ourTime = std::min(ourTime, secondsOf(oursDoes));
  }
  std::printf("| %s | %s | %s | %.0f | %.0f | %.2f |\n", what, ours, other, ourTime * 1e9 / n, otherTime * 1e9 / n,
              ourTime / otherTime);
}

template <class Plain>
std::uint64_t walkPlain(const Plain& set) {
  std::uint64_t sum = 0;
  const std::unique_ptr<psCollectionIterator> it(set->iterator());
  while (it->hasNext()) {
    const pstHandle<StoredItem> item(it->next(pscNoLock));
    sum += item->key();
  }
  return sum;
}
template <class Typed>
std::uint64_t walkTyped(const Typed& set) {
  std::uint64_t sum = 0;
  for (const StoredItem& item : set) sum += item.key();
  return sum;
}

std::uint64_t sums[2];  // so that nothing is left out

// The typed views and the plain collections have the same objects, the plain ones with a comparator by hand.
void measureLayer() {
  ps::Session session("memory:layer");
  session.cacheLimit(std::size_t{1} << 30);
  require(session.begin(pscUpdate) == 1, "begin");
  const auto objects = session.container("bench", "objects");
  const auto parts = session.container("bench", "parts");
  std::vector<std::uint64_t> keys;
  std::vector<psId> ids;
  std::mt19937_64 random;
  keys.reserve(static_cast<std::size_t>(count));
  ids.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    keys.push_back(random());
    ids.push_back(ps::make<StoredItem>(objects, payloadOf(keys.back())).id());
  }
  const pstHandle<psCompare> order(new (parts) ItemCompare);
  const pstHandle<psTreeSet> tree(new (parts) psTreeSet(order, 200, parts, parts));
  const pstHandle<psHashSet> hash(new (parts) psHashSet(order, 101, 1, parts));
  auto typedTree = TypedSet::create(parts);
  auto typedHash = TypedHash::create(parts);
  const auto addPlain = secondsOf([&] {
    for (const psId& id : ids) tree->add(pstHandle<psObj>(id));
  });
  const auto addTyped = secondsOf([&] {
    for (const psId& id : ids) typedTree.insert(ps::Ref<StoredItem>(id));
  });
  typedHash.insert_all(typedTree);
  const std::vector<pstRef<psObj>> references(ids.begin(), ids.end());
  require(hash->append(references.data(), count) == count, "append");
  require(session.commit() == 1, "commit");
  std::printf("| add, once | typed | plain | %.0f | %.0f | %.2f |\n", addTyped * 1e9 / count, addPlain * 1e9 / count,
              addTyped / addPlain);
  require(session.begin(pscRead) == 1, "begin");
  std::shuffle(keys.begin(), keys.end(), std::mt19937_64(1));
  keys.resize(static_cast<std::size_t>(count / 5));
  const int n = static_cast<int>(keys.size());
  const auto each = [&keys](auto use) {
    for (const std::uint64_t& key : keys) use(key);
  };
  const auto measureSet = [&](const std::string& name, const auto& typed, const auto& plain) {
    row(("walk that reads, " + name).c_str(), "typed", "plain", count, [&] { sums[0] = walkTyped(typed); },
        [&] { sums[1] = walkPlain(plain); });
    require(sums[0] == sums[1], "the walks differ");
    row(("get and read, " + name).c_str(), "typed", "plain", n,
        [&] { each([&](auto& key) { sums[0] += (*typed.get(key))->key(); }); },
        [&] {
          each([&](auto& key) { sums[1] += pstHandle<StoredItem>(plain->get(static_cast<const void*>(&key)))->key(); });
        });
  };
  measureSet("sorted set", typedTree, tree);
  row(
      "contains, sorted set", "typed", "plain", n,
      [&] { each([&](auto& key) { sums[0] += typedTree.contains(key); }); },
      [&] { each([&](auto& key) { sums[1] += tree->contains(static_cast<const void*>(&key)); }); });
  const std::unique_ptr<psCollectionIterator> it(tree->iterator());
  row(
      "lower_bound and read", "typed", "plain", n,
      [&] { each([&](auto& key) { sums[0] += typedTree.lower_bound(key)->key(); }); },
      [&] {
        each([&](auto& key) {
          const bool isFound = it->goTo(static_cast<const void*>(&key));
          sums[1] += pstHandle<StoredItem>(isFound ? it->current(pscNoLock) : it->next(pscNoLock))->key();
        });
      });
  measureSet("hash set", typedHash, hash);
}

// Elements that two sets share, by merging plain iterators.
std::uint64_t mergePlain(const pstHandle<psTreeSet>& a, const pstHandle<psTreeSet>& b) {
  std::uint64_t sum = 0;
  const std::unique_ptr<psCollectionIterator> x(a->iterator());
  const std::unique_ptr<psCollectionIterator> y(b->iterator());
  pstHandle<StoredItem> p(x->next(pscNoLock));
  pstHandle<StoredItem> q(y->next(pscNoLock));
  while (!p.isNull() && !q.isNull()) {
    const std::uint64_t left = p->key();
    const std::uint64_t right = q->key();
    if (left == right) sum += left;
    if (left <= right) p = x->next(pscNoLock);
    if (right <= left) q = y->next(pscNoLock);
  }
  return sum;
}

void measureAlgebra() {
  ps::Session session("memory:algebra");
  session.cacheLimit(std::size_t{1} << 30);
  require(session.begin(pscUpdate) == 1, "begin");
  const auto objects = session.container("bench", "objects");
  const auto parts = session.container("bench", "parts");
  const int n = count / 2;
  std::vector<ps::Ref<StoredItem>> all;
  std::vector<std::uint64_t> keys;
  for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(n); ++i) {
    keys.push_back(i);
    all.push_back(ps::make<StoredItem>(objects, payloadOf(i)));
  }
  auto whole = TypedSet::create(parts);
  whole.insert_all(all);
  for (const int step : {2, 20, 1000}) {
    std::vector<ps::Ref<StoredItem>> some;
    std::vector<std::uint64_t> someKeys;
    for (std::size_t i = 0; i < all.size(); i += static_cast<std::size_t>(step)) {
      some.push_back(all[i]);
      someKeys.push_back(keys[i]);
    }
    auto part = TypedSet::create(parts);
    part.insert_all(some);
    const std::string what = "intersection with 1 element in " + std::to_string(step);
    const auto lazy = [&] { sums[0] = walkTyped(ps::intersection(whole, part)); };
    row(what.c_str(), "lazy", "merged plainly", n, lazy, [&] { sums[1] = mergePlain(whole.plain(), part.plain()); });
    require(sums[0] == sums[1], "the intersections differ");
    std::vector<std::uint64_t> both;
    row(what.c_str(), "lazy", "`std::set_intersection` of vectors", n, lazy, [&] {
      both.clear();
      std::set_intersection(keys.begin(), keys.end(), someKeys.begin(), someKeys.end(), std::back_inserter(both));
    });
  }
}

constexpr int changing = 20241;
class Before : public psObj {
  PS_PERSISTENT_CLASS(Before, psObj, changing)
  PS_FIELDS(a, b, c)
 public:
  explicit Before(int i) : a(i), b(-i) {}
  int a;
  int b;
  double c = 1;
};
class After : public psObj {
  PS_PERSISTENT_CLASS(After, psObj, changing)
  PS_FIELDS(c, a, d, e)
 public:
  After() = default;
  double c = 0;
  long a = 0;
  int d = 42;
  int e[3] = {7, 7, 7};
};

template <class T>
std::uint64_t scan(psSession& session) {
  std::uint64_t sum = 0;
  pstItr<T> it;
  require(it.scan(session.container(session.database("bench"), "objects"), pscRead) == 1, "scan");
  while (it.next()) sum += static_cast<std::uint64_t>(it->a);
  return sum;
}

// Runs a program of its own, which registers the class in a version, and returns the seconds that it measures.
template <class T, class Action>
double inProgram(const std::string& path, std::uint32_t version, Action action) {
  int channel[2];
  require(::pipe(channel) == 0, "pipe");
  if (::fork() == 0) {
    static const ps::detail::ClassRegistration<T> registration("Changing", version);
    psSession session;
    require(session.open(path) == 1, "open");
    const double seconds = action(session);
    require(::write(channel[1], &seconds, sizeof seconds) == sizeof seconds, "write");
    ::_exit(0);
  }
  double seconds = 0;
  ::close(channel[1]);
  require(::read(channel[0], &seconds, sizeof seconds) == sizeof seconds, "a program of the benchmark");
  ::close(channel[0]);
  ::wait(nullptr);
  return seconds;
}

void measureConversion() {
  const ScratchFolder folder;
  const std::string path = (folder.path() / "store").string();
  const auto reading = [](auto scan) {
    return [scan](psSession& session) {
      return leastOf([&] {
        session.cacheLimit(0);
        require(session.begin(pscRead) == 1, "begin");
        require(scan(session) == static_cast<std::uint64_t>(count) * static_cast<std::uint64_t>(count - 1) / 2,
                "the sum of the objects");
        session.abort();
      });
    };
  };
  inProgram<Before>(path, 1, [](psSession& session) {
    require(session.begin(pscUpdate) == 1, "begin");
    const auto in = session.container(session.database("bench"), "objects");
    for (int i = 0; i < count; ++i) require(new (in) Before(i) != nullptr, "new");
    require(session.commit() == 1, "commit");
    return 0.0;
  });
  const double asIs = inProgram<Before>(path, 1, reading(&scan<Before>));
  const double converting = inProgram<After>(path, 2, reading(&scan<After>));
  const double upgrading = inProgram<After>(
      path, 2, [](psSession& session) { return secondsOf([&] { require(session.upgrade() == 1, "upgrade"); }); });
  const double after = inProgram<After>(path, 2, reading(&scan<After>));
  const auto print = [asIs](const char* what, double seconds) {
    std::printf("| %s | version 2 | version 1 | %.0f | %.0f | %.2f |\n", what, seconds * 1e9 / count,
                asIs * 1e9 / count, seconds / asIs);
  };
  print("scan of older objects", converting);
  print("`upgrade()` of them", upgrading);
  print("scan afterwards", after);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::freopen(argv[1], "w", stdout) == nullptr) return 1;
  if (argc > 2) count = std::atoi(argv[2]);
  std::printf("%d elements.\n\n", count);
  std::printf("| Work | Ours | Beside | Ours, ns an element | Beside | Ours / beside |\n|---|---|---|--:|--:|--:|\n");
  measureConversion();
  measureLayer();
  measureAlgebra();
}
