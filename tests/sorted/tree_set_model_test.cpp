#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "support/SetWorld.h"

namespace ps::test {
namespace {

struct Setup {
  Flavour flavour;
  bool byNumber;
  int capacity;
  TempStore::Place place;
  int items;
  int steps;
  int reopenEvery;  // steps; 0 never
  int abortEvery;   // transactions; 0 never
};

// Drives a set and its model side by side, at random.
class SetDriver {
 public:
  SetDriver(const Setup& setup, std::uint64_t seed);
  void run();

 private:
  using Action = void (SetDriver::*)();
  struct Choice {
    const char* name;
    Action action;
    int growing;  // weights while the set is to grow, and while it is to shrink
    int shrinking;
  };
  static const std::vector<Choice> choices;

  const Choice& choose();
  void verify();
  void endTransaction();
  void reopen();

  void add();
  void remove();
  void lookUp();
  void walk();
  void removeEnds();
  void compact();
  void clear();
  void combine();
  void forgetDeleted();
  void moveElement();

  int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
  ItemKey& anyItem() { return pool_[static_cast<std::size_t>(below(static_cast<int>(pool_.size())))]; }
  psLockMode anyLock() { return below(3) == 0 ? pscLockUpdate : pscNoLock; }

  Setup setup_;
  std::mt19937_64 random_;
  SetWorld world_;
  SetModel& model_ = world_.model;
  std::vector<ItemKey> pool_;  // all items that exist; numbers occur twice
  SetModel committedModel_;
  std::vector<ItemKey> committedPool_;
  int transactions_ = 0;
  bool growing_ = true;
};

const std::vector<SetDriver::Choice> SetDriver::choices = {
    {"add", &SetDriver::add, 50, 15},
    {"remove", &SetDriver::remove, 15, 50},
    {"look up", &SetDriver::lookUp, 20, 20},
    {"walk", &SetDriver::walk, 3, 5},
    {"remove the ends", &SetDriver::removeEnds, 1, 4},
    {"clear", &SetDriver::clear, 0, 1},
    {"combine", &SetDriver::combine, 2, 2},
    {"forget deleted", &SetDriver::forgetDeleted, 1, 1},
    {"move an element", &SetDriver::moveElement, 1, 1},
    {"compact", &SetDriver::compact, 1, 2},
};

SetDriver::SetDriver(const Setup& setup, std::uint64_t seed)
    : setup_(setup),
      random_(seed),
      world_(setup.place, setup.flavour, setup.byNumber, setup.capacity),
      committedModel_(setup.byNumber) {
  for (int i = 0; i < setup.items; ++i) pool_.push_back(world_.newItem(i / 2));
  endTransaction();
}

void SetDriver::run() {
  for (int step = 1; step <= setup_.steps && !testing::Test::HasFailure(); ++step) {
    if (step % 300 == 0) growing_ = !growing_;
    const Choice& choice = choose();
    SCOPED_TRACE("step " + std::to_string(step) + ": " + choice.name);
    (this->*choice.action)();
    if (step % 10 == 0) verify();
    if (step % 40 == 0) endTransaction();
    if (setup_.reopenEvery > 0 && step % setup_.reopenEvery == 0) reopen();
  }
  if (testing::Test::HasFailure()) return;
  clear();
}

const SetDriver::Choice& SetDriver::choose() {
  std::vector<int> weights;
  for (const Choice& choice : choices) weights.push_back(growing_ ? choice.growing : choice.shrinking);
  return choices[std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random_)];
}

void SetDriver::verify() {
  ASSERT_EQ(world_.complaints(), "");
  const std::vector<ItemKey> list = model_.list();
  ASSERT_EQ(world_.set->isEmpty(), list.empty());
  ASSERT_EQ(world_.set->first(), list.empty() ? psId() : list.front().id);
  ASSERT_EQ(world_.set->last(), list.empty() ? psId() : list.back().id);
}

void SetDriver::endTransaction() {
  if (setup_.abortEvery > 0 && ++transactions_ % setup_.abortEvery == 0) {
    ASSERT_EQ(world_.store->abort(), 1);
    model_ = committedModel_;
    pool_ = committedPool_;
  } else {
    ASSERT_EQ(orphansOf(world_.store.session()), "");
    ASSERT_EQ(world_.store->commit(), 1) << world_.store->lastError();
    committedModel_ = model_;
    committedPool_ = pool_;
  }
  ASSERT_EQ(world_.store->begin(pscUpdate), 1) << world_.store->lastError();
  verify();
}

// Another process finds all that was committed, and so does this one.
void SetDriver::reopen() {
  model_ = committedModel_;
  pool_ = committedPool_;
  ASSERT_EQ(world_.store.inChild([this](psSession& session) {
    return complaintsAbout(storedSet(session), model_, world_.keyed) + orphansOf(session);
  }),
            "");
  ASSERT_EQ(world_.store->begin(pscUpdate), 1) << world_.store->lastError();
  world_.find();
  verify();
}

void SetDriver::add() {
  const ItemKey item = anyItem();
  ASSERT_EQ(world_.keyed.add(*world_.set, item), model_.add(item));
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
  ASSERT_EQ(world_.keyed.get(set, item), model_.get(item));

  const std::vector<ItemKey> list = model_.list();
  const int i = below(model_.size() + 3) - 1;
  ASSERT_EQ(set.get(i), i >= 0 && i < model_.size() ? list[static_cast<std::size_t>(i)].id : psId()) << i;
  ASSERT_EQ(set.indexOf(element, i), present && i <= rank ? rank : -1) << i << " of " << model_.size();
  ASSERT_EQ(set.lastIndexOf(element, i), present && rank <= i ? rank : -1) << i << " of " << model_.size();
  ASSERT_EQ(set.lastIndexOf(element), present ? rank : -1);
}

// An iterator does what a position in a list would do: -1 before the first element, size after the last.
void SetDriver::walk() {
  const std::unique_ptr<psCollectionIterator> owner(world_.set->iterator());
  psCollectionIterator& it = *owner;
  std::vector<ItemKey> list = model_.list();
  int at = -1;
  const auto here = [&] {
    return at >= 0 && at < static_cast<int>(list.size()) ? list[static_cast<std::size_t>(at)].id : psId();
  };
  const bool forward = below(2) == 0;
  if (!forward) {
    at = model_.size();
    it.goToIndex(at, pscNoLock);
  }
  for (int move = below(60); move > 0 && !testing::Test::HasFailure(); --move) {
    const int n = static_cast<int>(list.size());
    const int kind = below(16);
    SCOPED_TRACE("move of kind " + std::to_string(kind) + " from " + std::to_string(at) + " of " + std::to_string(n));
    if (kind == 0) {
      const ItemKey item = anyItem();
      ASSERT_EQ(world_.keyed.goTo(it, item), model_.contains(item));
      if (n > 0) at = model_.rank(item) - (model_.contains(item) ? 0 : 1);
    } else if (kind == 1) {
      at = std::min(below(n + 3) - 1, n);
      ASSERT_EQ(it.goToIndex(at, anyLock()), here());
    } else if (kind <= 4) {
      const bool within = at >= 0 && at < n;
      ASSERT_EQ(it.remove(), within ? 1 : 0);
      if (within) {
        model_.remove(list[static_cast<std::size_t>(at)]);
        list.erase(list.begin() + at--);
      }
    } else if (kind == 5) {
      ASSERT_EQ(it.set(anyItem().id), 0);
    } else if (forward == (kind <= 13)) {
      ASSERT_EQ(it.hasNext(), at + 1 < n);
      if (n > 0) at = std::min(at + 1, n);
      ASSERT_EQ(it.next(anyLock()), here());
    } else {
      ASSERT_EQ(it.hasPrevious(), at > 0);
      if (n > 0) at = std::max(at - 1, -1);
      ASSERT_EQ(it.previous(anyLock()), here());
    }
    if (kind != 0) {
      ASSERT_EQ(it.current(pscNoLock), here());
      ASSERT_EQ(*it.currentP(anyLock()), here());
    }
    if (below(2) == 0) {
      ASSERT_EQ(it.currentIndex(), at);
    }
  }
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

// Packed from the left: no more leaves than the elements need.
void SetDriver::compact() {
  world_.set->compact();
  verify();
  int leaves = 0;
  for (pstHandle<psBTree> leaf(world_.set->atFirst()); !leaf.isNull(); leaf = leaf->next()) ++leaves;
  const int full = world_.set->maxNumberOfChildren();
  ASSERT_EQ(leaves, std::max(1, (model_.size() + full - 1) / full));
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void SetDriver::clear() {
  world_.set->clear();
  model_ = SetModel(setup_.byNumber);
  verify();
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

// The operations with another collection, which goes by identifier whatever this one goes by.
void SetDriver::combine() {
  psTreeSet& set = *world_.set;
  pstHandle<psTreeSet> other(new (world_.store.container("others")) psTreeSet(4 + below(4)));
  SetModel others(false);
  for (int i = below(25); i > 0; --i) {
    const ItemKey item = anyItem();
    ASSERT_EQ(other->add(item.id), others.add(item));
  }
  const int before = model_.size();
  bool holdsAll = true;
  switch (below(4)) {
    case 0:
      for (const ItemKey& item : others.list()) holdsAll = holdsAll && model_.contains(item);
      ASSERT_EQ(set.containsAll(other), holdsAll);
      break;
    case 1:
      for (const ItemKey& item : others.list()) model_.add(item);
      ASSERT_EQ(set.addAll(other), model_.size() != before);
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
  ASSERT_FALSE(set.addAll(world_.set));
  ASSERT_TRUE(set.containsAll(world_.set));
  verify();
  ASSERT_EQ(psDelete(other), 1);
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void SetDriver::forgetDeleted() {
  for (int i = below(5); i > 0; --i) {
    ItemKey& item = anyItem();
    if (model_.get(item) == item.id) model_.remove(item);
    pstHandle<psObj> object(item.id);
    ASSERT_EQ(psDelete(object), 1);
    world_.set->removeAllDeleted();
    item = world_.newItem(item.number);
  }
  verify();
}

// An element that moves gets a new identifier, and with it a new place where that is what the order goes by.
void SetDriver::moveElement() {
  if (model_.size() == 0) return;
  const int i = below(model_.size());
  const ItemKey old = model_.list()[static_cast<std::size_t>(i)];
  const std::unique_ptr<psCollectionIterator> it(world_.set->iterator());
  it->goToIndex(i, pscNoLock);
  ASSERT_EQ(it->moveCurrentTo(world_.store.container("moved")), 1) << world_.store->lastError();
  ASSERT_FALSE(old.id.isValid());

  const auto isOld = [&old](const ItemKey& item) { return item.id == old.id; };
  ItemKey& moved = *std::find_if(pool_.begin(), pool_.end(), isOld);
  model_.remove(old);
  const std::unique_ptr<psCollectionIterator> seeker(world_.set->iterator());
  while (seeker->hasNext()) {
    const pstHandle<Item> item(seeker->next(pscNoLock));
    if (item.open(pscRead) == 1 && item->number() == old.number && model_.get({item.oid(), old.number}).isNull()) {
      moved.id = item.oid();
    }
  }
  ASSERT_NE(moved.id, old.id);
  model_.add(moved);
  if (setup_.byNumber) {
    ASSERT_EQ(it->current(pscNoLock), moved.id);
  }
  verify();
}

class TreeSetModel : public testing::TestWithParam<Setup> {};

std::string nameOfSetup(const testing::TestParamInfo<Setup>& info) {
  const Setup& setup = info.param;
  return std::string(nameOf(setup.flavour)) + (setup.byNumber ? "ByNumber" : "ByIdentifier") + "Capacity" +
         std::to_string(setup.capacity) + (setup.place == TempStore::Place::file ? "InFile" : "InMemory") +
         (setup.abortEvery > 0 ? "WithAborts" : "");
}

TEST_P(TreeSetModel, DoesWhatAStandardSetWouldDo) {
  const std::uint64_t seed = seedOr(static_cast<std::uint64_t>(GetParam().capacity) * 7919 + GetParam().items);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  SetDriver(GetParam(), seed).run();
}

constexpr TempStore::Place memory = TempStore::Place::memory;
constexpr TempStore::Place file = TempStore::Place::file;

INSTANTIATE_TEST_SUITE_P(, TreeSetModel,
                         testing::Values(Setup{Flavour::handle, true, 4, memory, 200, 3000, 0, 3},
                                         Setup{Flavour::raw, true, 5, memory, 200, 3000, 0, 0},
                                         Setup{Flavour::callback, true, 6, memory, 300, 3000, 0, 4},
                                         Setup{Flavour::handle, false, 4, file, 150, 2000, 400, 3},
                                         Setup{Flavour::callback, false, 7, memory, 300, 3000, 0, 0},
                                         Setup{Flavour::raw, true, 4, file, 150, 2000, 250, 0},
                                         Setup{Flavour::callback, false, 5, file, 150, 2000, 400, 2},
                                         Setup{Flavour::handle, true, 200, file, 1500, 3000, 600, 5}),
                         nameOfSetup);

}  // namespace
}  // namespace ps::test
