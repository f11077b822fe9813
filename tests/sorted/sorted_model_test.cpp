#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/ModelDriver.h"
#include "support/SetWorld.h"

namespace ps::test {
namespace {

struct Setup {
  Kind kind;
  Flavour flavour;
  bool byNumber;
  int capacity;
  int items;
  RunPlan plan;
};

// Drives a set, or a map, which is a set of its keys.
class SetDriver final : public ModelDriver {
 public:
  SetDriver(const Setup& setup, std::uint64_t seed);

 private:
  TempStore& store() override { return world_.store; }
  const std::vector<Choice>& choices() const override { return choices_; }
  void verify() override;
  std::string complaintsIn(psSession& session) const override {
    return complaintsAbout(storedSet(session), model_, world_.keyed);
  }
  void find() override { world_.find(); }
  void keepModel() override;
  void restoreModel() override;
  void clear() override;

  void add();
  void remove();
  void lookUp();
  void walk();
  void seek(psCollectionIterator& it, IteratorWalk& walk);
  void removeEnds();
  void compact();
  void combine();
  void forgetDeleted();
  void moveElement();
  void put();
  void walkValues();
  void lookForValue();

  bool isMap() const { return world_.kind == Kind::map; }
  template <class T>
  T& anyOf(std::vector<T>& pool) {
    return pool[static_cast<std::size_t>(below(static_cast<int>(pool.size())))];
  }
  ItemKey& anyItem() { return anyOf(pool_); }
  // Null at times, and always for a set.
  psId anyValue() { return below(6) == 0 ? psId() : anyOf(values_); }
  std::vector<psId> keysOfModel() const;
  std::vector<psId> valuesOfModel() const;

  SetWorld world_;
  SetModel& model_ = world_.model;
  std::vector<ItemKey> pool_;  // all items that exist; numbers occur twice
  std::vector<psId> values_;   // objects that can be values
  SetModel committedModel_;
  std::vector<ItemKey> committedPool_;
  std::vector<psId> committedValues_;
  std::vector<Choice> choices_ = {
      {"add", [this] { add(); }, 50, 15},
      {"remove", [this] { remove(); }, 15, 50},
      {"look up", [this] { lookUp(); }, 20, 20},
      {"walk", [this] { walk(); }, 3, 5},
      {"remove the ends", [this] { removeEnds(); }, 1, 4},
      {"clear", [this] { clear(); }, 0, 1},
      {"combine", [this] { combine(); }, 2, 2},
      {"forget deleted", [this] { forgetDeleted(); }, 1, 1},
      {"move an element", [this] { moveElement(); }, 3, 6},
      {"compact", [this] { compact(); }, 1, 2},
  };
};

SetDriver::SetDriver(const Setup& setup, std::uint64_t seed)
    : ModelDriver(setup.plan, seed),
      world_(setup.plan.place, setup.flavour, setup.byNumber, setup.capacity, setup.kind),
      committedModel_(setup.byNumber) {
  for (int i = 0; i < setup.items; ++i) pool_.push_back(world_.newItem(i / 2));
  for (int i = 0; i < 20; ++i) values_.push_back(world_.newValue(i));
  if (!isMap()) return;
  choices_.push_back({"put", [this] { put(); }, 60, 15});
  choices_.push_back({"walk over values", [this] { walkValues(); }, 3, 5});
  choices_.push_back({"look for a value", [this] { lookForValue(); }, 3, 3});
}

std::vector<psId> SetDriver::keysOfModel() const {
  std::vector<psId> keys;
  for (const ItemKey& item : model_.list()) keys.push_back(item.id);
  return keys;
}

std::vector<psId> SetDriver::valuesOfModel() const {
  std::vector<psId> values;
  for (const SetModel::Pair& pair : model_.pairs()) values.push_back(pair.value);
  return values;
}

void SetDriver::verify() {
  ASSERT_EQ(world_.complaints(), "");
  const std::vector<ItemKey> list = model_.list();
  ASSERT_EQ(world_.set->isEmpty(), list.empty());
  ASSERT_EQ(world_.set->first(), list.empty() ? psId() : list.front().id);
  ASSERT_EQ(world_.set->last(), list.empty() ? psId() : list.back().id);
}

void SetDriver::keepModel() {
  committedModel_ = model_;
  committedPool_ = pool_;
  committedValues_ = values_;
}

void SetDriver::restoreModel() {
  model_ = committedModel_;
  pool_ = committedPool_;
  values_ = committedValues_;
}

void SetDriver::add() {
  const ItemKey item = anyItem();
  const bool isNew = !model_.contains(item);
  if (isMap()) {
    ASSERT_TRUE(world_.set->add(pstHandle<psObj>(item.id)));
    model_.put(item, psId());
  } else {
    ASSERT_EQ(world_.keyed.add(*world_.set, item), isNew);
    model_.add(item);
  }
  ASSERT_TRUE(world_.keyed.contains(*world_.set, item));
}

void SetDriver::remove() {
  const std::vector<ItemKey> list = model_.list();
  const ItemKey item = list.empty() || below(3) == 0 ? anyItem() : list[static_cast<std::size_t>(below(model_.size()))];
  ASSERT_EQ(world_.keyed.remove(*world_.set, item), model_.remove(item));
  ASSERT_FALSE(world_.keyed.contains(*world_.set, item));
}

void SetDriver::lookUp() {
  const psTreeSet& set = *world_.set;
  const ItemKey item = anyItem();
  const pstHandle<psObj> element(item.id);
  const bool present = model_.contains(item);
  const int rank = model_.rank(item);
  ASSERT_EQ(world_.keyed.contains(set, item), present);
  ASSERT_EQ(world_.keyed.get(set, item), isMap() ? model_.valueOf(item) : model_.get(item));

  const std::vector<ItemKey> list = model_.list();
  const int i = below(model_.size() + 3) - 1;
  ASSERT_EQ(set.get(i), i >= 0 && i < model_.size() ? list[static_cast<std::size_t>(i)].id : psId()) << i;
  ASSERT_EQ(set.indexOf(element, i), present && i <= rank ? rank : -1) << i << " of " << model_.size();
  ASSERT_EQ(set.lastIndexOf(element, i), present && rank <= i ? rank : -1) << i << " of " << model_.size();
  ASSERT_EQ(set.lastIndexOf(element), present ? rank : -1);
}

void SetDriver::walk() {
  const std::unique_ptr<psCollectionIterator> it(world_.set->iterator());
  IteratorWalk walk(*it, keysOfModel(), random());
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
      const std::vector<ItemKey> list = model_.list();
      if (const int removed = walk.remove(); removed >= 0) model_.remove(list[static_cast<std::size_t>(removed)]);
    } else if (kind == 5) {
      ASSERT_EQ(it->set(anyItem().id), 0);
    } else {
      walk.step(forward == (kind <= 13));
    }
    walk.verify();
    const std::vector<psId> values = isMap() ? valuesOfModel() : keysOfModel();
    ASSERT_EQ(it->currentValue(), walk.isOnElement() ? values[static_cast<std::size_t>(walk.at)] : psId());
  }
}

