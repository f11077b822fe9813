#include "Contestant.h"

#include <absl/container/btree_set.h>

#include <algorithm>
#include <set>
#include <unordered_set>

#include "BenchStore.h"
#include "InMemory.h"
#include "Lmdb.h"
#include "OurSet.h"
#include "RocksDb.h"
#include "Sqlite.h"
#include "hash/psHashSet.h"
#include "sorted/psTreeSet.h"

namespace {

template <class Order>
using StandardSet = InMemory<std::set<const char*, Less<Order>>>;
template <class Order>
using AbseilSet = InMemory<absl::btree_set<const char*, Less<Order>>>;
template <class Order>
using StandardHashSet = InMemory<std::unordered_set<const char*, Hash<Order>, Equal<Order>>>;

template <template <class> class Set>
std::unique_ptr<Contestant> makeInMemory(const Setup& setup) {
  if (setup.kind == KeyKind::words) return std::make_unique<Set<ByWord>>(setup);
  return std::make_unique<Set<ByNumber>>(setup);
}

}  // namespace

Contestant::~Contestant() = default;

const std::vector<ContestantKind>& allContestants() {
  static const std::vector<ContestantKind> all{
      {"tree", "psTreeSet", true, true},
      {"hash", "psHashSet", true, false},
      {"lmdb", "LMDB", true, true},
      {"rocksdb", "RocksDB", true, true},
      {"sqlite", "SQLite", true, true},
      {"std::set", "std::set", false, true},
      {"absl::btree_set", "absl::btree_set", false, true},
      {"std::unordered_set", "std::unordered_set", false, false},
  };
  return all;
}

const ContestantKind& contestantNamed(const std::string& option) {
  std::string options;
  for (const ContestantKind& contestant : allContestants()) {
    if (contestant.option == option) return contestant;
    options += ' ' + contestant.option;
  }
  stop("there is no contestant '" + option + "'; there are" + options);
}

std::unique_ptr<Contestant> makeContestant(const std::string& option, const Setup& setup) {
  if (option == "tree") return std::make_unique<OurSet<psTreeSet>>(setup);
  if (option == "hash") return std::make_unique<OurSet<psHashSet>>(setup);
  if (option == "lmdb") return std::make_unique<Lmdb>(setup);
  if (option == "rocksdb") return std::make_unique<RocksDb>(setup);
  if (option == "sqlite") return std::make_unique<Sqlite>(setup);
  if (option == "std::set") return makeInMemory<StandardSet>(setup);
  if (option == "absl::btree_set") return makeInMemory<AbseilSet>(setup);
  if (option == "std::unordered_set") return makeInMemory<StandardHashSet>(setup);
  stop("there is no contestant '" + option + "'");
}
