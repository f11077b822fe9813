#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/Keyed.h"
#include "support/TempStore.h"
#include "support/TreeChecker.h"

namespace ps::test {

// What a set ought to hold, in its order.
class SetModel {
 public:
  explicit SetModel(bool byNumber) : byNumber_(byNumber) {}

  bool add(const ItemKey& item) { return elements_.emplace(orderOf(item), item).second; }
  bool remove(const ItemKey& item) { return elements_.erase(orderOf(item)) != 0; }
  bool contains(const ItemKey& item) const { return elements_.count(orderOf(item)) != 0; }
  // The element that matches; null when there is none.
  psId get(const ItemKey& item) const;
  // Number of elements before the item's place.
  int rank(const ItemKey& item) const;
  int size() const { return static_cast<int>(elements_.size()); }
  std::vector<ItemKey> list() const;

 private:
  std::uint64_t orderOf(const ItemKey& item) const;

  bool byNumber_;
  std::map<std::uint64_t, ItemKey> elements_;
};

// Everything in which the set differs from the model: structure, order, and each element's reachability in the flavour.
// "" when it does not.
std::string complaintsAbout(const pstHandle<psTreeSet>& set, const SetModel& model, const Keyed& keyed);

// A set in a store of its own, in an update transaction, beside its model.
class SetWorld {
 public:
  SetWorld(TempStore::Place place, Flavour flavour, bool byNumber, int capacity);

  // Creates an item that is in no set yet.
  ItemKey newItem(std::int64_t number) { return makeItem(number % 2 == 0 ? evens_ : odds_, number); }
  // Adds a new item to set and model.
  ItemKey put(std::int64_t number);
  std::string complaints() const { return complaintsAbout(set, model, keyed); }
  // Takes up the set anew, in the transaction that has begun; after a reopening.
  void find();

  TempStore store;
  Keyed keyed;
  SetModel model;
  pstHandle<psTreeSet> set;

 private:
  pstHandle<psContObj> evens_;  // items lie in two databases, so that every part of an identifier decides somewhere
  pstHandle<psContObj> odds_;
};

// The set that a SetWorld keeps in the store that the session has open.
pstHandle<psTreeSet> storedSet(psSession& session);

}  // namespace ps::test
