#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/psCollectionIterator.h"
#include "support/Item.h"
#include "support/JavaKey.h"
#include "support/TempStore.h"

namespace ps::test {

enum class Flavour { handle, raw, callback, java };
enum class Kind { set, map };

const char* nameOf(Flavour flavour);
// The same without Java, where there is none.
std::vector<Flavour> testable(std::vector<Flavour> flavours);
inline const char* nameOf(Kind kind) { return kind == Kind::set ? "Set" : "Map"; }

// A callback that compares stored elements with the item, which it finds in a variable of the thread.
using Callback = int (*)(unsigned int, unsigned int);
Callback comparisonWith(const ItemKey& item, bool byNumber);

// Calls with what names the item in a flavour: a handle, a raw key, a callback, or three Java objects.
template <class Call>
auto callByKey(Flavour flavour, const ItemKey& item, bool byNumber, Call call) {
  if (flavour == Flavour::handle) return call(pstHandle<psObj>(item.id));
  if (flavour == Flavour::raw) return call(static_cast<const void*>(&item.number));
  if (flavour == Flavour::callback) return call(comparisonWith(item, byNumber));
  JavaKey java(item, byNumber);
  return call(java.key, java.callee, java.env);
}

// Calls with what an addition in a flavour takes beside the element: nothing, a callback, or three Java objects.
template <class Call>
auto callWithKey(Flavour flavour, const ItemKey& item, bool byNumber, Call call) {
  if (flavour == Flavour::callback) return call(comparisonWith(item, byNumber));
  if (flavour != Flavour::java) return call();
  JavaKey java(item, byNumber);
  return call(java.key, java.callee, java.env);
}

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
  bool byNumber() const { return byNumber_; }
  std::vector<Pair> pairs() const;
  std::vector<ItemKey> list() const;

 private:
  std::uint64_t orderOf(const ItemKey& item) const;
  Pair found(const ItemKey& item) const;

  bool byNumber_;
  std::map<std::uint64_t, Pair> pairs_;
};

// A keyed collection in a store of its own, in an update transaction, beside its model. The operations on one item are
// those of the collection in the world's key flavour, so that a test is written once for all; the model stays as it is.
class KeyedWorld {
 public:
  KeyedWorld(const KeyedWorld&) = delete;
  KeyedWorld& operator=(const KeyedWorld&) = delete;
  virtual ~KeyedWorld() = default;

  virtual psCollection& collection() const = 0;
  // Adding has no raw flavour; the handle stands in.
  virtual bool add(const ItemKey& item) const = 0;
  virtual bool bind(const ItemKey& key, const psId& value) const = 0;
  virtual bool contains(const ItemKey& item) const = 0;
  virtual pstRef<psObj> get(const ItemKey& item) const = 0;
  virtual bool remove(const ItemKey& item) const = 0;
  virtual bool goTo(psCollectionIterator& iterator, const ItemKey& item) const = 0;
  virtual bool containsValue(const psId& value) const = 0;
  // Everything in which a stored collection differs from a model; "" when it does not.
  virtual std::string complaintsAbout(const pstHandle<psObj>& stored, const SetModel& expected) const = 0;
  std::string complaints() const { return complaintsAgainst(model); }
  std::string complaintsAgainst(const SetModel& expected) const {
    return complaintsAbout(pstHandle<psObj>(collection().psOid()), expected);
  }
  // Takes up the collection anew, in the transaction that has begun; after a reopening.
  virtual void find();

  // Creates an item that is in no collection yet.
  ItemKey newItem(std::int64_t number) { return makeItem(number % 2 == 0 ? evens_ : odds_, number); }
  // Creates an object that can be a value; null for a set, which has none.
  psId newValue(std::int64_t number) { return kind == Kind::map ? makeItem(values_, number).id : psId(); }
  // Adds the item to the set, or puts it into the map with the value.
  bool insert(const ItemKey& item, const psId& value) const {
    return kind == Kind::map ? bind(item, value) : add(item);
  }
  // Inserts many at once. Returns how many were added, or put.
  int append(const std::vector<pstRef<psObj>>& keys, const std::vector<pstRef<psObj>>& values) const;
  // Inserts an item, with a new value, into collection and model.
  void put(const ItemKey& item);
  ItemKey put(std::int64_t number);

  TempStore store;
  SetModel model;
  const Kind kind;
  const Flavour flavour;

 protected:
  KeyedWorld(TempStore::Place place, Flavour flavourOfKeys, bool byNumber, Kind kindOfCollection);
  // In any flavour but Java's.
  bool goToKey(psCollectionIterator& iterator, const ItemKey& item) const;
  // Files a new collection.
  void name(const pstHandle<psObj>& collection);

 private:
  pstHandle<psContObj> evens_;  // items lie in two databases, so that every part of an identifier decides somewhere
  pstHandle<psContObj> odds_;
  pstHandle<psContObj> values_;
};

// The collection that a world keeps in the store that the session has open.
pstHandle<psObj> storedCollection(psSession& session);

}  // namespace ps::test
