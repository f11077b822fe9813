#pragma once

#include <memory>

#include "support/KeyedSweep.h"
#include "support/KeyedWorld.h"
#include "support/ModelDriver.h"

namespace ps::test {

// Drives a set, or a map as a set of its keys. What depends on the order of the elements is up to a derived class.
class KeyedDriver : public ModelDriver {
 protected:
  // items is how many there are that may be in the collection; their numbers occur twice.
  KeyedDriver(KeyedWorld& world, const RunPlan& plan, int items, std::uint64_t seed);

  // The elements in the order of the collection.
  virtual std::vector<ItemKey> inOrder() const = 0;
  // Where goTo leaves an iterator that finds nothing.
  virtual int placeOfMiss(const ItemKey& item, const IteratorWalk& walk) const = 0;
  // Lets a value iterator look for something.
  virtual void seekValue(psCollectionIterator& it, IteratorWalk& walk) = 0;
  // What the iterator says when it has moved the element at place i of the order before to a new identifier.
  virtual void verifyMove(psCollectionIterator& it, int i, const std::vector<ItemKey>& orderBefore,
                          const ItemKey& moved) = 0;
  // What happens between the positioning of an iterator and the move of its element.
  virtual void betweenPositionAndMove() {}
  // A value iterator that ran past its last value need not find back.
  virtual bool losesItsPlaceAtTheEnd() const = 0;
  // Whether next, on an empty collection, goes past its end.
  virtual bool leavesEmptyStart() const { return false; }
  // Whether removeAll says so when all that it removed had this value.
  virtual bool reportsRemovalOf(const psId&) const { return true; }
  // Whether containsValue looks past a null value.
  virtual bool seesBeyondNullValues() const = 0;

  void verify() override;
  void clear() override;
  std::vector<Trouble> troubles() override { return troublesOf(world_); }
  TempStore& store() override { return world_.store; }
  const std::vector<Choice>& choices() const override { return choices_; }
  std::string complaintsIn(psSession& session) const override {
    return world_.complaintsAbout(storedCollection(session), model_);
  }
  void find() override;
  void keepModel() override;
  void restoreModel() override;

  bool isMap() const { return world_.kind == Kind::map; }
  template <class T>
  T& anyOf(std::vector<T>& pool) {
    return pool[static_cast<std::size_t>(below(static_cast<int>(pool.size())))];
  }
  ItemKey& anyItem() { return anyOf(pool_); }
  // Null at times, and always for a set.
  psId anyValue() { return below(6) == 0 ? psId() : anyOf(values_); }
  void seek(psCollectionIterator& it, IteratorWalk& walk);
  // Runs a search of an iterator, which ends on the place that is given, or nowhere when it was refused.
  void seek(psCollectionIterator& it, IteratorWalk& walk, int place, bool isFound, const std::function<bool()>& act);
  // Runs an operation on many elements. When it was refused something it may have stopped on its way.
  void changeMany(const SetModel& after, const SetModel& others, bool expected, const std::function<bool()>& act);

  KeyedWorld& world_;
  SetModel& model_;
  std::vector<Choice> choices_ = {
      {"add", [this] { add(anyItem()); }, 50, 15},
      {"remove", [this] { remove(); }, 15, 50},
      {"renew the highest", [this] { renewHighest(); }, 2, 2},
      {"look up", [this] { lookUp(); }, 10, 10},
      {"walk", [this] { walk(); }, 3, 5},
      {"clear", [this] { clear(); }, 0, 1},
      {"combine", [this] { combine(); }, 2, 2},
      {"forget deleted", [this] { forgetDeleted(); }, 1, 1},
      {"move an element", [this] { moveElement(); }, 3, 6},
      {"go on with an iterator of before", [this] { goOn(); }, 8, 8},
  };

 private:
  void add(const ItemKey& item);
  void remove();
  void remove(const ItemKey& item);
  void renewHighest();
  void addAtOnce(const std::vector<ItemKey>& items);
  void lookUp();
  void walk();
  void combine();
  void forgetDeleted();
  void moveElement();
  void goOn();
  void put();
  void walkValues();
  void lookForValue();

  pstHandle<psCollection> makeOther(SetModel& others);

  std::vector<ItemKey> pool_;  // all items that exist; numbers occur twice
  std::vector<psId> values_;   // objects that can be values
  SetModel committedModel_;
  std::vector<ItemKey> committedPool_;
  std::vector<psId> committedValues_;
  std::unique_ptr<psCollectionIterator> kept_;  // whatever happens to the collection
};

}  // namespace ps::test
