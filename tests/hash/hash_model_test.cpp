#include <gtest/gtest.h>

#include <algorithm>

#include "support/HashWorld.h"
#include "support/KeyedDriver.h"

namespace ps::test {
namespace {

struct Setup {
  Kind kind;
  Flavour flavour;
  Hashing hashing;
  int slots;
  int items;
  RunPlan plan;
};

// Adds what only hash collections do.
class HashDriver final : public KeyedDriver {
 public:
  HashDriver(HashWorld& world, const Setup& setup, std::uint64_t seed);

 private:
  std::vector<ItemKey> inOrder() const override { return table_.inOrder(); }
  int placeOfMiss(const ItemKey&, const IteratorWalk& walk) const override { return walk.size(); }
  void seekValue(psCollectionIterator& it, IteratorWalk& walk) override;
  void verifyMove(psCollectionIterator& it, int i, const std::vector<ItemKey>& orderBefore,
                  const ItemKey& moved) override;
  bool losesItsPlaceAtTheEnd() const override { return false; }
  bool seesBeyondNullValues() const override { return true; }
  bool leavesEmptyStart() const override { return true; }
  bool reportsRemovalOf(const psId& value) const override { return !isMap() || !value.isNull(); }

  void lookUpEntry();
  void unbind();
  void expand();
  void rehash();
  // An iterator finds its element after the directory has doubled.
  void betweenPositionAndMove() override {
    if (below(3) == 0) expand();
  }

