#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "arrays/psUnsortedArray.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

using Model = std::vector<psId>;

// Identifiers stand for objects: an array never opens its elements.
psId object(int n) { return n == 0 ? psId() : psId(1, 1, 1, static_cast<unsigned short>(n)); }

void expectEqual(psUnsortedArray& array, const Model& model, int capacity) {
  const int used = static_cast<int>(model.size());
  ASSERT_EQ(array.size(), capacity);
  ASSERT_EQ(array.usedSize(), used);
  ASSERT_EQ(array.lastIndex(), used - 1);
  ASSERT_TRUE(array.isEmpty() == (used == 0) && array.notEmpty() == (used != 0));
  ASSERT_TRUE(array.isFull() == (used == capacity) && array.notFull() == (used != capacity));
  for (int i = 0; i < capacity; ++i) ASSERT_EQ(array[i], i < used ? model[static_cast<std::size_t>(i)] : psId()) << i;
  ASSERT_EQ(array.first(), used > 0 ? model.front() : psId());
  ASSERT_EQ(array.last(), used > 0 ? model.back() : psId());
}

void expectFound(const psUnsortedArray& array, const Model& model, const psId& wanted, int start) {
  const int used = static_cast<int>(model.size());
  int first = -1;
  int last = -1;
  int from = -1;
  int upTo = -1;
  for (int i = 0; i < used; ++i) {
    if (model[static_cast<std::size_t>(i)] != wanted) continue;
    if (first < 0) first = i;
    if (from < 0 && i >= start) from = i;
    if (i <= start) upTo = i;
    last = i;
  }
  ASSERT_EQ(array.find(wanted), first);
  ASSERT_EQ(array.contains(pstHandle<psObj>(wanted)), first >= 0);
  ASSERT_EQ(array.indexOf(wanted, start), from) << start;
  ASSERT_EQ(array.lastIndexOf(wanted, start), upTo) << start;
  ASSERT_EQ(array.lastIndexOf(wanted), last);
  ASSERT_EQ(array.after(wanted), first < used - 1 ? model[static_cast<std::size_t>(first + 1)] : psId());
  ASSERT_EQ(array.before(wanted), first >= 1 ? model[static_cast<std::size_t>(first - 1)] : psId());
  ASSERT_FALSE(array.contains(static_cast<const void*>(&wanted)));
}

