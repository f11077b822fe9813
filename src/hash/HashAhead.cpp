#include "hash/HashAhead.h"

#include <array>
#include <cstring>

#include "core/KeyProbe.h"
#include "core/LookAhead.h"
#include "hash/HashAccess.h"
#include "hash/HashPosition.h"

// Prefetches what look-ups in a hash table will read, for many at a time: in stages, each of which reads what the one
// before it has prefetched. Only what is in memory is read.
namespace ps::detail {

namespace {

using Hashes = std::array<std::uint32_t, LookAhead::most>;

void prefetchLink(const psId& id) { __builtin_prefetch(&linkOf(*currentSession, id)); }

// The references in an array's storage, and their number.
struct Elements {
  explicit Elements(const void* storage)
      : first(static_cast<const pstRef<psObj>*>(storage)),
        count(storage != nullptr ? headerOf(storage)->size / sizeof(psId) : 0) {}

  const pstRef<psObj>* first;
  std::size_t count;
};

// The storage of an array in the store; null when it is not in memory.
template <class T>
const void* residentStorageOf(const pstVArray<T>& array) {
  if (!isInArena(&array)) return nullptr;
  psId id;
  static_assert(sizeof id == sizeof array);
  std::memcpy(static_cast<void*>(&id), static_cast<const void*>(&array), sizeof id);
  return storageInMemory(id);
}

// That of an object of the class Part.
template <class Part>
const void* storageOf(const psId& id) {
  Frame* frame = nullptr;
  const char* const object = residentObject(*currentSession, id, frame);
  if (object == nullptr || (headerOf(object)->type & ~namedFlag) != Part::pstTypeN) return nullptr;
  return residentStorageOf(HashAccess::entries(*reinterpret_cast<const Part*>(object)));
}

// The look-ups of one batch.
class Batch {
 public:
  Batch(const psHashSet& table, const Hashes& hashes, int n) : table_(table), hashes_(hashes), n_(n) {}

  void prefetch() {
    prefetchBuckets();
    each([&](std::size_t i) { readSlot(i); });
    each([&](std::size_t i) { isChain(i) ? prefetchResident(found_[i]) : prefetchObject(found_[i]); });
    each([&](std::size_t i) { readChain(i); });
    each([&](std::size_t i) { forChain(i, [](const psId& id) { prefetchLink(id); }); });
    each([&](std::size_t i) { forChain(i, [](const psId& id) { prefetchObject(id); }); });
  }

 private:
  static constexpr std::size_t longChain = 4;

  template <class Use>
  void each(Use use) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(n_); ++i) use(i);
  }

  std::size_t slotFor(std::size_t i) const { return static_cast<std::size_t>(slotOf(table_, hashes_[i])); }

  void prefetchBuckets() {
    const Elements directory(residentStorageOf(HashAccess::directory(table_)));
    const auto indexOf = [&](std::size_t i) { return static_cast<std::size_t>(directoryIndexOf(table_, hashes_[i])); };
    each([&](std::size_t i) {
      if (indexOf(i) < directory.count) __builtin_prefetch(&directory.first[indexOf(i)]);
    });
    each([&](std::size_t i) {
      if (indexOf(i) < directory.count) buckets_[i] = directory.first[indexOf(i)].oid();
      prefetchLink(buckets_[i]);
    });
    each([&](std::size_t i) { prefetchWithStorage(buckets_[i], sizeof(psId) * slotFor(i), sizeof(psId)); });
  }

  void readSlot(std::size_t i) {
    const Elements slots(storageOf<psHashBucket>(buckets_[i]));
    if (slotFor(i) < slots.count) found_[i] = slots.first[slotFor(i)].oid();
    prefetchLink(found_[i]);
  }

  // Chains lie in the container of their bucket.
  bool isChain(std::size_t i) const {
    return found_[i].get_OC() == buckets_[i].get_OC() && found_[i].get_DB() == buckets_[i].get_DB();
  }

  // Only where the elements are: how many there are would have to be waited for.
  void readChain(std::size_t i) {
    if (!isChain(i)) return;
    chains_[i] = storageOf<psHashChain>(found_[i]);
    if (chains_[i] == nullptr) return;
    prefetchAddress(reinterpret_cast<std::uintptr_t>(headerOf(chains_[i])));
    prefetchAddress(reinterpret_cast<std::uintptr_t>(chains_[i]));
  }

  template <class Use>
  void forChain(std::size_t i, Use use) {
    const Elements chain(chains_[i]);
    for (std::size_t k = 0; k < chain.count && k < longChain; ++k) use(chain.first[k].oid());
  }

  const psHashSet& table_;
  const Hashes& hashes_;
  int n_;
  std::array<psId, LookAhead::most> buckets_;
  std::array<psId, LookAhead::most> found_;
  std::array<const void*, LookAhead::most> chains_{};
};

}  // namespace

void prefetchForObjects(const psCollection& collection, const pstHandle<psObj>* keys, int n) {
  const auto& table = static_cast<const psHashSet&>(collection);
  Hashes hashes;
  int known = 0;
  for (int i = 0; i < n; ++i) prefetchLink(keys[i].oid());
  for (int i = 0; i < n; ++i) prefetchObject(keys[i].oid());
  OpenComparator comparator(table.comparator());
  if (!comparator.isNull() && !comparator.open()) return;
  for (int i = 0; i < n; ++i) {
    // To hash others would load them.
    if (keys[i].isNull() || (!comparator.isNull() && residentType(keys[i].oid()) == 0)) continue;
    const int hash = comparator.isNull() ? psCompare::hashPsId(keys[i]) : comparator->hash(keys[i]);
    hashes[static_cast<std::size_t>(known++)] = static_cast<std::uint32_t>(hash);
  }
  Batch(table, hashes, known).prefetch();
}

void prefetchForRawKeys(const psCollection& collection, const void* const* keys, int n) {
  const auto& table = static_cast<const psHashSet&>(collection);
  Hashes hashes;
  OpenComparator comparator(table.comparator());
  if (comparator.isNull() || !comparator.open()) return;
  for (int i = 0; i < n; ++i) {
    const void* key = keys[i];
    hashes[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(comparator->hash(key));
  }
  Batch(table, hashes, n).prefetch();
}

}  // namespace ps::detail