  HashWorld& table_;
};

HashDriver::HashDriver(HashWorld& world, const Setup& setup, std::uint64_t seed)
    : KeyedDriver(world, setup.plan, setup.items, seed), table_(world) {
  choices_.push_back({"place by hash", [this] { rehash(); }, 3, 3});
  choices_.push_back({"double the directory", [this] { expand(); }, 1, 0});
  if (!isMap()) return;
  choices_.push_back({"look up an entry", [this] { lookUpEntry(); }, 5, 5});
  choices_.push_back({"unbind", [this] { unbind(); }, 5, 10});
}

void HashDriver::seekValue(psCollectionIterator& it, IteratorWalk& walk) {
  const psId value = anyValue();
  const auto found = std::find(walk.elements.begin(), walk.elements.end(), value);
  seek(it, walk, static_cast<int>(found - walk.elements.begin()), found != walk.elements.end(),
       [&] { return it.goTo(pstHandle<psObj>(value)); });
}

// An element that keeps its slot stays. One that goes elsewhere leaves the iterator on the element before it, or on
// itself if it went directly after that. A split on the way changes the order.
void HashDriver::verifyMove(psCollectionIterator& it, int i, const std::vector<ItemKey>& orderBefore,
                            const ItemKey& moved) {
  const auto idsBut = [](const std::vector<ItemKey>& list, const psId& left) {
    std::vector<psId> ids;
    for (const ItemKey& item : list) {
      if (item.id != left) ids.push_back(item.id);
    }
    return ids;
  };
  const psId here = it.current(pscNoLock);
  const std::vector<ItemKey> items = inOrder();
  const std::vector<psId> others = idsBut(orderBefore, orderBefore[static_cast<std::size_t>(i)].id);
  if (idsBut(items, moved.id) == others) {
    ASSERT_TRUE(here == moved.id || here == (i > 0 ? others[static_cast<std::size_t>(i - 1)] : psId()));
  }
  const auto place = std::find_if(items.begin(), items.end(), [&](const ItemKey& item) { return item.id == here; });
  ASSERT_EQ(it.currentIndex(), here.isNull() ? -1 : static_cast<int>(place - items.begin()));
}

void HashDriver::lookUpEntry() {
  const ItemKey item = anyItem();
  const psHashMap& map = table_.map();
  pstHandle<psHashMapEntry> entry;
  happens(model_.contains(item), [&] { return !(entry = map.entry(pstHandle<psObj>(item.id))).isNull(); });
  answers(model_.contains(item), false, [&] { return map.containsKey(pstHandle<psObj>(item.id)); });
  if (entry.isNull()) return;
  ASSERT_EQ(entry->key(), model_.get(item));
  ASSERT_EQ(entry->value(), model_.valueOf(item));
  ASSERT_TRUE(map.contains(entry)) << "an entry stands for its key";
}

void HashDriver::unbind() {
  const ItemKey item = anyItem();
  const psId value = model_.valueOf(item);
  psId old;
  const auto act = [&] { return !(old = table_.map().unbind(pstHandle<psObj>(item.id))).isNull(); };
  const bool tells = value.isNull() ? act() : happens(true, act);
  ASSERT_EQ(old, tells ? value : psId());
  if (value.isNull() || tells) model_.remove(item);
  ASSERT_EQ(table_.contains(item), model_.contains(item));
}

void HashDriver::expand() {
  const std::string before = statisticsOf(*table_.set);
  const bool expands = std::stoi(before.substr(before.find(':') + 1)) < 12;
  if (!expands) return;
  happens(true, [this] { return table_.set->expandDirectory(); });
  verify();
}

// rehash does not look for the element first, and does not split the bucket.
void HashDriver::rehash() {
  const ItemKey item = anyItem();
  if (model_.contains(item)) return;
  const std::uint32_t hash = table_.hashOf(item);
  const psId value = anyValue();
  pstHandle<psObj> placed(item.id);
  if (isMap()) {
    placed = pstHandle<psObj>(new (table_.store.container("entries"))
                                  psHashMapEntry(pstRef<psObj>(item.id), pstRef<psObj>(value)));
  }
  const auto act = [&] { return table_.set->rehash(placed, hash); };
  if (isMap()) {
    ASSERT_TRUE(act());
    ASSERT_FALSE(placed.isValid()) << "it is another object in the bucket's container";
    model_.put(item, value);
  } else if (happens(true, act)) {
    model_.add(item);
  }
  ASSERT_EQ(table_.contains(item), model_.contains(item));
}

class HashModel : public testing::TestWithParam<Setup> {};

std::string nameOfSetup(const testing::TestParamInfo<Setup>& info) {
  const Setup& setup = info.param;
  return std::string(nameOf(setup.flavour)) + nameOf(setup.kind) + "By" + nameOf(setup.hashing) + "Slots" +
         std::to_string(setup.slots) + (setup.plan.place == TempStore::Place::file ? "InFile" : "InMemory") +
         (setup.plan.abortEvery > 0 ? "WithAborts" : "") + (setup.plan.refuses ? "Refused" : "");
}

TEST_P(HashModel, DoesWhatAStandardSetOrMapWouldDo) {
  const auto& setup = GetParam();
  if (setup.flavour == Flavour::java && !whyNoJava().empty()) GTEST_SKIP() << whyNoJava();
  const std::uint64_t seed = seedOr(static_cast<std::uint64_t>(setup.slots) * 7919 + setup.items);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  HashWorld world(setup.plan.place, setup.flavour, setup.hashing, setup.slots, setup.kind, 1 + setup.items % 5);
  HashDriver(world, setup, seed).run();
}

constexpr TempStore::Place memory = TempStore::Place::memory;
constexpr TempStore::Place file = TempStore::Place::file;

INSTANTIATE_TEST_SUITE_P(
    , HashModel,
    testing::Values(Setup{Kind::set, Flavour::handle, Hashing::identifier, 3, 80, {memory, 2000, 0, 3, true}},
                    Setup{Kind::set, Flavour::handle, Hashing::content, 5, 80, {memory, 2000, 0, 0, true}},
                    Setup{Kind::set, Flavour::raw, Hashing::content, 1, 100, {memory, 1500, 0, 4}},
                    Setup{Kind::set, Flavour::callback, Hashing::identifier, 5, 300, {memory, 2000, 0, 0}},
                    Setup{Kind::set, Flavour::callback, Hashing::fewValues, 3, 60, {memory, 1500, 0, 3, true}},
                    Setup{Kind::set, Flavour::handle, Hashing::constant, 5, 80, {file, 1500, 400, 3}},
                    Setup{Kind::set, Flavour::raw, Hashing::topBits, 3, 150, {memory, 1500, 0, 0}},
                    Setup{Kind::set, Flavour::handle, Hashing::content, 101, 1500, {file, 2000, 600, 5}},
                    Setup{Kind::set, Flavour::java, Hashing::content, 3, 80, {memory, 1500, 0, 3, true}},
                    Setup{Kind::set, Flavour::java, Hashing::identifier, 5, 200, {memory, 1500, 0, 0}},
                    Setup{Kind::map, Flavour::java, Hashing::content, 5, 80, {memory, 1500, 0, 3, true}},
                    Setup{Kind::map, Flavour::java, Hashing::identifier, 1, 120, {file, 1500, 400, 0}},
                    Setup{Kind::map, Flavour::java, Hashing::fewValues, 3, 100, {memory, 1500, 0, 3}},
                    Setup{Kind::map, Flavour::handle, Hashing::identifier, 5, 80, {memory, 2000, 0, 3, true}},
                    Setup{Kind::map, Flavour::callback, Hashing::content, 3, 80, {memory, 1500, 0, 3, true}},
                    Setup{Kind::map, Flavour::raw, Hashing::content, 5, 300, {memory, 2000, 0, 0}},
                    Setup{Kind::map, Flavour::handle, Hashing::lowBits, 1, 60, {memory, 1500, 0, 3, true}},
                    Setup{Kind::map, Flavour::callback, Hashing::identifier, 1, 120, {memory, 1500, 0, 0}},
                    Setup{Kind::map, Flavour::raw, Hashing::fewValues, 5, 100, {file, 1500, 400, 3}},
                    Setup{Kind::map, Flavour::handle, Hashing::topBits, 101, 1500, {file, 2000, 600, 5}}),
    nameOfSetup);

}  // namespace
}  // namespace ps::test
