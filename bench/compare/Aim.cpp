#include "Aim.h"

namespace {

constexpr std::size_t million = 1000000;
constexpr KeyKind byIdentifier = KeyKind::identifier;
constexpr KeyKind byContent = KeyKind::content;

}  // namespace

std::optional<double> Aim::cost(const Results& results, const std::string& contestant) const {
  const std::optional<double> last = results.find(kind, count, contestant, workload);
  if (growsFrom == 0) return last;
  const std::optional<double> first = results.find(kind, growsFrom, contestant, workload);
  if (!first || !last) return std::nullopt;
  return *last / *first;
}

const std::vector<Aim>& allAims() {
  static const std::vector<Aim> all{
      {"hit, set ordered by identifier", "LMDB, one step", "2 times faster", byIdentifier, million, "hit", "tree",
       "lmdb", 1 / 2.0},
      {"hit, set ordered by content", "LMDB, two steps", "1.5 times faster", byContent, million, "hit", "tree", "lmdb",
       1 / 1.5},
      {"hit, hash set by identifier", "LMDB, one step", "4 times faster", byIdentifier, million, "hit", "hash", "lmdb",
       1 / 4.0},
      {"hit, hash set by content", "LMDB, two steps", "3 times faster", byContent, million, "hit", "hash", "lmdb",
       1 / 3.0},
      {"hit, set ordered by content", "std::set of pointers", "faster", byContent, million, "hit", "tree", "std::set",
       1, true},
      {"hit, set ordered by content", "absl::btree_set of pointers", "within 1.2 times", byContent, million, "hit",
       "tree", "absl::btree_set", 1.2},
      {"hit, hash set by content", "std::unordered_set of pointers", "within 2.5 times", byContent, million, "hit",
       "hash", "std::unordered_set", 2.5},
      {"ordered walk", "LMDB, cursor", "as fast", byContent, million, "walk", "tree", "lmdb", 1},
      {"ordered walk that reads every object", "LMDB, a get each", "4 times faster", byContent, million, "read", "tree",
       "lmdb", 1 / 4.0},
      {"load, random order", "LMDB, two steps", "1.5 times faster", byContent, million, "load-random", "tree", "lmdb",
       1 / 1.5},
      {"load, ascending order", "LMDB, two steps, append", "as fast", byContent, million, "load-ascending", "tree",
       "lmdb", 1},
      {"random removal", "LMDB, two steps", "1.5 times faster", byContent, million, "remove", "tree", "lmdb", 1 / 1.5},
      {"single durable commit", "LMDB, two steps", "within 1.3 times", byContent, million, "commit", "tree", "lmdb",
       1.3},
      {"bytes per element of the set itself, without free pages", "LMDB, one step", "at most half", byIdentifier,
       million, "bytes-used", "tree", "lmdb", 1 / 2.0},
      {"hit, set ordered by content, cache of a tenth, file in the system's cache", "LMDB, two steps", "as fast",
       byContent, 5 * million, "beyond", "tree", "lmdb", 1},
      {"hit, hash set by content, cache of a tenth, file in the system's cache", "LMDB, two steps", "as fast",
       byContent, 5 * million, "beyond", "hash", "lmdb", 1},
      {"hit, set ordered by content, file on the disk", "LMDB, two steps", "as fast", byContent, 5 * million, "disk",
       "tree", "lmdb", 1},
      {"hit, hash set by content, file on the disk", "LMDB, two steps", "as fast", byContent, 5 * million, "disk",
       "hash", "lmdb", 1},
      {"growth of a hit's cost from 10,000 to 5,000,000", "std::set of pointers", "no steeper", byContent, 5 * million,
       "hit", "tree", "std::set", 1, false, 10000},
  };
  return all;
}
