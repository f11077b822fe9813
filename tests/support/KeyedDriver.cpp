#include "support/KeyedDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "support/Faults.h"
#include "support/Reports.h"

namespace ps::test {

KeyedDriver::KeyedDriver(KeyedWorld& world, const RunPlan& plan, int items, std::uint64_t seed)
    : ModelDriver(plan, seed), world_(world), model_(world.model), committedModel_(world.model) {
  for (int i = 0; i < items; ++i) pool_.push_back(world_.newItem(i / 2));
  for (int i = 0; i < 20; ++i) values_.push_back(world_.newValue(i));
  if (!isMap()) return;
  choices_.push_back({"put", [this] { put(); }, 60, 15});
  choices_.push_back({"walk over values", [this] { walkValues(); }, 3, 5});
  choices_.push_back({"look for a value", [this] { lookForValue(); }, 3, 3});
}

void KeyedDriver::verify() {
  ASSERT_EQ(world_.complaints(), "");
  ASSERT_EQ(world_.collection().isEmpty(), model_.size() == 0);
}

void KeyedDriver::find() {
  kept_.reset();
  world_.find();
}

void KeyedDriver::keepModel() {
  committedModel_ = model_;
  committedPool_ = pool_;
  committedValues_ = values_;
}

void KeyedDriver::restoreModel() {
  model_ = committedModel_;
  pool_ = committedPool_;
  values_ = committedValues_;
}

void KeyedDriver::add(const ItemKey& item) {
  const bool isNew = !model_.contains(item);
  if (isMap()) {
    ASSERT_TRUE(world_.collection().add(pstHandle<psObj>(item.id)));
    model_.put(item, psId());
  } else {
    if (happens(isNew, [&] { return world_.add(item); })) model_.add(item);
  }
  ASSERT_EQ(world_.contains(item), model_.contains(item));
}

void KeyedDriver::remove() {
  const std::vector<ItemKey> list = model_.list();
  remove(list.empty() || below(3) == 0 ? anyItem() : list[static_cast<std::size_t>(below(model_.size()))]);
}

void KeyedDriver::remove(const ItemKey& item) {
  const bool isThere = model_.contains(item);
  const auto act = [&] { return world_.remove(item); };
  // With a null value a map does not say that something went.
  const bool isSilent = isMap() && isThere && model_.valueOf(item).isNull();
  const bool isRemoved = isSilent ? act() : happens(isThere, act);
  ASSERT_TRUE(!isRemoved || model_.remove(item));
  ASSERT_EQ(world_.contains(item), model_.contains(item));
}

// Makes sure that a few of the highest elements are gone, and adds them in ascending order.
void KeyedDriver::renewHighest() {
  SetModel all(model_.byNumber());
  for (const ItemKey& item : pool_) all.add(item);
  const std::vector<ItemKey> items = all.list();
  const std::vector<ItemKey> highest(items.end() - below(20), items.end());
  for (const ItemKey& item : highest) remove(item);
  if (below(2) == 0) return addAtOnce(highest);
  for (const ItemKey& item : highest) add(item);
}

void KeyedDriver::addAtOnce(const std::vector<ItemKey>& items) {
  std::vector<pstRef<psObj>> keys;
  std::vector<pstRef<psObj>> values;
  SetModel after = model_;
  SetModel others(false);
  int expected = 0;
  for (const ItemKey& item : items) {
    const psId value = isMap() ? anyValue() : psId();
    keys.emplace_back(pstHandle<psObj>(item.id));
    values.emplace_back(pstHandle<psObj>(value));
    others.put(item, value);
    expected += isMap() || !after.contains(item) ? 1 : 0;
    isMap() ? after.put(item, value) : static_cast<void>(after.add(item));
  }
  changeMany(after, others, true, [&] { return world_.append(keys, values) == expected; });
}

void KeyedDriver::lookUp() {
  const ItemKey item = anyItem();
  answers(model_.contains(item), false, [&] { return world_.contains(item); });
  answers(isMap() ? model_.valueOf(item) : model_.get(item), psId(), [&]() -> psId { return world_.get(item); });
  answers(model_.size(), -1, [&] { return world_.collection().size(); });
}

void KeyedDriver::walk() {
  const std::unique_ptr<psCollectionIterator> it(world_.collection().keyIterator());
  std::vector<ItemKey> items = inOrder();
  std::vector<psId> ids;
  for (const ItemKey& item : items) ids.push_back(item.id);
  IteratorWalk walk(*it, ids, *this);
  walk.leavesEmptyStart = leavesEmptyStart();
  const bool forward = below(2) == 0;
  if (!forward) walk.jump();
  for (int move = below(60); move > 0 && !testing::Test::HasFailure(); --move) {
    const int kind = below(16);
    SCOPED_TRACE("move of kind " + std::to_string(kind) + " from " + std::to_string(walk.at) + " of " +
                 std::to_string(walk.size()));
    if (kind == 0) {
      seek(*it, walk);
    } else if (kind == 1) {
      walk.jump();
    } else if (kind <= 4) {
      if (const int removed = walk.remove(); removed >= 0) {
        model_.remove(items[static_cast<std::size_t>(removed)]);
        items.erase(items.begin() + removed);
      }
    } else if (kind == 5) {
      ASSERT_EQ(it->set(anyItem().id), 0);
    } else {
      walk.step(forward == (kind <= 13));
    }
    walk.verify();
    const ItemKey here = walk.isOnElement() ? items[static_cast<std::size_t>(walk.at)] : ItemKey();
    ASSERT_EQ(it->currentValue(), isMap() && walk.isOnElement() ? model_.valueOf(here) : here.id);
  }
}

void KeyedDriver::seek(psCollectionIterator& it, IteratorWalk& walk) {
  const ItemKey item = anyItem();
  const std::vector<ItemKey> items = inOrder();
  const psId found = model_.get(item);
  const auto place = std::find_if(items.begin(), items.end(), [&](const ItemKey& other) { return other.id == found; });
  seek(it, walk, found.isNull() ? placeOfMiss(item, walk) : static_cast<int>(place - items.begin()), !found.isNull(),
       [&] { return world_.goTo(it, item); });
}

void KeyedDriver::seek(psCollectionIterator& it, IteratorWalk& walk, int place, bool isFound,
                       const std::function<bool()>& act) {
  const bool isThere = happens(isFound, act);
  walk.at = place;
  if (isThere || !wasRefused()) return;
  const bool isNowhere = it.current(pscNoLock).isNull() && !it.hasNext() && !it.hasPrevious() && it.remove() == 0;
  // A checked build opens more, to check what a search has found: what is refused then takes nothing back.
  if (ps::detail::isChecked && !isFound && !isNowhere) return;
  ASSERT_TRUE(isNowhere);
  walk.jump();
}

void KeyedDriver::changeMany(const SetModel& after, const SetModel& others, bool expected,
                             const std::function<bool()>& act) {
  happens(expected, act);
  if (!wasRefused()) {
    model_ = after;
    return;
  }
  SetModel actual(model_.byNumber());
  const std::unique_ptr<psCollectionIterator> it(world_.collection().keyIterator());
  while (it->hasNext()) {
    const pstHandle<Item> object(it->next(pscNoLock));
    const ItemKey key = {object.oid(), object.open(pscRead) == 1 ? object->number() : -1};
    const psId value = isMap() ? it->currentValue().oid() : psId();
    ASSERT_TRUE(model_.contains(key) || after.contains(key)) << key.number << " has come from nowhere";
    const psId before = (model_.contains(key) ? model_ : after).valueOf(key);
    bool isRight = value == before || (after.contains(key) && value == after.valueOf(key)) ||
                   (value.isNull() && !before.isValid());  // what does not exist any more is forgotten
    for (const SetModel::Pair& pair : others.pairs()) isRight |= pair.key.number == key.number && pair.value == value;
    ASSERT_TRUE(isRight) << key.number << " has a wrong value";
    actual.add(key, value);
  }
  for (const SetModel::Pair& pair : model_.pairs()) {
    ASSERT_TRUE(!after.contains(pair.key) || actual.get(pair.key) == pair.key.id) << pair.key.number << " is lost";
  }
  model_ = actual;
}

void KeyedDriver::clear() {
  const SetModel none(model_.byNumber());
  changeMany(none, none, true, [this] { return world_.collection().clear(), true; });
  verify();
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

// A collection of any kind with some of the items, which goes by identifier.
pstHandle<psCollection> KeyedDriver::makeOther(SetModel& others) {
  const pstHandle<psContObj> place = world_.store.container("others");
  enum { treeSet, treeMap, hashSet, hashMap, list };
  const int kind = below(5);
  pstHandle<psCollection> other;
  if (kind == treeSet) other = pstHandle<psCollection>(new (place) psTreeSet(4));
  if (kind == treeMap) other = pstHandle<psCollection>(new (place) psTreeMap(4));
  if (kind == hashSet) other = pstHandle<psCollection>(new (place) psHashSet(3, 1));
  if (kind == hashMap) other = pstHandle<psCollection>(new (place) psHashMap(3, 2));
  if (kind == list) other = pstHandle<psCollection>(new (place) psTreeList(4));
  for (int i = below(25); i > 0; --i) {
    const pstHandle<psObj> key(anyItem().id);
    const ItemKey item{key.oid(), pstHandle<Item>(key)->number()};
    const bool isNew = !others.contains(item);
    const psId value = kind == treeMap || kind == hashMap ? anyValue() : psId();
    others.put(item, value);
    if (kind == treeMap) {
      EXPECT_EQ(pstHandle<psTreeMap>(other)->put(key, value), 1);
    } else if (kind == hashMap) {
      EXPECT_TRUE(pstHandle<psHashMap>(other)->put(key, value));
    } else if (isNew || kind == list) {
      EXPECT_TRUE(other->add(key));
    }
  }
  return other;
}

// The operations with another collection, whatever this one goes by.
void KeyedDriver::combine() {
  psCollection& collection = world_.collection();
  pstHandle<psCollection> self(collection.psOid());
  SetModel others(false);
  pstHandle<psCollection> other = makeOther(others);
  SetModel after = model_;
  bool expected = true;
  std::function<bool()> act;
  switch (below(4)) {
    case 0:
      for (const ItemKey& item : others.list()) expected = expected && model_.contains(item);
      act = [&] { return collection.containsAll(other); };
      break;
    case 1: {
      // Of two elements that are equal the one that comes first stays, with the value of the last.
      const std::unique_ptr<psCollectionIterator> it(other->keyIterator());
      while (it->hasNext()) {
        const pstHandle<Item> element(it->next(pscNoLock));
        const ItemKey item{element.oid(), element->number()};
        isMap() ? after.put(item, others.valueOf(item)) : static_cast<void>(after.add(item));
      }
      expected = isMap() ? others.size() > 0 : after.size() != model_.size();
      act = [&] { return collection.addAll(other); };
      break;
    }
    case 2:
      expected = false;
      for (const ItemKey& item : others.list()) {
        expected |= after.contains(item) && reportsRemovalOf(after.valueOf(item));
        after.remove(item);
      }
      act = [&] { return collection.removeAll(other); };
      break;
    default:
      for (const ItemKey& item : model_.list()) {
        if (!others.contains(item)) after.remove(item);
      }
      expected = after.size() != model_.size();
      act = [&] { return collection.retainAll(other); };
  }
  changeMany(after, others, expected, act);
  ASSERT_EQ(collection.addAll(self), isMap() && model_.size() > 0);
  ASSERT_TRUE(collection.containsAll(self));
  verify();
  ASSERT_EQ(psDelete(other), 1);
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void KeyedDriver::forgetDeleted() {
  std::vector<ItemKey*> items;
  std::vector<psId*> values;
  for (int i = below(5); i > 0; --i) {
    items.push_back(&anyItem());
    if (isMap()) values.push_back(&anyOf(values_));
  }
  const auto destroy = [](const psId& id) {
    pstHandle<psObj> object(id);
    if (object.isValid()) psDelete(object);
  };
  for (const ItemKey* item : items) destroy(item->id);
  for (const psId* value : values) destroy(*value);
  SetModel after = model_;
  after.forgetDeleted();
  const auto act = [this] { return world_.collection().removeAllDeleted(), true; };
  // Only by identifier can those be told apart that are left.
  if (!model_.byNumber()) changeMany(after, SetModel(false), true, act);
  act();
  model_ = after;
  for (ItemKey* item : items) {
    if (!item->id.isValid()) *item = world_.newItem(item->number);
  }
  for (psId* value : values) {
    if (!value->isValid()) *value = world_.newValue(0);
  }
  verify();
}

// An element that moves gets a new identifier, and with it a new place where that is what the collection goes by.
void KeyedDriver::moveElement() {
  if (model_.size() == 0) return;
  const int i = below(model_.size());
  const std::vector<ItemKey> items = inOrder();
  const ItemKey old = items[static_cast<std::size_t>(i)];
  const std::unique_ptr<psCollectionIterator> it(world_.collection().keyIterator());
  it->goToIndex(i, pscNoLock);
  betweenPositionAndMove();
  const char* const places[] = {"items", "moved", "moved further"};
  const pstHandle<psContObj> place = world_.store.container(places[below(3)]);
  const bool isMoved = happens(true, [&] { return it->moveCurrentTo(place) == 1; });
  ASSERT_EQ(old.id.isValid(), !isMoved);
  if (!isMoved) return;

  const auto isOld = [&old](const ItemKey& item) { return item.id == old.id; };
  ItemKey& moved = *std::find_if(pool_.begin(), pool_.end(), isOld);
  const psId value = model_.valueOf(old);
  model_.remove(old);
  const std::unique_ptr<psCollectionIterator> seeker(world_.collection().keyIterator());
  while (seeker->hasNext()) {
    const pstHandle<Item> item(seeker->next(pscNoLock));
    if (item.open(pscRead) == 1 && item->number() == old.number && model_.get({item.oid(), old.number}).isNull()) {
      moved.id = item.oid();
    }
  }
  ASSERT_NE(moved.id, old.id);
  model_.add(moved, value);
  verifyMove(*it, i, items, moved);
  verify();
}

// Whatever has changed, and through commits and aborts, what an iterator delivers is in the collection, and it goes
// where it is told.
void KeyedDriver::goOn() {
  const Reports mistakes;
  if (kept_ == nullptr || !kept_->hasNext()) kept_.reset(world_.collection().keyIterator());
  const std::vector<ItemKey> items = model_.list();
  for (int steps = below(4); steps > 0; --steps) {
    const psId here = below(3) == 0 ? kept_->previous(pscNoLock) : kept_->next(pscNoLock);
    const auto item = std::find_if(items.begin(), items.end(), [&](const ItemKey& other) { return other.id == here; });
    ASSERT_TRUE(here.isNull() || item != items.end());
    ASSERT_EQ(kept_->currentValue(), isMap() && !here.isNull() ? model_.valueOf(*item) : here);
  }
  const psId here = kept_->current(pscNoLock);
  if (below(8) > 0 || here.isNull()) return;
  const ItemKey item{here, pstHandle<Item>(here)->number()};
  ASSERT_TRUE(kept_->goTo(pstHandle<psObj>(here)));
  ASSERT_EQ(kept_->current(pscNoLock), here);
  ASSERT_EQ(kept_->remove(), 1);
  model_.remove(item);
}

void KeyedDriver::put() {
  const ItemKey item = anyItem();
  const psId value = anyValue();
  if (happens(true, [&] { return world_.bind(item, value); })) model_.put(item, value);
  ASSERT_EQ(world_.get(item), model_.valueOf(item));
}

// What is set, cleared or moved is the value alone.
void KeyedDriver::walkValues() {
  const std::unique_ptr<psCollectionIterator> it(world_.collection().valueIterator());
  const std::vector<ItemKey> keys = inOrder();
  std::vector<psId> values;
  for (const ItemKey& key : keys) values.push_back(model_.valueOf(key));
  IteratorWalk walk(*it, values, *this);
  walk.leavesEmptyStart = leavesEmptyStart();
  const bool forward = below(3) != 0;
  if (!forward) walk.jump();
  for (int move = below(40); move > 0 && !testing::Test::HasFailure(); --move) {
    const int kind = below(16);
    SCOPED_TRACE("move of kind " + std::to_string(kind) + " from " + std::to_string(walk.at) + " of " +
                 std::to_string(walk.size()));
    if (kind == 0) {
      seekValue(*it, walk);
    } else if (kind == 1) {
      walk.jump();
    } else if (kind <= 4) {
      psId value = kind == 2 ? psId() : anyValue();
      const pstHandle<psContObj> place = world_.store.container("moved");
      const bool exists = walk.here().isValid();
      const bool isChanged = happens(kind == 4 ? exists : walk.isOnElement(), [&] {
        return (kind == 2 ? it->remove() : kind == 3 ? it->set(value) : it->moveCurrentTo(place)) == 1;
      });
      if (kind == 4) {
        ASSERT_EQ(walk.here().isValid(), exists && !isChanged);
        value = it->current(pscNoLock);
        ASSERT_TRUE(!isChanged || value.isValid());
        std::replace(values_.begin(), values_.end(), walk.here(), value);
      }
      if (isChanged) {
        walk.elements[static_cast<std::size_t>(walk.at)] = value;
        model_.put(keys[static_cast<std::size_t>(walk.at)], value);
      }
    } else {
      walk.step(forward == (kind <= 13));
      if (walk.at == walk.size() && losesItsPlaceAtTheEnd()) break;
    }
    walk.verify();
  }
  verify();
  if (walk.at != walk.size() || walk.size() == 0 || !losesItsPlaceAtTheEnd()) return;
  while (it->hasNext()) it->next(pscNoLock);
  ASSERT_TRUE(it->next(pscNoLock).isNull() && it->previous(pscNoLock).isNull() && it->current(pscNoLock).isNull());
  ASSERT_FALSE(it->hasNext() || it->hasPrevious() || it->remove() == 1 || it->set(anyValue()) == 1);
}

void KeyedDriver::lookForValue() {
  const psId value = seesBeyondNullValues() ? anyValue() : anyOf(values_);
  bool isThere = false;
  for (const SetModel::Pair& pair : model_.pairs()) {
    if (pair.value.isNull() && !seesBeyondNullValues()) break;
    isThere |= pair.value == value;
  }
  answers(isThere, false, [&] { return world_.containsValue(value); });
}

}  // namespace ps::test
