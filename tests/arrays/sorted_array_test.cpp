#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "arrays/ArrayView.h"
#include "arrays/psSortedArray.h"
#include "support/Item.h"
#include "support/JavaKey.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

thread_local std::int64_t wanted = 0;

int compareWithWanted(unsigned int high, unsigned int low) { return compareWithNumber(idOf(high, low), wanted); }

class PsSortedArray : public testing::Test {
 protected:
  PsSortedArray() {
    EXPECT_EQ(store.session().begin(pscUpdate), 1);
    place = store.container("c");
    comparator = pstHandle<psCompare>(new (place) ItemCompare);
  }

  int add(psSortedArray& array, const ItemKey& item, bool byJava) {
    if (!byJava || !whyNoJava().empty()) return array.add(item.id, comparator, 1);
    JavaKey java(item, true);
    return array.add(item.id, java.key, java.callee, java.env, 1);
  }

  // Replaces an element by one that may stand in its place, or changes the capacity.
  void changeOtherwise(psSortedArray& array, std::vector<ItemKey>& model, std::mt19937_64& random) {
    const std::size_t i = random() % model.size();
    const std::int64_t next = i + 1 < model.size() ? model[i + 1].number : model[i].number;
    const ItemKey item = makeItem(place, next);
    const int way = static_cast<int>(random() % 4);
    if (way == 0) array[static_cast<int>(i)] = item.id;
    if (way == 1) array.atPut(static_cast<int>(i), item.id);
    if (way < 2) model[i] = item;
    if (way == 2 && random() % 4 == 0) array.resize(array.size() + 4), array.resize(array.size() - 4);
  }

  TempStore store{TempStore::Place::memory};
  pstHandle<psContObj> place;
  pstHandle<psCompare> comparator;
  pstHandle<psCompare> none;
};

// Equal numbers occur: a new one goes in front of its equals, and a search finds the first.
TEST_F(PsSortedArray, KeepsOrderAndFindsTheFirstThatIsNotLess) {
  const std::uint64_t seed = seedOr(32);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  std::mt19937_64 random(seed);
  for (int round = 0; round < 60; ++round) {
    ItemCompare::abbreviateAnyhow(static_cast<unsigned>(round));
    const pstHandle<psSortedArray> array(new (place) psSortedArray(20));
    std::vector<ItemKey> model;
    for (int n = 0; n <= 20; ++n) {
      for (std::int64_t number = -1; number <= 9; ++number) {
        const auto less = [](const ItemKey& item, std::int64_t key) { return item.number < key; };
        const auto at = std::lower_bound(model.begin(), model.end(), number, less);
        const int expected = static_cast<int>(at - model.begin());
        const ItemKey key = makeItem(place, number);
        wanted = number;
        ASSERT_EQ(array->binarySearch(pstHandle<psObj>(key.id), comparator, 1), expected);
        ASSERT_EQ(array->binarySearch(&key.number, comparator, 1), expected);
        ASSERT_EQ(array->binarySearch(compareWithWanted, 1), expected);
        if (!whyNoJava().empty()) continue;
        JavaKey java(key, true);
        ASSERT_EQ(array->binarySearch(java.key, java.callee, java.env, 1), expected);
      }
      if (n == 20) break;
      const ItemKey item = makeItem(place, std::uniform_int_distribution<int>(0, 8)(random));
      const auto less = [](const ItemKey& a, const ItemKey& b) { return a.number < b.number; };
      const auto at = std::lower_bound(model.begin(), model.end(), item, less);
      ASSERT_EQ(add(*array, item, round % 2 == 0), static_cast<int>(at - model.begin()));
      model.insert(at, item);
      const ps::detail::ArrayView view(*array);
      for (std::size_t i = 0; i < model.size(); ++i) ASSERT_EQ(view[static_cast<int>(i)], model[i].id);
      changeOtherwise(*array, model, random);
    }
    ASSERT_EQ(array->add(makeItem(place, 1).id, comparator, 1), -1) << "it is full";
  }
}

TEST_F(PsSortedArray, GoesByIdentifierWithoutAComparator) {
  const pstHandle<psSortedArray> array(new (place) psSortedArray(4));
  const psId low(1, 1, 2, 9);
  const psId high(1, 1, 3, 1);
  EXPECT_EQ(array->binarySearch(pstHandle<psObj>(low), none, 1), 0);
  EXPECT_EQ(array->add(high, none, 1), 0);
  EXPECT_EQ(array->add(low, none, 1), 0);
  EXPECT_EQ(array->binarySearch(pstHandle<psObj>(high), none, 1), 1);
  EXPECT_EQ(array->binarySearch(pstHandle<psObj>(psId(2, 0, 0, 0)), none, 1), 2);
  EXPECT_EQ(array->binarySearch(static_cast<const void*>(&high), none, 1), 0) << "a raw key needs a comparator";
}

// [10, 20, 30] and 25, with one open refused: 25 must not end up in front.
TEST_F(PsSortedArray, AnAddThatCouldNotSearchAddsNothing) {
  const pstHandle<psSortedArray> array(new (place) psSortedArray(8));
  for (const int number : {10, 20, 30}) ASSERT_GE(array->add(makeItem(place, number).id, comparator, 1), 0);
  const psId element = makeItem(place, 25).id;
  for (std::uint64_t k = 1;; ++k) {
    comparator.close();
    const Refuse refuse(store.session(), k);
    const int position = array->add(element, comparator, 1);
    if (!refuse.bit()) {
      ASSERT_GT(k, 3U);
      EXPECT_EQ(position, 2);
      break;
    }
    ASSERT_EQ(position, -1) << k;
    ASSERT_EQ(array->find(element), -1);
    ASSERT_EQ(array->usedSize(), 3);
  }
  comparator.close();
  const Refuse refuse(store.session(), 1);
  EXPECT_EQ(array->binarySearch(pstHandle<psObj>(element), comparator, 1), 0) << "the comparator is refused";
}

}  // namespace
}  // namespace ps::test
