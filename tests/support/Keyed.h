#pragma once

#include "sorted/psTreeMap.h"
#include "support/KeyedWorld.h"

namespace ps::test {

// Addresses the elements of a set, or the keys of a map, in one key flavour, so that a test is written once for all.
// byNumber says that the set has an ItemCompare; otherwise it goes by identifier, and the raw flavour finds nothing.
class Keyed {
 public:
  using Callback = int (*)(unsigned int, unsigned int);

  // A callback that compares stored elements with the item, which it finds in a variable of the thread.
  static Callback comparisonWith(const ItemKey& item, bool byNumber);

  Keyed(Flavour flavour, bool byNumber) : flavour_(flavour), byNumber_(byNumber) {}

  bool byNumber() const { return byNumber_; }

  // Adding has no raw flavour; the handle stands in.
  bool add(psTreeSet& set, const ItemKey& item) const;
  bool put(psTreeMap& map, const ItemKey& item, const psId& value) const;
  bool contains(const psTreeSet& set, const ItemKey& item) const;
  // A set has no get by handle; an iterator stands in.
  pstRef<psObj> get(const psTreeSet& set, const ItemKey& item) const;
  bool remove(psTreeSet& set, const ItemKey& item) const;
  bool goTo(psCollectionIterator& iterator, const ItemKey& item) const;

 private:
  Callback wanted(const ItemKey& item) const { return comparisonWith(item, byNumber_); }

  Flavour flavour_;
  bool byNumber_;
};

}  // namespace ps::test
