#include "hash/HashTable.h"

#include <algorithm>
#include <utility>

#include "core/Containers.h"
#include "hash/HashGrowth.h"
#include "hash/PrimeNumbers.h"
#include "hash/SlotChange.h"
#include "hash/psHashMapEntry.h"
#include "store/base/NothingThrown.h"

namespace ps::detail {

namespace {

int depthFor(int directorySize) {
  int depth = 0;
  while (depth < deepestDirectory && 1 << depth < directorySize) ++depth;
  return depth;
}

// Deletes the buckets, each with the container that this leaves empty.
void deleteBuckets(psHashSet& table) {
  HashAccess::Directory& directory = HashAccess::directory(table);
  pstRef<psHashBucket> last;
  for (unsigned int i = 0; i < directory.size(); ++i) {
    const pstRef<psHashBucket> bucket = *directory.elem(i);
    if (bucket != last) deletePart(bucket);
    last = bucket;
  }
}

// Each bucket is in the directory as soon as it exists.
bool createBuckets(psHashSet& table, int depth, psHashAdmin& admin, const pstRef<psContObj>& container) {
  HashAccess::Directory& directory = HashAccess::directory(table);
  const unsigned int size = 1U << depth;
  if (directory.resize(size) != 1) return false;
  for (unsigned int i = 0; i < size; ++i) {
    const pstRef<psContObj> near = container.isNull() ? admin.provideBucketContainer() : container;
    if (near.isNull()) return false;
    const pstHandle<psHashBucket> bucket(new (near) psHashBucket(depth, HashAccess::slotsPerBucket(table)));
    if (bucket.isNull()) return false;
    *directory.elem(i) = bucket;
    if (!BucketView(bucket).isOpen()) return false;
  }
  return true;
}

// Deletes the administrator, and the container that it was about to fill if that is empty.
void deleteAdministrator(const pstHandle<psHashAdmin>& admin) {
  ContainerRelease current;
  if (admin.open(pscRead) == 1) current.secure(pstHandle<psContObj>(admin->bucketContainer()));
  deletePart(admin);
  current.release();
}

bool storeValue(const pstRef<psObj>& stored, const pstRef<psObj>& value) {
  const pstHandle<psHashMapEntry> entry(stored);
  if (entry.open(pscUpdate) != 1) return false;
  entry->value(value);
  return true;
}

bool insert(const HashPosition& position, const pstRef<psObj>& stored) {
  SlotInsertion insertion;
  return insertion.plan(position.bucket(), position.slot, stored) && insertion.carryOut();
}

bool insertPair(const HashPosition& position, const pstRef<psObj>& key, const pstRef<psObj>& value) {
  Provisional created;
  const pstHandle<psHashMapEntry> entry = created.add(new (position.bucket()) psHashMapEntry(key, value));
  if (entry.isNull() || !insert(position, entry)) return false;
  created.keep();
  return true;
}

}  // namespace

void constructTable(psHashSet& table, int slots, int directorySize, pstHandle<psContObj> adminContainer,
                    pstHandle<psContObj> bucketContainer) {
  const NothingThrown here;
  pstHandle<psHashSet> self(&table);
  HashAccess::slotsPerBucket(table) = static_cast<int>(nextPrime(static_cast<unsigned int>(std::max(slots, 1))));
  HashAccess::depth(table) = incompleteDepth;
  Provisional created;
  if (adminContainer.isNull()) {
    adminContainer = createContainerFor(self);
    // One that has a name is a place's, which stays.
    if (adminContainer.name() == nullptr) created.add(adminContainer);
  }
  const pstHandle<psHashAdmin> admin(new (adminContainer) psHashAdmin(self));
  if (admin.isNull()) return;
  created.keep();
  HashAccess::admin(table) = admin;
  if (!bucketContainer.isNull()) {
    admin->bucketContainer(bucketContainer);
    if (admin->bucketContainer() != bucketContainer) return;
  }
  const int depth = depthFor(directorySize);
  if (createBuckets(table, depth, *admin, bucketContainer)) HashAccess::depth(table) = depth;
}

void destroyTable(psHashSet& table) noexcept {
  const NothingThrown here;
  const pstHandle<psHashAdmin> admin(HashAccess::admin(table));
  if (!admin.isValid()) return;
  if (isComplete(table)) table.clear();
  deleteBuckets(table);
  deleteAdministrator(admin);
}

bool insertByHash(const psHashSet& table, const pstRef<psObj>& stored, std::uint32_t hash) {
  const std::optional<HashPosition> position = positionOf(table, hash);
  return position && insert(*position, stored);
}

bool addElement(psHashSet& table, KeyProbe&& probe, const pstRef<psObj>& element) {
  if (holdsEntries(table)) return putPair(table, std::move(probe), element, pstRef<psObj>());
  if (element.isNull() || probe.failed()) return false;
  const std::uint32_t hash = probe.hash();
  if (probe.failed()) return false;
  std::optional<HashPosition> position = HashGrowth(table).makeRoom(probe, hash);
  return position && addAt(table, probe, *position, element, pstRef<psObj>());
}

bool addAt(psHashSet& table, KeyProbe& probe, HashPosition& position, const pstRef<psObj>& element,
           const pstRef<psObj>& value) {
  if (!findMatch(table, probe, position)) return false;
  if (!holdsEntries(table)) return !position.isMatch() && insert(position, element);
  return position.isMatch() ? storeValue(position.stored, value) : insertPair(position, element, value);
}

bool putPair(psHashSet& map, KeyProbe&& probe, const pstRef<psObj>& key, const pstRef<psObj>& value) {
  if (key.isNull()) return false;
  const std::optional<HashPosition> position = locate(map, probe);
  if (!position) return false;
  return position->isMatch() ? storeValue(position->stored, value) : addPair(map, probe, position->hash, key, value);
}

bool addPair(psHashSet& map, KeyProbe& probe, std::uint32_t hash, const pstRef<psObj>& key,
             const pstRef<psObj>& value) {
  const std::optional<HashPosition> position = HashGrowth(map).makeRoom(probe, hash);
  return position && insertPair(*position, key, value);
}

pstRef<psObj> storedFor(const psHashSet& table, KeyProbe&& probe) {
  const std::optional<HashPosition> position = locate(table, probe);
  return position ? position->stored : pstRef<psObj>();
}

bool removeStored(const psHashSet& table, const pstHandle<psHashBucket>& bucket, int slot, int index,
                  bool* endedChain) {
  SlotRemoval removal;
  if (!removal.plan(bucket, slot, index)) return false;
  pstHandle<psObj> entry;
  if (holdsEntries(table)) entry = removal.stored();
  const bool isThere = entry.isValid();
  if (isThere && entry.open(pscUpdate) != 1) return false;
  removal.carryOut();
  if (isThere) psDelete(entry);
  if (endedChain != nullptr) *endedChain = removal.endsChain();
  return true;
}

bool removeMatch(psHashSet& table, KeyProbe&& probe, pstRef<psObj>* value) {
  const std::optional<HashPosition> position = locate(table, probe);
  if (!position || !position->isMatch()) return false;
  pstRef<psObj> removed;
  if (value != nullptr) {
    const pstHandle<psHashMapEntry> entry(position->stored);
    if (entry.open(pscRead) != 1) return false;
    removed = entry->value();
  }
  if (!removeStored(table, position->bucket(), position->slot, position->index)) return false;
  if (value != nullptr) *value = removed;
  return true;
}

}  // namespace ps::detail
