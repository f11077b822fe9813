#include "support/Keyed.h"

#include <memory>

#include "tree/psTreeIterator.h"

namespace ps::test {

namespace {

thread_local ItemKey wantedItem;

psId idOf(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return psId(static_cast<unsigned short>(databaseAndContainer >> 16),
              static_cast<unsigned short>(databaseAndContainer), static_cast<unsigned short>(pageAndSlot >> 16),
              static_cast<unsigned short>(pageAndSlot));
}

int compareNumber(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return compareWithNumber(idOf(databaseAndContainer, pageAndSlot), wantedItem.number);
}

int compareIdentifier(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return psCompare::comparePsId(idOf(databaseAndContainer, pageAndSlot), wantedItem.id);
}

}  // namespace

Keyed::Callback Keyed::comparisonWith(const ItemKey& item, bool byNumber) {
  wantedItem = item;
  return byNumber ? compareNumber : compareIdentifier;
}

bool Keyed::add(psTreeSet& set, const ItemKey& item) const {
  const pstHandle<psObj> element(item.id);
  if (flavour_ == Flavour::java) {
    JavaKey java(item, byNumber_);
    return set.add(element, java.key, java.callee, java.env);
  }
  return flavour_ == Flavour::callback ? set.add(element, wanted(item)) : set.add(element);
}

bool Keyed::put(psTreeMap& map, const ItemKey& item, const psId& value) const {
  const pstHandle<psObj> key(item.id);
  if (flavour_ == Flavour::java) {
    JavaKey java(item, byNumber_);
    return map.put(key, value, java.key, java.callee, java.env) == 1;
  }
  return (flavour_ == Flavour::callback ? map.put(key, value, wanted(item)) : map.put(key, value)) == 1;
}

bool Keyed::contains(const psTreeSet& set, const ItemKey& item) const {
  switch (flavour_) {
    case Flavour::handle:
      return set.contains(pstHandle<psObj>(item.id));
    case Flavour::raw:
      return set.contains(static_cast<const void*>(&item.number));
    case Flavour::java: {
      JavaKey java(item, byNumber_);
      return const_cast<psTreeSet&>(set).contains(java.key, java.callee, java.env);
    }
    default:
      return set.contains(wanted(item));
  }
}

pstRef<psObj> Keyed::get(const psTreeSet& set, const ItemKey& item) const {
  if (flavour_ == Flavour::raw) return set.get(static_cast<const void*>(&item.number));
  if (flavour_ == Flavour::callback) return set.get(wanted(item));
  if (flavour_ == Flavour::java) {
    JavaKey java(item, byNumber_);
    return set.get(java.key, java.callee, java.env);
  }
  if (set.psIsKindOf(psTreeMap::pstTypeN)) return static_cast<const psTreeMap&>(set).get(pstRef<psObj>(item.id));
  const std::unique_ptr<psCollectionIterator> iterator(set.iterator());
  return iterator->goTo(pstHandle<psObj>(item.id)) ? iterator->current(pscNoLock) : pstRef<psObj>();
}

bool Keyed::remove(psTreeSet& set, const ItemKey& item) const {
  switch (flavour_) {
    case Flavour::handle:
      return set.remove(pstHandle<psObj>(item.id));
    case Flavour::raw:
      return set.remove(static_cast<const void*>(&item.number));
    case Flavour::java: {
      JavaKey java(item, byNumber_);
      return set.remove(java.key, java.callee, java.env);
    }
    default:
      return set.remove(wanted(item));
  }
}

bool Keyed::goTo(psCollectionIterator& iterator, const ItemKey& item) const {
  switch (flavour_) {
    case Flavour::handle:
      return iterator.goTo(pstHandle<psObj>(item.id));
    case Flavour::raw:
      return iterator.goTo(static_cast<const void*>(&item.number));
    case Flavour::java: {
      JavaKey java(item, byNumber_);
      return static_cast<psTreeIterator&>(iterator).goTo(java.key, java.callee, java.env);
    }
    default:
      return iterator.goTo(0U, wanted(item));
  }
}

}  // namespace ps::test
