#include <array>
#include <cstring>

#include "core/LookAhead.h"
#include "hash/HashAccess.h"
#include "hash/HashPosition.h"

// Prefetches what look-ups in a hash table will read, for many at a time: in stages, each of which reads what the one
// before it has prefetched. Only what is in memory is read.
namespace ps::detail {

namespace {

using Hashes = std::array<std::uint32_t, LookAhead::most>;

void prefetchLink(const psId& id) { __builtin_prefetch(&linkOf(*currentSession, id)); }

// The elements of an array in the store, and their number.
struct Elements {
  const pstRef<psObj>* first = nullptr;
  std::size_t count = 0;
};

template <class T>
Elements residentElements(const pstVArray<T>& array) {
  psId id;
  static_assert(sizeof id == sizeof array);
  std::memcpy(static_cast<void*>(&id), static_cast<const void*>(&array), sizeof id);
  Frame* frame = nullptr;
  const char* const storage = residentObject(*currentSession, id, frame);
  if (storage == nullptr) return {};
  return {reinterpret_cast<const pstRef<psObj>*>(storage), headerOf(storage)->size / sizeof(psId)};
}

// Those of an object of the class Part.
template <class Part>
Elements elementsOf(const psId& id) {
  Frame* frame = nullptr;
  const char* const object = residentObject(*currentSession, id, frame);
  if (object == nullptr || (headerOf(object)->type & ~namedFlag) != Part::pstTypeN) return {};
  return residentElements(HashAccess::entries(*reinterpret_cast<const Part*>(object)));
}

// The look-ups of one batch.
class Batch {
 public:
  Batch(const psHashSet& table, const Hashes& hashes, int n) : table_(table), hashes_(hashes), n_(n) {}

  void prefetch() {
    prefetchBuckets();
    each([&](std::size_t i) { readSlot(i); });
    each(
        [&](std::size_t i) { isChain(i) ? prefetchWithStorage(found_[i], 0, chainAhead) : prefetchObject(found_[i]); });
    each([&](std::size_t i) { forChain(i, [](const psId& id) { prefetchLink(id); }); });
    each([&](std::size_t i) { forChain(i, [](const psId& id) { prefetchObject(id); }); });
  }

 private:
  static constexpr std::size_t longChain = 4;
  static constexpr std::size_t chainAhead = longChain * sizeof(psId);

  template <class Use>
  void each(Use use) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(n_); ++i) use(i);
  }

  std::size_t slotOf(std::size_t i) const {
    return hashes_[i] % static_cast<std::uint32_t>(HashAccess::slotsPerBucket(table_));
  }

  void prefetchBuckets() {
    const Elements directory = residentElements(HashAccess::directory(table_));
    const auto indexOf = [&](std::size_t i) { return static_cast<std::size_t>(directoryIndexOf(table_, hashes_[i])); };
    each([&](std::size_t i) {
      if (indexOf(i) < directory.count) __builtin_prefetch(&directory.first[indexOf(i)]);
    });
    each([&](std::size_t i) {
      if (indexOf(i) < directory.count) buckets_[i] = directory.first[indexOf(i)].oid();
      prefetchLink(buckets_[i]);
    });
    each([&](std::size_t i) { prefetchWithStorage(buckets_[i], sizeof(psId) * slotOf(i), sizeof(psId)); });
  }

  void readSlot(std::size_t i) {
    const Elements slots = elementsOf<psHashBucket>(buckets_[i]);
    if (slotOf(i) < slots.count) found_[i] = slots.first[slotOf(i)].oid();
    prefetchLink(found_[i]);
  }

  // Chains lie in the container of their bucket.
  bool isChain(std::size_t i) const {
    return found_[i].get_OC() == buckets_[i].get_OC() && found_[i].get_DB() == buckets_[i].get_DB();
  }

  template <class Use>
  void forChain(std::size_t i, Use use) {
    if (!isChain(i)) return;
    const Elements chain = elementsOf<psHashChain>(found_[i]);
    for (std::size_t k = 0; k < chain.count && k < longChain; ++k) use(chain.first[k].oid());
  }

  const psHashSet& table_;
  const Hashes& hashes_;
  int n_;
  std::array<psId, LookAhead::most> buckets_;
  std::array<psId, LookAhead::most> found_;
};

void announceObjects(const psCollection& collection, const pstHandle<psObj>* keys, int n) {
  const auto& table = static_cast<const psHashSet&>(collection);
  Hashes hashes;
  int known = 0;
  for (int i = 0; i < n; ++i) prefetchLink(keys[i].oid());
  for (int i = 0; i < n; ++i) prefetchObject(keys[i].oid());
  const pstRef<psCompare> comparator = table.comparator();
  for (int i = 0; i < n; ++i) {
    // To hash others would load them.
    if (!comparator.isNull() && residentType(keys[i].oid()) == 0) continue;
    HandleProbe probe(keys[i], {comparator});
    if (!probe.failed()) hashes[static_cast<std::size_t>(known++)] = probe.hash();
  }
  Batch(table, hashes, known).prefetch();
}

void announceRawKeys(const psCollection& collection, const void* const* keys, int n) {
  const auto& table = static_cast<const psHashSet&>(collection);
  Hashes hashes;
  int known = 0;
  for (int i = 0; i < n; ++i) {
    RawProbe probe(keys[i], {table.comparator()});
    if (!probe.failed()) hashes[static_cast<std::size_t>(known++)] = probe.hash();
  }
  Batch(table, hashes, known).prefetch();
}

const LookAhead ahead(psHashSet::pstTypeN, announceObjects, announceRawKeys);

}  // namespace

}  // namespace ps::detail
