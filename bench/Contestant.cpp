#include "Contestant.h"

#include <absl/container/btree_set.h>

#include <algorithm>
#include <set>
#include <unordered_set>

#include "InMemory.h"
#include "JavaLookUp.h"
#include "Lmdb.h"
#include "Ours.h"
#include "RocksDb.h"
#include "Sqlite.h"

namespace {

using StandardSet = InMemory<std::set<const std::uint64_t*, LessNumber>>;
using AbseilSet = InMemory<absl::btree_set<const std::uint64_t*, LessNumber>>;
using StandardHashSet = InMemory<std::unordered_set<const std::uint64_t*, HashNumber, EqualNumber>>;

template <class Kind>
std::unique_ptr<Contestant> make(const Setup& setup) {
  return std::make_unique<Kind>(setup);
}

}  // namespace

Contestant::~Contestant() = default;

bool ContestantKind::takes(KeyKind kind) const { return std::find(keys.begin(), keys.end(), kind) != keys.end(); }

const std::vector<ContestantKind>& allContestants() {
  static const std::vector<KeyKind> sets{KeyKind::content, KeyKind::identifier};
  static const std::vector<KeyKind> every{KeyKind::content, KeyKind::identifier, KeyKind::pair, KeyKind::position};
  static const std::vector<ContestantKind> all{
      {"tree", "psTreeSet", sets, true, true, make<Ours<psTreeSet>>},
      {"hash", "psHashSet", sets, true, true, make<Ours<psHashSet>>},
      {"tree-map", "psTreeMap", {KeyKind::pair}, true, true, make<Ours<psTreeMap>>},
      {"list", "psTreeList", {KeyKind::position}, true, true, make<Ours<psTreeList>>},
#ifdef PS_BENCH_CLASSES
      {"tree-java", "psTreeSet, Java keys", {KeyKind::identifier}, true, true, make<JavaLookUp<psTreeSet>>},
      {"hash-java", "psHashSet, Java keys", {KeyKind::identifier}, true, true, make<JavaLookUp<psHashSet>>},
#endif
      {"lmdb", "LMDB", every, true, false, make<Lmdb>},
      {"rocksdb", "RocksDB", every, true, false, make<RocksDb>},
      {"sqlite", "SQLite", every, true, false, make<Sqlite>},
      {"std::set", "std::set", sets, false, false, make<StandardSet>},
      {"absl::btree_set", "absl::btree_set", sets, false, false, make<AbseilSet>},
      {"std::unordered_set", "std::unordered_set", sets, false, false, make<StandardHashSet>},
  };
  return all;
}

const ContestantKind& contestantNamed(const std::string& name) {
  const std::vector<ContestantKind>& all = allContestants();
  return *std::find_if(all.begin(), all.end(), [&](const ContestantKind& one) { return one.name == name; });
}
