#include "hash/psHashMap.h"

#include <memory>
#include <optional>
#include <utility>

#include "core/KeyWalk.h"
#include "hash/HashLoad.h"
#include "hash/HashTable.h"
#include "hash/SlotChange.h"
#include "hash/psHashMapKeyIterator.h"
#include "hash/psHashMapValueIterator.h"
#include "store/base/MemoryGuard.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::HashLoad;
using ps::detail::HashPosition;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::Pair;
using ps::detail::RawProbe;

namespace {

const pstProcessInitTermClass processInitTerm;

std::optional<Pair> readEntry(const pstHandle<psObj>& object) {
  const pstHandle<psHashMapEntry> entry(object);
  if (entry.open(pscRead) != 1) return std::nullopt;
  return Pair{entry->key(), entry->value()};
}

const ps::detail::MapClass mapClass(psHashMap::pstTypeN, psHashMapEntry::pstTypeN, &readEntry);

pstRef<psObj> valueOf(const pstHandle<psHashMapEntry>& entry) {
  return !entry.isNull() && entry.open(pscRead) == 1 ? entry->value() : pstRef<psObj>();
}

pstRef<psObj> removedValue(psHashMap& map, KeyProbe&& probe) {
  pstRef<psObj> value;
  ps::detail::removeMatch(map, std::move(probe), &value);
  return value;
}

bool addToBucket(psHashMap& map, KeyProbe&& probe, const pstHandle<psObj>& key, const pstHandle<psObj>& value,
                 const pstHandle<psHashBucket>& bucket, unsigned int hash) {
  if (key.isNull() || probe.failed()) return false;
  const std::optional<HashPosition> position = ps::detail::positionOf(map, hash);
  return position && position->bucket() == bucket && ps::detail::addPair(map, probe, hash, key, value);
}

}  // namespace

psHashMap::psHashMap(int slots, int directorySize, pstHandle<psContObj> adminContainer,
                     pstHandle<psContObj> bucketContainer)
    : psHashSet(slots, directorySize, std::move(adminContainer), std::move(bucketContainer)) {}

psHashMap::psHashMap(pstHandle<psCompare>& comparator, int slots, int directorySize,
                     pstHandle<psContObj> adminContainer, pstHandle<psContObj> bucketContainer)
    : psHashSet(comparator, slots, directorySize, std::move(adminContainer), std::move(bucketContainer)) {}

// While this is still a map: its clear deletes the entries.
psHashMap::~psHashMap() noexcept { ps::detail::destroyTable(*this); }

bool psHashMap::put(const pstHandle<psObj>& key, const pstHandle<psObj>& value) {
  return ps::detail::putPair(*this, HandleProbe(key, *this), key, value);
}

bool psHashMap::put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, unsigned int hash,
                    psCompareFunction compare, psHashFunction hashFunction) {
  return ps::detail::putPair(*this, CallbackProbe(hash, compare, hashFunction), key, value);
}

bool psHashMap::put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, _jobject*& javaKey, _jobject*& callee,
                    JNIEnv_* env) {
  return ps::detail::putPair(*this, JavaProbe(javaKey, callee, env), key, value);
}

bool psHashMap::add(const pstHandle<psObj>& element) { return put(element, pstHandle<psObj>()); }

// A class derived from this one may put in its own way. What walks over this map must not meet buckets that divide.
bool psHashMap::addAll(pstHandle<psCollection>& other) {
  if (psGetTypeN() != pstTypeN || psThis(pscNoOpen) == other) return ps::detail::putAll(*this, other);
  HashLoad load(*this);
  bool any = false;
  ps::detail::visitPairs(other, [&](const pstHandle<psObj>& key, const pstHandle<psObj>& value) {
    any = true;
    return load.add(key, value);
  });
  load.finish();
  return any;
}

int psHashMap::append(const pstRef<psObj>* keys, const pstRef<psObj>* values, int n) {
  HashLoad load(*this);
  load.add(keys, values, n);
  return load.finish();
}

pstHandle<psHashMapEntry> psHashMap::entry(const pstHandle<psObj>& key) const {
  return ps::detail::storedFor(*this, HandleProbe(key, *this));
}

pstHandle<psHashMapEntry> psHashMap::entry(const void* key) const {
  return ps::detail::storedFor(*this, RawProbe(key, {comparator()}));
}

pstHandle<psHashMapEntry> psHashMap::entry(unsigned int hash, psCompareFunction compare) const {
  return ps::detail::storedFor(*this, CallbackProbe(hash, compare));
}

