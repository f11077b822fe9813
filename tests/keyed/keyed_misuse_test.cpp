#include <gtest/gtest.h>

#include <memory>

#include "hash/psHashSet.h"
#include "sorted/psTreeSet.h"
#include "support/HashWorld.h"
#include "support/Reports.h"
#include "support/SetWorld.h"

// Mistakes in the use of collections, which a checked build reports.
namespace ps::test {

// Orders items in a way that is wrong as its number says.
class WaywardCompare : public psCompare {
  PS_PERSISTENT_CLASS(WaywardCompare, psCompare, 20105)

 public:
  enum Way : int { neverEqual, sameBothWays, equalByTens };
  explicit WaywardCompare(Way way) : way_(way) {}

  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override {
    const std::int64_t a = numberOf(element);
    const std::int64_t b = numberOf(other);
    if (way_ == equalByTens) return a / 10 < b / 10 ? -1 : a / 10 > b / 10 ? 1 : 0;
    return way_ == neverEqual && a <= b ? -1 : 1;
  }
  int hash(const pstHandle<psObj>& element) const override { return static_cast<int>(numberOf(element)); }

 private:
  static std::int64_t numberOf(const pstHandle<psObj>& item) { return static_cast<const Item&>(*item).number(); }

  int way_ = neverEqual;
};

PS_REGISTER_CLASS(WaywardCompare)

namespace {

class KeyedMisuse : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!ps::detail::isChecked) GTEST_SKIP() << "this build checks nothing";
  }

  Reports reports_;
};

TEST_F(KeyedMisuse, AnIteratorIsPositionedAnewAfterChangesByOthers) {
  constexpr TempStore::Place memory = TempStore::Place::memory;
  for (const bool isSorted : {true, false}) {
    std::unique_ptr<KeyedWorld> world;
    if (isSorted) world = std::make_unique<SetWorld>(memory, Flavour::handle, true, 4, Kind::map);
    if (!isSorted) world = std::make_unique<HashWorld>(memory, Flavour::handle, Hashing::content, 5, Kind::map, 2);
    for (int i = 0; i < 20; ++i) world->put(i);
    const std::unique_ptr<psCollectionIterator> it(world->collection().keyIterator());
    for (int i = 0; i < 8; ++i) {
      const pstHandle<Item> current(it->goToIndex(8, pscNoLock));
      const ItemKey key{current.oid(), current->number()};
      ASSERT_TRUE(world->remove(key));
      i % 2 == 0 ? static_cast<void>(it->next(pscNoLock)) : static_cast<void>(it->remove());
      Reports::expect("is used after its collection was changed, though not by the iterator");
      world->put(key);
    }
    it->goToIndex(3, pscNoLock);
    ASSERT_EQ(it->remove(), 1);
    ASSERT_FALSE(it->next(pscNoLock).isNull());
    ASSERT_EQ(it->moveCurrentTo(world->store.container("elsewhere")), 1);
    while (it->hasNext()) ASSERT_FALSE(it->next(pscNoLock).isNull());
    EXPECT_EQ(Reports::take(), "") << "the iterator's own changes";
  }
}

TEST_F(KeyedMisuse, ComparatorsThatContradictThemselvesAreReported) {
  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psContObj> in = store.container("sets");
  const auto add = [&](psCollection& set, std::int64_t number) { set.add(pstHandle<psObj>(makeItem(in, number).id)); };
  for (const WaywardCompare::Way way : {WaywardCompare::neverEqual, WaywardCompare::sameBothWays}) {
    pstHandle<psCompare> comparator(new (in) WaywardCompare(way));
    const pstHandle<psTreeSet> set(new (in) psTreeSet(comparator, 4));
    for (int i = 1; i <= 3; ++i) add(*set, i);
    const std::string all = Reports::take();
    EXPECT_EQ(all.find("orders") != std::string::npos, way == WaywardCompare::sameBothWays) << all;
    set->contains(set->first());
    Reports::expect("the comparator of class WaywardCompare orders object (");
  }
  pstHandle<psCompare> comparator(new (in) WaywardCompare(WaywardCompare::equalByTens));
  const pstHandle<psHashSet> set(new (in) psHashSet(comparator, 101, 1));
  for (const int number : {10, 20, 30, 21}) {
    EXPECT_EQ(Reports::take(), "");
    add(*set, number);
  }
  Reports::expect("equal elements must hash equal");
}

}  // namespace
}  // namespace ps::test
