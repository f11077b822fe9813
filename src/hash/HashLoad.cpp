#include "hash/HashLoad.h"

#include <algorithm>
#include <utility>

#include "hash/HashTable.h"
#include "store/base/MemoryGuard.h"

namespace ps::detail {

namespace {

constexpr std::size_t mostAtOnce = std::size_t{1} << 20;  // with what sorting takes, 36 MiB

// Prefetches a key that is used soon.
template <class Iterator, class KeyOf>
void prefetchAhead(Iterator at, Iterator end, KeyOf keyOf) {
  constexpr std::ptrdiff_t ahead = 8;
  if (end - at > 2 * ahead) __builtin_prefetch(&linkOf(*currentSession, keyOf(at[2 * ahead]).oid()));
  if (end - at > ahead) prefetchObject(keyOf(at[ahead]).oid());
}

}  // namespace

bool HashLoad::add(const pstRef<psObj>* keys, const pstRef<psObj>* values, int n) {
  const bool hasRoom = guardMemory(false, [&] {
    additions_.reserve(std::min(static_cast<std::size_t>(std::max(n, 0)), mostAtOnce));
    return true;
  });
  if (!hasRoom) return false;
  for (int i = 0; i < n; ++i) {
    prefetchAhead(keys + i, keys + n, [](const pstRef<psObj>& key) { return key; });
    if (!add(pstHandle<psObj>(keys[i]), values != nullptr ? values[i] : pstRef<psObj>())) return false;
  }
  return true;
}

bool HashLoad::add(const pstHandle<psObj>& key, const pstRef<psObj>& value) {
  HandleProbe probe(key, table_);
  const std::uint32_t hash = probe.failed() ? 0 : probe.hash();
  const bool isNoted = probe.failed() || guardMemory(false, [&] {
                         additions_.push_back({hash, key, value});
                         return true;
                       });
  if (!isNoted) return false;
  if (additions_.size() == mostAtOnce) finish();
  return !watch_.refused();
}

// Of equal elements the first is added, and of pairs with equal keys the last stays.
int HashLoad::finish() {
  std::stable_sort(additions_.begin(), additions_.end(),
                   [](const Addition& a, const Addition& b) { return a.hash < b.hash; });
  const RefusalWatch watch;
  Additions rest{additions_.data(), additions_.data() + additions_.size()};
  while (!rest.isEmpty() && !watch.refused()) rest.first = addToBucket(rest, watch);
  additions_.clear();
  return added_;
}

// A comparator is the application's, and may have divided the bucket.
const Addition* HashLoad::addToBucket(Additions additions, const RefusalWatch& watch) {
  const Addition* next = additions.first;
  const Addition* const end = additions.end;
  const pstHandle<psObj> firstKey(next->key);
  HandleProbe hashing(firstKey, table_);
  std::optional<BucketRange> range;
  if (!hashing.failed()) range = growth_.makeRoomForMany(hashing, additions);
  if (!range) {
    if (!watch.refused() && addAlone(*next)) ++added_;
    return next + 1;
  }
  HashPosition position;
  position.range = *range;
  const int depth = HashAccess::depth(*range->bucket);
  for (; next != additions.end && !watch.refused() && HashAccess::depth(*range->bucket) == depth; ++next) {
    prefetchAhead(next, end, [](const Addition& addition) { return addition.key; });
    const pstHandle<psObj> key(next->key);
    HandleProbe probe(key, table_);
    position.hash = next->hash;
    position.slot = slotOf(table_, next->hash);
    position.index = -1;
    if (!probe.failed() && addAt(table_, probe, position, next->key, next->value)) ++added_;
  }
  return next;
}

// When a bucket cannot be divided there may still be room in it.
bool HashLoad::addAlone(const Addition& addition) {
  const pstHandle<psObj> key(addition.key);
  HandleProbe probe(key, table_);
  return holdsEntries(table_) ? putPair(table_, std::move(probe), key, addition.value)
                              : addElement(table_, std::move(probe), key);
}

}  // namespace ps::detail
