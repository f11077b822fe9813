#include "hash/psHashSet.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "core/Containers.h"
#include "core/KeyWalk.h"
#include "core/LookAhead.h"
#include "hash/HashAhead.h"
#include "hash/HashLoad.h"
#include "hash/HashTable.h"
#include "hash/SlotChange.h"
#include "hash/psHashIterator.h"
#include "hash/psHashMap.h"
#include "store/base/MemoryGuard.h"

using ps::detail::BucketRange;
using ps::detail::BucketRemoval;
using ps::detail::BucketView;
using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::HashAccess;
using ps::detail::HashLoad;
using ps::detail::HashPosition;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::LookAhead;
using ps::detail::RawProbe;
using ps::detail::SlotView;

namespace {

const pstProcessInitTermClass processInitTerm;

const LookAhead lookAhead(psHashSet::pstTypeN, ps::detail::prefetchForObjects, ps::detail::prefetchForRawKeys);

bool isIn(const psHashSet& set, KeyProbe&& probe) {
  const std::optional<HashPosition> position = ps::detail::locate(set, probe);
  return position && position->isMatch();
}

}  // namespace

psHashSet::psHashSet(int slots, int directorySize, pstHandle<psContObj> adminContainer,
                     pstHandle<psContObj> bucketContainer) {
  ps::detail::constructTable(*this, slots, directorySize, std::move(adminContainer), std::move(bucketContainer));
}

psHashSet::psHashSet(pstHandle<psCompare>& comparator, int slots, int directorySize,
                     pstHandle<psContObj> adminContainer, pstHandle<psContObj> bucketContainer)
    : psHashSet(slots, directorySize, std::move(adminContainer), std::move(bucketContainer)) {
  comparator_ = comparator;
}

psHashSet::~psHashSet() noexcept { ps::detail::destroyTable(*this); }

bool psHashSet::add(const pstHandle<psObj>& element) {
  return ps::detail::addElement(*this, HandleProbe(element, *this), element);
}

bool psHashSet::add(const pstHandle<psObj>& element, unsigned int hash, psCompareFunction compare,
                    psHashFunction hashFunction) {
  return ps::detail::addElement(*this, CallbackProbe(hash, compare, hashFunction), element);
}

bool psHashSet::add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return ps::detail::addElement(*this, JavaProbe(key, callee, env), element);
}

// A class derived from this one may add in its own way.
bool psHashSet::addAll(pstHandle<psCollection>& other) {
  if (psGetTypeN() != pstTypeN) return psCollection::addAll(other);
  if (psThis(pscNoOpen) == other) return false;
  HashLoad load(*this);
  ps::detail::visitKeys(other, [&](const pstHandle<psObj>& element) { return load.add(element); });
  return load.finish() > 0;
}

int psHashSet::append(const pstRef<psObj>* elements, int n) {
  HashLoad load(*this);
  load.add(elements, nullptr, n);
  return load.finish();
}

const pstRef<psHashAdmin>& psHashSet::admin() const {
  static const pstRef<psHashAdmin> none;
  return ps::detail::isComplete(*this) ? admin_ : none;
}

void psHashSet::clear() {
  ps::detail::visitBuckets(*this, [&](const BucketRange& range) {
    BucketRemoval removal;
    if (range.bucket->size() == 0) return true;
    if (!removal.plan(range.bucket, ps::detail::holdsEntries(*this))) return false;
    removal.carryOut();
    return true;
  });
}

pstRef<psCompare> psHashSet::comparator() const { return comparator_; }

bool psHashSet::contains(const void* key) const { return isIn(*this, RawProbe(key, {comparator()})); }

bool psHashSet::contains(const pstHandle<psObj>& element) const { return isIn(*this, HandleProbe(element, *this)); }

bool psHashSet::contains(unsigned int hash, psCompareFunction compare) const {
  return isIn(*this, CallbackProbe(hash, compare));
}

bool psHashSet::contains(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  return isIn(*this, JavaProbe(hash, key, callee, env));
}

pstRef<psObj> psHashSet::get(const void* key) const {
  return ps::detail::storedFor(*this, RawProbe(key, {comparator()}));
}

