#include <gtest/gtest.h>

#include "support/KeyedDriver.h"
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

// Adds what only sorted collections do: they keep an order, tell positions and can be compacted.
class SetDriver final : public KeyedDriver {
 public:
  SetDriver(SetWorld& world, const Setup& setup, std::uint64_t seed);

 private:
  void verify() override;
  std::vector<ItemKey> inOrder() const override { return model_.list(); }
  int placeOfMiss(const ItemKey& item, const IteratorWalk& walk) const override {
    return walk.size() > 0 ? model_.rank(item) - 1 : walk.at;
  }
  void seekValue(psCollectionIterator& it, IteratorWalk& walk) override { seek(it, walk); }
  void verifyMove(psCollectionIterator& it, int i, const std::vector<ItemKey>& orderBefore,
                  const ItemKey& moved) override;
  bool losesItsPlaceAtTheEnd() const override { return true; }
  bool seesBeyondNullValues() const override { return false; }

  void lookUpPositions();
  void removeEnds();
  void compact();

  psTreeSet& set() { return *sorted_.set; }

  SetWorld& sorted_;
};

SetDriver::SetDriver(SetWorld& world, const Setup& setup, std::uint64_t seed)
    : KeyedDriver(world, setup.plan, setup.items, seed), sorted_(world) {
  choices_.push_back({"look up positions", [this] { lookUpPositions(); }, 10, 10});
  choices_.push_back({"remove the ends", [this] { removeEnds(); }, 1, 4});
  choices_.push_back({"compact", [this] { compact(); }, 1, 2});
}

void SetDriver::verify() {
  KeyedDriver::verify();
  const std::vector<ItemKey> list = model_.list();
  ASSERT_EQ(set().first(), list.empty() ? psId() : list.front().id);
  ASSERT_EQ(set().last(), list.empty() ? psId() : list.back().id);
}

void SetDriver::lookUpPositions() {
  const ItemKey item = anyItem();
  const pstHandle<psObj> element(item.id);
  const bool present = model_.contains(item);
  const int rank = model_.rank(item);
  const std::vector<ItemKey> list = model_.list();
  const int i = below(model_.size() + 3) - 1;
  const psId there = i >= 0 && i < model_.size() ? list[static_cast<std::size_t>(i)].id : psId();
  answers(there, psId(), [&]() -> psId { return set().get(i); });
  answers(list.empty() ? psId() : list.front().id, psId(), [&]() -> psId { return set().first(); });
  answers(present && i <= rank ? rank : -1, -1, [&] { return set().indexOf(element, i); });
  answers(present && rank <= i ? rank : -1, -1, [&] { return set().lastIndexOf(element, i); });
  answers(present ? rank : -1, -1, [&] { return set().lastIndexOf(element); });
}

void SetDriver::removeEnds() {
  const std::vector<ItemKey> list = model_.list();
  if (!list.empty()) {
    model_.remove(list.front());
    model_.remove(list.back());
  }
  set().removeFirst();
  set().removeLast();
  verify();
}

void SetDriver::compact() {
  happens(true, [this] { return set().compact(), true; });
  verify();
  if (wasRefused()) set().compact();
  verify();
  ASSERT_EQ(slackOf(sorted_.set), "");
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void SetDriver::verifyMove(psCollectionIterator& it, int i, const std::vector<ItemKey>& orderBefore,
                           const ItemKey& moved) {
  if (model_.byNumber()) {
    ASSERT_EQ(it.current(pscNoLock), moved.id);
    return;
  }
  const int back = i > 0 ? model_.rank(orderBefore[static_cast<std::size_t>(i - 1)]) : -1;
  ASSERT_EQ(it.currentIndex(), back);
  ASSERT_EQ(it.next(pscNoLock),
            back + 1 < model_.size() ? model_.list()[static_cast<std::size_t>(back + 1)].id : psId());
}

class SortedModel : public testing::TestWithParam<Setup> {};

std::string nameOfSetup(const testing::TestParamInfo<Setup>& info) {
  const Setup& setup = info.param;
  return std::string(nameOf(setup.flavour)) + nameOf(setup.kind) + (setup.byNumber ? "ByNumber" : "ByIdentifier") +
         "Capacity" + std::to_string(setup.capacity) +
         (setup.plan.place == TempStore::Place::file ? "InFile" : "InMemory") +
         (setup.plan.abortEvery > 0 ? "WithAborts" : "") + (setup.plan.refuses ? "Refused" : "");
}

TEST_P(SortedModel, DoesWhatAStandardSetOrMapWouldDo) {
  const auto& setup = GetParam();
  if (setup.flavour == Flavour::java && !whyNoJava().empty()) GTEST_SKIP() << whyNoJava();
  const std::uint64_t seed = seedOr(static_cast<std::uint64_t>(setup.capacity) * 7919 + setup.items);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  SetWorld world(setup.plan.place, setup.flavour, setup.byNumber, setup.capacity, setup.kind);
  SetDriver(world, setup, seed).run();
}

constexpr TempStore::Place memory = TempStore::Place::memory;
constexpr TempStore::Place file = TempStore::Place::file;

INSTANTIATE_TEST_SUITE_P(, SortedModel,
                         testing::Values(Setup{Kind::set, Flavour::handle, true, 4, 80, {memory, 2000, 0, 3, true}},
                                         Setup{Kind::set, Flavour::raw, true, 5, 200, {memory, 2000, 0, 0}},
                                         Setup{Kind::set, Flavour::callback, true, 6, 80, {memory, 1500, 0, 4, true}},
                                         Setup{Kind::set, Flavour::handle, false, 4, 150, {file, 1500, 400, 3}},
                                         Setup{Kind::set, Flavour::callback, false, 7, 300, {memory, 2000, 0, 0}},
                                         Setup{Kind::set, Flavour::raw, true, 4, 150, {file, 1500, 250, 0}},
                                         Setup{Kind::set, Flavour::handle, true, 200, 1500, {file, 2000, 600, 5}},
                                         Setup{Kind::set, Flavour::java, false, 5, 80, {memory, 1500, 0, 3, true}},
                                         Setup{Kind::map, Flavour::java, true, 7, 300, {file, 1500, 400, 3}},
                                         Setup{Kind::map, Flavour::java, true, 4, 80, {memory, 1500, 0, 4, true}},
                                         Setup{Kind::map, Flavour::handle, true, 4, 80, {memory, 2000, 0, 3, true}},
                                         Setup{Kind::map, Flavour::raw, true, 5, 80, {memory, 1500, 0, 0, true}},
                                         Setup{Kind::map, Flavour::callback, true, 6, 300, {memory, 2000, 0, 4}},
                                         Setup{Kind::map, Flavour::handle, false, 4, 80, {memory, 2000, 0, 3, true}},
                                         Setup{Kind::map, Flavour::callback, false, 7, 300, {file, 1500, 400, 0}},
                                         Setup{Kind::map, Flavour::handle, true, 200, 1500, {file, 2000, 600, 5}}),
                         nameOfSetup);

}  // namespace
}  // namespace ps::test
