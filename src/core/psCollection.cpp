#include "core/psCollection.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "core/LookAhead.h"
#include "store/base/MemoryGuard.h"

using ps::detail::guardMemory;
using ps::detail::RefusalWatch;
using ps::detail::visitKeysOf;

namespace {

const pstProcessInitTermClass processInitTerm;

using IteratorOwner = std::unique_ptr<psCollectionIterator>;

// Calls change(element) for the elements of another collection; whether any call changed something.
template <class Change>
bool changeByAll(const psCollection& collection, pstHandle<psCollection>& other, Change change) {
  bool changed = false;
  visitKeysOf(other, collection, [&](const pstHandle<psObj>& element) {
    changed |= change(element);
    return true;
  });
  return changed;
}

}  // namespace

psCollection::~psCollection() noexcept = default;

bool psCollection::equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const {
  const RefusalWatch watch;
  const pstHandle<psCompare> order(comparator());
  if (watch.refused()) return false;
  if (order.isNull()) return a == b;
  const bool isEqual = order.open(pscRead) == 1 && order->equal(a, b);
  // What a comparator says about an object that does not exist is no answer.
  return isEqual && !watch.refused() && (!watch.metAbsent() || a == b);
}

bool psCollection::addAll(pstHandle<psCollection>& other) {
  if (psThis(pscNoOpen) == other) return false;
  return changeByAll(*this, other, [&](const pstHandle<psObj>& element) { return add(element); });
}

void psCollection::clear() {
  const int n = size();
  const IteratorOwner it(keyIterator());
  if (it == nullptr) return;
  it->goToIndex(n - 1, pscNoLock);
  for (int i = 0; i < n && it->remove() == 1; ++i) {
  }
}

bool psCollection::containsAll(pstHandle<psCollection>& other) const {
  return visitKeysOf(other, *this, [&](const pstHandle<psObj>& element) { return contains(element); });
}

int psCollection::getMany(const void* const* keys, pstRef<psObj>* found, int n) const {
  constexpr int most = ps::detail::LookAhead::most;
  int hits = 0;
  for (int i = 0; i < n; ++i) {
    if (i % most == 0) ps::detail::LookAhead::announce(*this, keys + i, std::min(n - i, most));
    found[i] = get(keys[i]);
    hits += found[i].isNull() ? 0 : 1;
  }
  return hits;
}

bool psCollection::contains(const void* key) const { return !get(key).isNull(); }

psCollectionIterator* psCollection::keyIterator() const { return iterator(); }

psCollectionIterator* psCollection::valueIterator() const { return iterator(); }

bool psCollection::removeAll(pstHandle<psCollection>& other) {
  if (psThis(pscNoOpen) == other) {
    const int before = size();
    if (before <= 0) return false;
    clear();
    const int after = size();
    return after >= 0 && after < before;
  }
  return changeByAll(*this, other, [&](const pstHandle<psObj>& element) { return remove(element); });
}

void psCollection::removeAllDeleted() {
  const IteratorOwner it(iterator());
  if (it != nullptr) removeDeleted(*it);
}

void psCollection::removeDeleted(psCollectionIterator& it) {
  const RefusalWatch watch;
  while (it.hasNext()) {
    const pstRef<psObj> element = it.next(pscNoLock);
    if (watch.refused()) return;
    if (!element.isNull() && !element.isValid() && it.remove() != 1) return;
  }
}

// All are looked up before any is removed, many at a time.
bool psCollection::retainAll(pstHandle<psCollection>& other) {
  if (other.open(pscRead) != 1) return false;
  const RefusalWatch watch;
  std::vector<psId> gone;
  pstHandle<psCollection> self(psThis(pscNoOpen));
  const bool isWhole = visitKeysOf(self, *other, [&](const pstHandle<psObj>& element) {
    return other->contains(element) || guardMemory(false, [&] {
             gone.push_back(element.oid());
             return true;
           });
  });
  if (!isWhole || gone.empty()) return false;
  bool changed = false;
  const int n = size();
  const IteratorOwner it(keyIterator());
  if (it == nullptr) return false;
  pstRef<psObj> current = it->goToIndex(n - 1, pscNoLock);
  for (int i = 0; i < n && !gone.empty() && !watch.refused(); ++i) {
    if (current.oid() != gone.back()) {
      current = it->previous(pscNoLock);
    } else {
      if (it->remove() != 1) break;
      gone.pop_back();
      changed = true;
      current = it->current(pscNoLock);
    }
  }
  return changed;
}