// Every position and every fill, those that an array must refuse too.
void runAgainstModel(psUnsortedArray& array, int capacity, std::mt19937_64& random) {
  Model model;
  const auto below = [&random](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  for (int step = 0; step < 4000 && !testing::Test::HasFailure(); ++step) {
    const int used = static_cast<int>(model.size());
    const bool full = used == capacity;
    const psId element = object(below(6));
    pstHandle<psObj> handle(element);
    const int i = below(capacity + 4) - 2;
    const bool within = i >= 0 && i < used;
    const int kind = below(20);
    SCOPED_TRACE("step " + std::to_string(step) + " of kind " + std::to_string(kind) + " at " + std::to_string(i));
    if (kind < 3) {
      ASSERT_EQ(array.add(element), full ? used - 1 : used);
      if (!full) model.push_back(element);
    } else if (kind < 5) {
      ASSERT_EQ(kind == 3 ? array.addLast(handle) : array.addLast(pstRef<psObj>(element)), !full);
      if (!full) model.push_back(element);
    } else if (kind < 8) {
      ASSERT_EQ(array.atPut(i, element), i >= 0 && i < capacity ? 1 : 0);
      if (i >= used && i < capacity) model.resize(static_cast<std::size_t>(i) + 1);
      if (i >= 0 && i < capacity) model[static_cast<std::size_t>(i)] = element;
    } else if (kind < 12) {
      const bool fits = !full && i >= 0 && i <= used;
      ASSERT_EQ(array.insertBefore(handle, i), fits ? 1 : 0);
      if (fits) model.insert(model.begin() + i, element);
    } else if (kind < 14) {
      const auto found = std::find(model.begin(), model.end(), element);
      ASSERT_EQ(array.remove(handle), found != model.end());
      if (found != model.end()) model.erase(found);
    } else if (kind < 17) {
      ASSERT_EQ(array.removeIndex(i), within ? 1 : 0);
      if (within) model.erase(model.begin() + i);
    } else if (kind == 17) {
      array.removeFirst();
      if (used > 0) model.erase(model.begin());
    } else if (kind == 18) {
      array.removeLast();
      if (used > 0) model.pop_back();
    } else if (below(10) == 0) {
      array.removeAll();
      model.clear();
    } else {
      const int wish = std::min(i, 12);
      array.resize(wish);
      if (wish >= used) capacity = wish;
    }
    expectEqual(array, model, capacity);
    expectFound(array, model, object(below(6)), below(capacity + 3) - 1);
  }
}

TEST(PsUnsortedArray, DoesWhatAVectorOfFixedCapacityWouldDo) {
  const std::uint64_t seed = seedOr(31);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  std::mt19937_64 random(seed);
  psUnsortedArray transient(4);
  runAgainstModel(transient, 4, random);

  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psUnsortedArray> stored(new (store.container("arrays")) psUnsortedArray(7));
  runAgainstModel(*stored, 7, random);
}

// An array of 2,000 references does not lie on the page of the object that it belongs to. The count in the object must
// reach the store all the same when only the array was opened for update.
TEST(PsUnsortedArray, ChangesThroughAReadHandleReachTheStore) {
  TempStore store(TempStore::Place::file);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psContObj> container = store.container("arrays");
  pstHandle<psUnsortedArray> array(new (container) psUnsortedArray(2000));
  Model model;
  for (int i = 1; i <= 1000; ++i) {
    ASSERT_TRUE(array->addLast(pstRef<psObj>(object(i))));
    model.push_back(object(i));
  }
  ASSERT_EQ(store->name(array, container, "array"), 1);
  ASSERT_EQ(store->commit(), 1);

  int capacity = 2000;
  const auto change = [&](const auto& operation) {
    store.reopen();
    ASSERT_EQ(store->begin(pscUpdate), 1);
    ASSERT_EQ(array.lookupObj(store.container("arrays"), "array", pscRead), 1);
    operation();
    array.close();
    ASSERT_EQ(store->commit(), 1) << store->lastError();
    store.reopen();
    ASSERT_EQ(store->begin(pscRead), 1);
    ASSERT_EQ(array.lookupObj(store.container("arrays"), "array", pscRead), 1);
    expectEqual(*array, model, capacity);
    array.close();
  };
  change([&] {
    ASSERT_TRUE(array->addLast(pstRef<psObj>(object(1001))));
    model.push_back(object(1001));
  });
  change([&] {
    ASSERT_EQ(array->removeIndex(500), 1);
    model.erase(model.begin() + 500);
  });
  change([&] {
    array->resize(5000);
    capacity = 5000;
  });
}

TEST(PsUnsortedArray, RefusedChangesChangeNothing) {
  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psUnsortedArray> array(new (store.container("arrays")) psUnsortedArray(2000));
  const Model model = {object(1), object(2)};
  for (const psId& element : model) ASSERT_TRUE(array->addLast(pstRef<psObj>(element)));
  store->openGuard([](const psId&, psMode mode) { return mode != pscUpdate; });
  pstHandle<psObj> first(model.front());
  EXPECT_EQ(array->add(object(3)), 1);
  EXPECT_FALSE(array->addLast(first));
  EXPECT_EQ(array->atPut(0, object(3)), 0);
  EXPECT_EQ(array->insertBefore(first, 1), 0);
  EXPECT_EQ(array->removeIndex(0), 0);
  EXPECT_FALSE(array->remove(first));
  array->removeFirst();
  array->removeLast();
  array->removeAll();
  array->resize(10);
  store->openGuard(nullptr);
  expectEqual(*array, model, 2000);
}

}  // namespace
}  // namespace ps::test