void SetDriver::seek(psCollectionIterator& it, IteratorWalk& walk) {
  const ItemKey item = anyItem();
  ASSERT_EQ(world_.keyed.goTo(it, item), model_.contains(item));
  if (walk.size() > 0) walk.at = model_.rank(item) - (model_.contains(item) ? 0 : 1);
}

void SetDriver::removeEnds() {
  const std::vector<ItemKey> list = model_.list();
  if (!list.empty()) {
    model_.remove(list.front());
    model_.remove(list.back());
  }
  world_.set->removeFirst();
  world_.set->removeLast();
  verify();
}

void SetDriver::compact() {
  world_.set->compact();
  verify();
  ASSERT_EQ(slackOf(world_.set), "");
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void SetDriver::clear() {
  world_.set->clear();
  model_ = SetModel(world_.keyed.byNumber());
  verify();
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

// The operations with another collection, which goes by identifier whatever this one goes by.
void SetDriver::combine() {
  psTreeSet& set = *world_.set;
  const Kind kindOfOther = below(2) == 0 ? Kind::set : Kind::map;
  const pstHandle<psContObj> place = world_.store.container("others");
  pstHandle<psTreeSet> other;
  const int capacity = 4 + below(4);
  if (kindOfOther == Kind::map) {
    other = pstHandle<psTreeSet>(new (place) psTreeMap(capacity));
  } else {
    other = pstHandle<psTreeSet>(new (place) psTreeSet(capacity));
  }
  SetModel others(false);
  for (int i = below(25); i > 0; --i) {
    const ItemKey item = anyItem();
    const psId value = kindOfOther == Kind::map ? anyValue() : psId();
    others.put(item, value);
    if (kindOfOther == Kind::map) {
      ASSERT_EQ(static_cast<psTreeMap&>(*other).put(item.id, value), 1);
    } else {
      other->add(item.id);
    }
  }
  const int before = model_.size();
  bool holdsAll = true;
  switch (below(4)) {
    case 0:
      for (const ItemKey& item : others.list()) holdsAll = holdsAll && model_.contains(item);
      ASSERT_EQ(set.containsAll(other), holdsAll);
      break;
    case 1:
      for (const SetModel::Pair& pair : others.pairs()) {
        isMap() ? model_.put(pair.key, pair.value) : static_cast<void>(model_.add(pair.key));
      }
      ASSERT_EQ(set.addAll(other), isMap() ? others.size() > 0 : model_.size() != before);
      break;
    case 2:
      for (const ItemKey& item : others.list()) model_.remove(item);
      ASSERT_EQ(set.removeAll(other), model_.size() != before);
      break;
    default:
      for (const ItemKey& item : model_.list()) {
        if (!others.contains(item)) model_.remove(item);
      }
      ASSERT_EQ(set.retainAll(other), model_.size() != before);
  }
  ASSERT_EQ(set.addAll(world_.set), isMap() && model_.size() > 0);
  ASSERT_TRUE(set.containsAll(world_.set));
  verify();
  ASSERT_EQ(psDelete(other), 1);
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void SetDriver::forgetDeleted() {
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
  model_.forgetDeleted();
  world_.set->removeAllDeleted();
  for (ItemKey* item : items) {
    if (!item->id.isValid()) *item = world_.newItem(item->number);
  }
  for (psId* value : values) {
    if (!value->isValid()) *value = world_.newValue(0);
  }
  verify();
}

// An element that moves gets a new identifier, and with it a new place where that is what the order goes by.
void SetDriver::moveElement() {
  if (model_.size() == 0) return;
  const int i = below(model_.size());
  const ItemKey old = model_.list()[static_cast<std::size_t>(i)];
  const ItemKey before = i > 0 ? model_.list()[static_cast<std::size_t>(i - 1)] : ItemKey();
  const std::unique_ptr<psCollectionIterator> it(world_.set->iterator());
  it->goToIndex(i, pscNoLock);
  const char* const places[] = {"items", "moved", "moved further"};
  ASSERT_EQ(it->moveCurrentTo(world_.store.container(places[below(3)])), 1) << world_.store->lastError();
  ASSERT_FALSE(old.id.isValid());

  const auto isOld = [&old](const ItemKey& item) { return item.id == old.id; };
  ItemKey& moved = *std::find_if(pool_.begin(), pool_.end(), isOld);
  const psId value = model_.valueOf(old);
  model_.remove(old);
  const std::unique_ptr<psCollectionIterator> seeker(world_.set->iterator());
  while (seeker->hasNext()) {
    const pstHandle<Item> item(seeker->next(pscNoLock));
    if (item.open(pscRead) == 1 && item->number() == old.number && model_.get({item.oid(), old.number}).isNull()) {
      moved.id = item.oid();
    }
  }
  ASSERT_NE(moved.id, old.id);
  model_.add(moved, value);
  if (world_.keyed.byNumber()) {
    ASSERT_EQ(it->current(pscNoLock), moved.id);
  } else {
    const int back = i > 0 ? model_.rank(before) : -1;
    ASSERT_EQ(it->currentIndex(), back);
    ASSERT_EQ(it->next(pscNoLock),
              back + 1 < model_.size() ? model_.list()[static_cast<std::size_t>(back + 1)].id : psId());
  }
  verify();
}

void SetDriver::put() {
  const ItemKey item = anyItem();
  const psId value = anyValue();
  ASSERT_TRUE(world_.keyed.put(world_.map(), item, value));
  model_.put(item, value);
  ASSERT_EQ(world_.keyed.get(*world_.set, item), value);
}

// What is set, cleared or moved is the value alone.
void SetDriver::walkValues() {
  const std::unique_ptr<psCollectionIterator> it(world_.set->valueIterator());
  const std::vector<ItemKey> keys = model_.list();
  IteratorWalk walk(*it, valuesOfModel(), random());
  const bool forward = below(3) != 0;
  if (!forward) walk.jump();
  for (int move = below(40); move > 0 && !testing::Test::HasFailure(); --move) {
    const int kind = below(16);
    SCOPED_TRACE("move of kind " + std::to_string(kind) + " from " + std::to_string(walk.at) + " of " +
                 std::to_string(walk.size()));
    if (kind == 0) {
      seek(*it, walk);
    } else if (kind == 1) {
      walk.jump();
    } else if (kind <= 4) {
      psId value = kind == 2 ? psId() : anyValue();
      int result = walk.isOnElement() ? 1 : 0;
      if (kind == 4) {
        result = walk.here().isValid() ? 1 : 0;
        ASSERT_EQ(it->moveCurrentTo(world_.store.container("moved")), result);
        value = it->current(pscNoLock);
        ASSERT_TRUE(result == 0 || (value.isValid() && !walk.here().isValid()));
        std::replace(values_.begin(), values_.end(), walk.here(), value);
      } else {
        ASSERT_EQ(kind == 2 ? it->remove() : it->set(value), result);
      }
      if (result == 1) {
        walk.elements[static_cast<std::size_t>(walk.at)] = value;
        model_.put(keys[static_cast<std::size_t>(walk.at)], value);
      }
    } else {
      walk.step(forward == (kind <= 13));
      if (walk.at == walk.size() && walk.size() > 0) break;
    }
    walk.verify();
  }
  verify();
  if (walk.at != walk.size() || walk.size() == 0) return;
  while (it->hasNext()) it->next(pscNoLock);
  ASSERT_TRUE(it->next(pscNoLock).isNull() && it->previous(pscNoLock).isNull() && it->current(pscNoLock).isNull());
  ASSERT_FALSE(it->hasNext() || it->hasPrevious() || it->remove() == 1 || it->set(anyValue()) == 1);
}

void SetDriver::lookForValue() {
  const psId value = anyOf(values_);
  const std::vector<psId> values = valuesOfModel();
  const auto null = std::find(values.begin(), values.end(), psId());
  ASSERT_EQ(world_.map().containsValue(pstHandle<psObj>(value)), std::find(values.begin(), null, value) != null);
}

class SortedModel : public testing::TestWithParam<Setup> {};

std::string nameOfSetup(const testing::TestParamInfo<Setup>& info) {
  const Setup& setup = info.param;
  return std::string(nameOf(setup.flavour)) + nameOf(setup.kind) + (setup.byNumber ? "ByNumber" : "ByIdentifier") +
         "Capacity" + std::to_string(setup.capacity) +
         (setup.plan.place == TempStore::Place::file ? "InFile" : "InMemory") +
         (setup.plan.abortEvery > 0 ? "WithAborts" : "");
}

TEST_P(SortedModel, DoesWhatAStandardSetOrMapWouldDo) {
  const std::uint64_t seed = seedOr(static_cast<std::uint64_t>(GetParam().capacity) * 7919 + GetParam().items);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  SetDriver(GetParam(), seed).run();
}

constexpr TempStore::Place memory = TempStore::Place::memory;
constexpr TempStore::Place file = TempStore::Place::file;

INSTANTIATE_TEST_SUITE_P(, SortedModel,
                         testing::Values(Setup{Kind::set, Flavour::handle, true, 4, 200, {memory, 3000, 0, 3}},
                                         Setup{Kind::set, Flavour::raw, true, 5, 200, {memory, 3000, 0, 0}},
                                         Setup{Kind::set, Flavour::callback, true, 6, 300, {memory, 3000, 0, 4}},
                                         Setup{Kind::set, Flavour::handle, false, 4, 150, {file, 2000, 400, 3}},
                                         Setup{Kind::set, Flavour::callback, false, 7, 300, {memory, 3000, 0, 0}},
                                         Setup{Kind::set, Flavour::raw, true, 4, 150, {file, 2000, 250, 0}},
                                         Setup{Kind::set, Flavour::callback, false, 5, 150, {file, 2000, 400, 2}},
                                         Setup{Kind::set, Flavour::handle, true, 200, 1500, {file, 3000, 600, 5}},
                                         Setup{Kind::map, Flavour::handle, true, 4, 200, {memory, 3000, 0, 3}},
                                         Setup{Kind::map, Flavour::raw, true, 5, 200, {memory, 3000, 0, 0}},
                                         Setup{Kind::map, Flavour::callback, true, 6, 300, {memory, 3000, 0, 4}},
                                         Setup{Kind::map, Flavour::handle, false, 4, 150, {file, 2000, 400, 3}},
                                         Setup{Kind::map, Flavour::callback, false, 7, 300, {memory, 3000, 0, 0}},
                                         Setup{Kind::map, Flavour::handle, true, 200, 1500, {file, 3000, 600, 5}}),
                         nameOfSetup);

}  // namespace
}  // namespace ps::test
