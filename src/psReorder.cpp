#include "psReorder.h"

#include <algorithm>
#include <vector>

#include "core/KeyWalk.h"
#include "core/RefusalWatch.h"
#include "hash/HashAccess.h"
#include "hash/psHashMap.h"
#include "sorted/psTreeMap.h"
#include "store/VoidTransaction.h"
#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"

namespace ps {

namespace detail {

class SortedAccess {
 public:
  static pstRef<psCompare>& comparator(psTreeSet& set) { return set.comparator_; }
};

namespace {

// The elements of a collection in memory, and how they get back into it.
class Reordering {
 public:
  explicit Reordering(const pstHandle<psCollection>& collection)
      : collection_(collection),
        isMap_(MapClass::isMap(collection)),
        isSorted_(ptmIsKindOf(collection.typeN(), psTreeSet::pstTypeN) != 0),
        isHash_(ptmIsKindOf(collection.typeN(), psHashSet::pstTypeN) != 0) {}

  int run(pstHandle<psCompare> comparator) {
    if (!isSorted_ && !isHash_) return refuse("has no comparator");
    if (collection_.open(pscUpdate) != 1) return refuse("cannot be opened for update");
    if (comparator.isNull() && !make(comparator)) return refuse("needs a comparator: one cannot be made for it");
    if (!visitPairs(collection_,
                    [this](const pstHandle<psObj>& key, const pstHandle<psObj>& value) { return note(key, value); }))
      return refuse("cannot be read");
    if (isSorted_ && !sort(comparator)) return 0;
    return divide() ? placeAnew(comparator) : 0;
  }

 private:
  int refuse(const char* why) const {
    return guardMemory(0, [&] {
      return refuseOperation(psErrorKind::schema,
                             "collection " + textOf(collection_.oid()) + " " + why + "; it was not ordered anew");
    });
  }

  int refuseEqual(const pstRef<psObj>& a, const pstRef<psObj>& b) const {
    return guardMemory(0, [&] {
      const std::string both = textOf(a.oid()) + " and " + textOf(b.oid());
      return refuse(("has two elements that are equal in the new order, " + both).c_str());
    });
  }

  bool note(const pstRef<psObj>& key, const pstRef<psObj>& value) {
    return guardMemory(false, [&] {
      pairs_.push_back({key, value});
      return true;
    });
  }

  // Divides the pairs, before anything is changed.
  bool divide() {
    return guardMemory(false, [&] {
      keys_.resize(pairs_.size());
      values_.resize(pairs_.size());
      std::transform(pairs_.begin(), pairs_.end(), keys_.begin(), [](const Pair& pair) { return pair.key; });
      std::transform(pairs_.begin(), pairs_.end(), values_.begin(), [](const Pair& pair) { return pair.value; });
      return true;
    });
  }

  // A comparator of the class of the present one, if that has no fields.
  bool make(pstHandle<psCompare>& comparator) const {
    const unsigned int typeN =
        collection_->comparator().isNull() ? 0 : pstHandle<psObj>(collection_->comparator()).typeN();
    if (typeN == 0) return false;
    comparator = pstHandle<psCompare>(static_cast<psCompare*>(pstNewObj(typeN, sizeof(psCompare), collection_)));
    return !comparator.isNull();
  }

  bool sort(const pstHandle<psCompare>& comparator) {
    const RefusalWatch watch;
    if (comparator.open(pscRead) != 1) return refuse("cannot be compared by its new comparator") != 0;
    const psCompare& order = *comparator;
    std::stable_sort(pairs_.begin(), pairs_.end(), [&order](const Pair& a, const Pair& b) {
      return order.compare(pstHandle<psObj>(a.key), pstHandle<psObj>(b.key)) < 0;
    });
    const auto equal = std::adjacent_find(pairs_.begin(), pairs_.end(), [&order](const Pair& a, const Pair& b) {
      return order.compare(pstHandle<psObj>(a.key), pstHandle<psObj>(b.key)) == 0;
    });
    if (watch.refused()) return refuse("has elements that cannot be compared") != 0;
    if (equal == pairs_.end()) return true;
    return refuseEqual(equal->key, (equal + 1)->key) != 0;
  }

  int placeAnew(const pstHandle<psCompare>& comparator) {
    collection_->clear();
    if (collection_->isEmpty()) {
      const pstRef<psCompare> order(comparator);
      if (isSorted_)
        SortedAccess::comparator(static_cast<psTreeSet&>(*collection_)) = order;
      else
        HashAccess::comparator(static_cast<psHashSet&>(*collection_)) = order;
      append();
      // A map that meets an equal key replaces the value.
      if (collection_->size() == static_cast<int>(pairs_.size())) return 1;
    }
    return guardMemory(0, [&] {
      return voidTransaction(psErrorKind::schema,
                             "collection " + textOf(collection_.oid()) +
                                 " could not be ordered anew: something was refused, or two elements "
                                 "are equal in the new order; abort the transaction");
    });
  }

  void append() {
    const auto n = static_cast<int>(pairs_.size());
    psCollection& to = *collection_;
    if (isSorted_ && isMap_)
      static_cast<psTreeMap&>(to).append(keys_.data(), values_.data(), n);
    else if (isSorted_)
      static_cast<psTreeSet&>(to).append(keys_.data(), n);
    else if (isMap_)
      static_cast<psHashMap&>(to).append(keys_.data(), values_.data(), n);
    else
      static_cast<psHashSet&>(to).append(keys_.data(), n);
  }

  pstHandle<psCollection> collection_;
  bool isMap_;
  bool isSorted_;
  bool isHash_;
  std::vector<Pair> pairs_;
  std::vector<pstRef<psObj>> keys_;
  std::vector<pstRef<psObj>> values_;
};

}  // namespace

}  // namespace detail

int reorder(const pstHandle<psCollection>& collection, const pstHandle<psCompare>& comparator) {
  return detail::Reordering(collection).run(comparator);
}

}  // namespace ps
