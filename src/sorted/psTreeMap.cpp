#include "sorted/psTreeMap.h"

#include <memory>
#include <optional>
#include <utility>

#include "core/KeyWalk.h"
#include "sorted/psTreeMapKeyIterator.h"
#include "sorted/psTreeMapValueIterator.h"
#include "store/base/MemoryGuard.h"
#include "tree/ElementChange.h"
#include "tree/InsertionSearch.h"
#include "tree/NodeAccess.h"
#include "tree/TreeAppender.h"
#include "tree/TreeRoot.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::MapClass;
using ps::detail::Pair;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

const MapClass mapClass(psTreeMap::pstTypeN);

// Whether the value of the pair at the position has been replaced.
bool replaceValue(const TreePosition& position, const pstRef<psObj>& value) {
  ps::detail::ArrayEdit values(position.leaf->values());
  if (!values.isOpen() || position.index >= values.count()) return false;
  values.put(position.index, value);
  return true;
}

bool putPair(psTreeMap& map, KeyProbe& probe, const pstRef<psObj>& key, const pstRef<psObj>& value) {
  if (key.isNull()) return false;
  if (ps::detail::TreeAppender::appendSingly(map, probe, key, value)) return true;
  const std::optional<TreePosition> at = ps::detail::locateRoom(map, probe);
  if (!at) return false;
  return at->matched ? replaceValue(*at, value) : ps::detail::insertElement(*at, key, value);
}

bool putPair(psTreeMap& map, KeyProbe&& probe, const pstRef<psObj>& key, const pstRef<psObj>& value) {
  return putPair(map, probe, key, value);
}

// Puts pairs whose keys mostly come in ascending order.
class PairAppender {
 public:
  explicit PairAppender(psTreeMap& map) : map_(map), appender_(map) {}
  bool put(const pstHandle<psObj>& key, const pstRef<psObj>& value) {
    HandleProbe probe(key, {map_.comparator()});
    return appender_.appendInOrder(probe, key, value) || putPair(map_, probe, key, value);
  }

 private:
  psTreeMap& map_;
  ps::detail::TreeAppender appender_;
};

}  // namespace

psTreeMap::psTreeMap(int n, pstHandle<psContObj> adminContainer, pstHandle<psContObj> vArrayContainer)
    : psTreeSet(n, std::move(adminContainer), std::move(vArrayContainer)) {
  createValues(n);
}

psTreeMap::psTreeMap(pstHandle<psCompare>& comparator, int n, pstHandle<psContObj> adminContainer,
                     pstHandle<psContObj> vArrayContainer)
    : psTreeSet(comparator, n, std::move(adminContainer), std::move(vArrayContainer)) {
  createValues(n);
}

void psTreeMap::createValues(int n) {
  if (admin().isNull()) return;
  values_ = ps::detail::constructValues(*this, n);
  if (!values_.isNull()) return;
  ps::detail::destroyRoot(*this);
  ps::detail::NodeAccess::setElements(*this, pstRef<psUnsortedArray>());
  admin_ = pstRef<psTreeAdmin>();
}

psTreeMap::~psTreeMap() noexcept { ps::detail::destroyRoot(*this); }

int psTreeMap::put(const pstHandle<psObj>& key, const pstHandle<psObj>& value) {
  return putPair(*this, HandleProbe(key, {comparator()}), key, value) ? 1 : 0;
}

int psTreeMap::put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, psCompareFunction compare) {
  return putPair(*this, CallbackProbe(compare), key, value) ? 1 : 0;
}

int psTreeMap::put(const pstHandle<psObj>& key, const pstHandle<psObj>& value, _jobject*& javaKey, _jobject*& callee,
                   JNIEnv_* env) {
  return putPair(*this, JavaProbe(javaKey, callee, env), key, value) ? 1 : 0;
}

pstRef<psObj> psTreeMap::get(const pstHandle<psObj>& key) const {
  return ps::detail::storedFor(*this, HandleProbe(key, *this));
}

bool psTreeMap::containsValue(const pstHandle<psObj>& value) const {
  const std::unique_ptr<psCollectionIterator> it(valueIterator());
  while (it != nullptr) {
    const pstRef<psObj> stored = it->next(pscNoLock);
    if (stored.isNull()) return false;
    if (stored == value) return true;
  }
  return false;
}

bool psTreeMap::add(const pstHandle<psObj>& element) {
  if (const std::optional<Pair> pair = MapClass::pairFor(element)) put(pair->key, pair->value);
  return true;
}

bool psTreeMap::addAll(pstHandle<psCollection>& other) {
  PairAppender appender(*this);
  return ps::detail::putAll(appender, other);
}

int psTreeMap::append(const pstRef<psObj>* keys, const pstRef<psObj>* values, int n) {
  const ps::detail::RefusalWatch watch;
  PairAppender appender(*this);
  int stored = 0;
  for (int i = 0; i < n && !watch.refused(); ++i) {
    if (appender.put(pstHandle<psObj>(keys[i]), values[i])) ++stored;
  }
  return stored;
}

psCollectionIterator* psTreeMap::iterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(nullptr, [&] {
    pstHandle<psTreeMap> self(this);
    return new psTreeMapKeyIterator(self);
  });
}

psCollectionIterator* psTreeMap::valueIterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(nullptr, [&] {
    pstHandle<psTreeMap> self(this);
    return new psTreeMapValueIterator(self);
  });
}

void psTreeMap::removeAllDeleted() {
  psTreeSet::removeAllDeleted();
  const std::unique_ptr<psCollectionIterator> it(valueIterator());
  if (it != nullptr) removeDeleted(*it);
}

int psTreeMap::full(int where) { return psTreeSet::full(where); }

pstRef<psUnsortedArray> psTreeMap::values() const { return values_; }