pstRef<psObj> psHashSet::get(const pstHandle<psObj>& element) const {
  if (ps::detail::holdsEntries(*this)) return static_cast<const psHashMap&>(*this).get(element);
  return ps::detail::storedFor(*this, HandleProbe(element, *this));
}

int psHashSet::getMany(const pstRef<psObj>* elements, pstRef<psObj>* found, int n) const {
  std::array<pstHandle<psObj>, LookAhead::most> keys;
  int hits = 0;
  for (int begin = 0; begin < n; begin += LookAhead::most) {
    const int count = std::min(n - begin, LookAhead::most);
    std::copy_n(elements + begin, count, keys.begin());
    LookAhead::announce(*this, keys.data(), count);
    for (int i = 0; i < count; ++i) {
      pstRef<psObj>& result = found[begin + i];
      result = get(keys[static_cast<std::size_t>(i)]);
      hits += result.isNull() ? 0 : 1;
    }
  }
  return hits;
}

pstRef<psObj> psHashSet::get(unsigned int hash, psCompareFunction compare) const {
  return ps::detail::storedFor(*this, CallbackProbe(hash, compare));
}

pstRef<psObj> psHashSet::get(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  return ps::detail::storedFor(*this, JavaProbe(hash, key, callee, env));
}

bool psHashSet::remove(const pstHandle<psObj>& element) {
  return ps::detail::removeMatch(*this, HandleProbe(element, *this));
}

bool psHashSet::remove(const void* key) { return ps::detail::removeMatch(*this, RawProbe(key, {comparator()})); }

bool psHashSet::remove(unsigned int hash, psCompareFunction compare) {
  return ps::detail::removeMatch(*this, CallbackProbe(hash, compare));
}

bool psHashSet::remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return ps::detail::removeMatch(*this, JavaProbe(key, callee, env));
}

psCollectionIterator* psHashSet::iterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(nullptr,
                                                        [&] { return new psHashIterator(pstHandle<psHashSet>(this)); });
}

bool psHashSet::isEmpty() const {
  bool isEmpty = true;
  ps::detail::visitBuckets(*this, [&](const BucketRange& range) { return isEmpty = range.bucket->size() == 0; });
  return isEmpty;
}

int psHashSet::size() const { return ps::detail::sizeOf(*this); }

bool psHashSet::refresh(psMode mode) const {
  ps::detail::ContainerRefresh containers(mode);
  if (!containers.visit(pstHandle<psObj>(admin_))) return false;
  // Not by ranges: finding a range opens its bucket, which may be refused.
  for (unsigned int i = 0; i < directory_.size(); ++i) {
    if (!containers.visit(pstHandle<psObj>(directory_[i]))) return false;
  }
  return containers.visit(psThis(pscNoOpen));
}

bool psHashSet::rehash(const pstHandle<psObj>& element, unsigned int hash) {
  return !element.isNull() && ps::detail::insertByHash(*this, element, hash);
}

unsigned int psHashSet::hashOf(const pstHandle<psObj>& element) const {
  HandleProbe probe(element, *this);
  return probe.failed() ? 0 : probe.hash();
}

bool psHashSet::expandDirectory() { return ps::detail::doubleDirectory(*this); }

void psHashSet::statistics() {
  int buckets = 0;
  int chained = 0;
  int unchained = 0;
  int chains = 0;
  int shortest = 10000000;
  int longest = 0;
  ps::detail::visitBuckets(*this, [&](const BucketRange& range) {
    ++buckets;
    const BucketView bucket(range.bucket);
    chained += HashAccess::chained(*bucket);
    unchained += HashAccess::unchained(*bucket);
    for (int i = 0; i < bucket.slots(); ++i) {
      const SlotView slot(bucket, i);
      if (!slot.isOpen() || slot.chain().isNull()) continue;
      ++chains;
      shortest = std::min(shortest, slot.count());
      longest = std::max(longest, slot.count());
    }
    return true;
  });
  std::printf("Dictionary depth: %i\n", depth_);
  std::printf("Number of buckets: %i\n", buckets);
  std::printf("Number of chained entries: %i\n", chained);
  std::printf("Number of unchained entries: %i\n", unchained);
  std::printf("Number of chains: %i\n", chains);
  std::printf("Min chain size: %i\n", shortest);
  std::printf("Max chain size: %i\n", longest);
}