pstHandle<psHashMapEntry> psHashMap::entry(_jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  return ps::detail::storedFor(*this, JavaProbe(key, callee, env));
}

pstRef<psObj> psHashMap::get(const pstHandle<psObj>& key) const { return valueOf(entry(key)); }

pstRef<psObj> psHashMap::get(const void* key) const { return valueOf(entry(key)); }

pstRef<psObj> psHashMap::get(unsigned int, _jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  return valueOf(entry(key, callee, env));
}

pstRef<psObj> psHashMap::get(unsigned int hash, psCompareFunction compare) const {
  return valueOf(entry(hash, compare));
}

bool psHashMap::contains(const void* key) const { return containsKey(key); }

bool psHashMap::contains(const pstHandle<psObj>& keyOrEntry) const {
  return containsKey(ps::detail::keyFor(keyOrEntry));
}

bool psHashMap::contains(unsigned int, _jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  return !entry(key, callee, env).isNull();
}

bool psHashMap::contains(unsigned int hash, psCompareFunction compare) const { return !entry(hash, compare).isNull(); }

bool psHashMap::containsKey(const pstHandle<psObj>& key) const { return !entry(key).isNull(); }

bool psHashMap::containsKey(const void* key) const { return !entry(key).isNull(); }

bool psHashMap::containsValue(const pstHandle<psObj>& value) const {
  const std::unique_ptr<psCollectionIterator> it(valueIterator());
  return it != nullptr && it->goTo(value);
}

pstRef<psObj> psHashMap::unbind(const pstHandle<psObj>& key) { return removedValue(*this, HandleProbe(key, *this)); }

pstRef<psObj> psHashMap::unbind(const void* key) { return removedValue(*this, RawProbe(key, {comparator()})); }

pstRef<psObj> psHashMap::unbind(unsigned int hash, psCompareFunction compare) {
  return removedValue(*this, CallbackProbe(hash, compare));
}

bool psHashMap::remove(const pstHandle<psObj>& keyOrEntry) { return !unbind(ps::detail::keyFor(keyOrEntry)).isNull(); }

bool psHashMap::remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) { return psHashSet::remove(key, callee, env); }

void psHashMap::removeAllDeleted() {
  psHashSet::removeAllDeleted();
  const std::unique_ptr<psCollectionIterator> keys(keyIterator());
  if (keys == nullptr) return;
  removeDeleted(*keys);
  const std::unique_ptr<psCollectionIterator> values(valueIterator());
  if (values != nullptr) removeDeleted(*values);
}

psCollectionIterator* psHashMap::iterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(
      nullptr, [&] { return new psHashMapIterator(pstHandle<psHashMap>(this)); });
}

psCollectionIterator* psHashMap::keyIterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(
      nullptr, [&] { return new psHashMapKeyIterator(pstHandle<psHashMap>(this)); });
}

psCollectionIterator* psHashMap::valueIterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(
      nullptr, [&] { return new psHashMapValueIterator(pstHandle<psHashMap>(this)); });
}

bool psHashMap::rehash(const pstHandle<psObj>& entry, unsigned int hash) {
  const pstHandle<psHashMapEntry> old(entry);
  const std::optional<HashPosition> position = ps::detail::positionOf(*this, hash);
  if (!position || !ps::detail::isEntry(entry)) return false;
  if (entry.containedIn() == position->bucket().containedIn()) return psHashSet::rehash(entry, hash);
  if (old.open(pscUpdate) != 1) return false;
  ps::detail::Provisional created;
  const pstHandle<psHashMapEntry> moved =
      created.add(new (position->bucket()) psHashMapEntry(old->key(), old->value()));
  if (moved.isNull() || !psHashSet::rehash(moved, hash)) return false;
  created.keep();
  pstHandle<psObj> replaced(old);
  return psDelete(replaced) == 1;
}

bool psHashMap::addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                            unsigned int hash) {
  return addToBucket(*this, HandleProbe(key, *this), key, value, bucket, hash);
}

bool psHashMap::addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                            unsigned int hash, psCompareFunction compare, psHashFunction hashFunction) {
  return addToBucket(*this, CallbackProbe(hash, compare, hashFunction), key, value, bucket, hash);
}

bool psHashMap::addNewEntry(const pstHandle<psObj>& key, const pstHandle<psObj>& value, pstHandle<psHashBucket>& bucket,
                            unsigned int hash, _jobject*& javaKey, _jobject*& callee, JNIEnv_* env) {
  return addToBucket(*this, JavaProbe(javaKey, callee, env), key, value, bucket, hash);
}
