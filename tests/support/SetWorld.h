#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/Keyed.h"
#include "support/TempStore.h"
#include "support/TreeChecker.h"

namespace ps::test {

enum class Kind { set, map };

inline const char* nameOf(Kind kind) { return kind == Kind::set ? "Set" : "Map"; }

// What a set ought to hold, or a map, in the order of the elements. The values of a set are null.
class SetModel {
 public:
  struct Pair {
    ItemKey key;
    psId value;
  };

  explicit SetModel(bool byNumber) : byNumber_(byNumber) {}

  // Adds what is not there yet.
  bool add(const ItemKey& item, const psId& value = psId()) {
    return pairs_.emplace(orderOf(item), Pair{item, value}).second;
  }
  // The same, but replaces the value of what is there.
  void put(const ItemKey& item, const psId& value) {
    add(item);
    pairs_[orderOf(item)].value = value;
  }
  bool remove(const ItemKey& item) { return pairs_.erase(orderOf(item)) != 0; }
  bool contains(const ItemKey& item) const { return pairs_.count(orderOf(item)) != 0; }
  // The element that matches; null when there is none.
  psId get(const ItemKey& item) const { return found(item).key.id; }
  psId valueOf(const ItemKey& item) const { return found(item).value; }
  // Removes the elements whose objects do not exist, and makes such values null.
  void forgetDeleted();
  // Number of elements before the item's place.
  int rank(const ItemKey& item) const;
  int size() const { return static_cast<int>(pairs_.size()); }
  std::vector<Pair> pairs() const;
  std::vector<ItemKey> list() const;

 private:
  std::uint64_t orderOf(const ItemKey& item) const;
  Pair found(const ItemKey& item) const;

  bool byNumber_;
  std::map<std::uint64_t, Pair> pairs_;
};

// Everything in which the set or map differs from the model: structure, order, values, and each element's reachability
// in the flavour. "" when it does not.
std::string complaintsAbout(const pstHandle<psTreeSet>& set, const SetModel& model, const Keyed& keyed);

// A set, or a map, in a store of its own, in an update transaction, beside its model.
class SetWorld {
 public:
  SetWorld(TempStore::Place place, Flavour flavour, bool byNumber, int capacity, Kind kind = Kind::set);

  psTreeMap& map() const { return static_cast<psTreeMap&>(*set); }
  // Creates an item that is in no set yet.
  ItemKey newItem(std::int64_t number) { return makeItem(number % 2 == 0 ? evens_ : odds_, number); }
  // Creates an object that can be a value; null for a set, which has none.
  psId newValue(std::int64_t number) { return kind == Kind::map ? makeItem(values_, number).id : psId(); }
  // Adds the item to the set, or puts it into the map with the value. The model stays as it is.
  bool insert(const ItemKey& item, const psId& value) const {
    return kind == Kind::map ? keyed.put(map(), item, value) : keyed.add(*set, item);
  }
  // Inserts an item, with a new value, into set and model.
  void put(const ItemKey& item);
  ItemKey put(std::int64_t number);
  std::string complaints() const { return complaintsAbout(set, model, keyed); }
  // Takes up the set anew, in the transaction that has begun; after a reopening.
  void find();

  TempStore store;
  Keyed keyed;
  SetModel model;
  pstHandle<psTreeSet> set;
  const Kind kind;

 private:
  pstHandle<psContObj> evens_;  // items lie in two databases, so that every part of an identifier decides somewhere
  pstHandle<psContObj> odds_;
  pstHandle<psContObj> values_;
};

// The set or map that a SetWorld keeps in the store that the session has open.
pstHandle<psTreeSet> storedSet(psSession& session);

}  // namespace ps::test
