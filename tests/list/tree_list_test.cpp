#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "list/psTreeListIterator.h"
#include "list/psTreeListNode.h"
#include "support/ListWorld.h"

namespace ps::test {
namespace {

using Sizes = std::vector<int>;

Sizes leafSizes(const psTreeList& list) {
  Sizes sizes;
  int before = 0;
  for (pstHandle<psBTree> leaf(list.atFirst()); !leaf.isNull();) {
    leaf = leaf->next();
    const int upToHere = leaf.isNull() ? list.size() : list.treeIndex(leaf);
    sizes.push_back(upToHere - before);
    before = upToHere;
  }
  return sizes;
}

// Puts n elements, each at the position that the rule gives for the list's present size.
template <class Rule>
Sizes sizesAfter(ListWorld& world, int capacity, int n, Rule put) {
  const pstHandle<psTreeList> list(new (world.store.container("lists")) psTreeList(capacity));
  for (int i = 0; i < n; ++i) EXPECT_EQ(put(*list, pstHandle<psObj>(world.newItem(i)), i), 1);
  return leafSizes(*list);
}

TEST(TreeList, SplitsWhereTheInsertionTellsIt) {
  struct Case {
    int capacity;
    int count;
    Sizes appended, prepended, inInTheMiddle;
  };
  const Case cases[] = {
      {4, 5, {3, 2}, {3, 2}, {3, 2}},
      {4, 8, {3, 3, 2}, {3, 3, 2}, {2, 4, 2}},
      {5, 6, {4, 2}, {3, 3}, {3, 3}},
      {7, 20, {6, 6, 6, 2}, {3, 6, 6, 5}, {3, 3, 6, 4, 4}},
  };
  ListWorld world(TempStore::Place::memory, 4);
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.count) + " with capacity " + std::to_string(c.capacity));
    using Element = const pstHandle<psObj>&;
    EXPECT_EQ(sizesAfter(world, c.capacity, c.count, [](psTreeList& l, Element e, int) { return l.addLast(e); }),
              c.appended);
    EXPECT_EQ(sizesAfter(world, c.capacity, c.count, [](psTreeList& l, Element e, int) { return l.addFirst(e); }),
              c.prepended);
    EXPECT_EQ(sizesAfter(world, c.capacity, c.count, [](psTreeList& l, Element e, int n) { return l.add(n / 2, e); }),
              c.inInTheMiddle);
  }
}

TEST(TreeList, ChangesNothingInAReadTransactionAndSaysSo) {
  ListWorld world(TempStore::Place::memory, 4);
  world.fill(14);
  const psId item = world.newItem(100);
  pstHandle<psCollection> other(new (world.store.container("lists")) psTreeList(4));
  other->add(item);
  ASSERT_EQ(world.store->commit(), 1);
  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  psTreeList& list = *world.list;
  EXPECT_FALSE(list.add(item) || list.addAll(other) || list.removeAll(world.list) || list.retainAll(other));
  EXPECT_EQ(list.add(3, item) + list.addAll(3, other) + list.addFirst(item) + list.addLast(item), 0);
  EXPECT_EQ(list.set(3, item) + list.removeRange(0, 13) + list.removeRange(13, 13), 0);
  EXPECT_FALSE(list.remove(world.model[5]));
  list.clear();
  list.compact();
  list.removeFirst();
  const std::unique_ptr<psCollectionIterator> it(list.iterator());
  EXPECT_EQ(it->goToIndex(6, pscLockUpdate), psId()) << "it must not go where it cannot lock";
  EXPECT_EQ(it->goToIndex(6, pscNoLock), world.model[6]);
  EXPECT_EQ(it->remove() + it->set(item) + it->moveCurrentTo(world.list), 0);
  EXPECT_EQ(world.complaints(), "");
}

// An abort restores what was opened for update, and nothing else.
TEST(TreeList, AnIteratorOpensWhatItChanges) {
  ListWorld world(TempStore::Place::memory, 4);
  world.fill(14);
  const psId item = world.newItem(100);
  ASSERT_EQ(world.store->commit(), 1);
  for (const bool moves : {true, false}) {
    ASSERT_EQ(world.store->begin(pscUpdate), 1);
    world.find();
    const std::unique_ptr<psCollectionIterator> it(world.list->iterator());
    it->goToIndex(6, pscNoLock);
    ASSERT_EQ(moves ? it->moveCurrentTo(world.store.container("moved")) : it->set(item), 1);
    ASSERT_EQ(world.store->abort(), 1);
    ASSERT_EQ(world.store->begin(pscRead), 1);
    world.find();
    ASSERT_EQ(world.complaints(), "");
    ASSERT_EQ(world.store->commit(), 1);
  }
}

// What an operation opens says what it costs, on any machine.
TEST(TreeList, StepsAndPositionsOpenLittle) {
  ListWorld world(TempStore::Place::memory, 20);
  world.fill(3000);
  const psTreeList& list = *world.list;
  const auto opens = [&](const auto& act) {
    const std::uint64_t before = world.store->counters().opens;
    act();
    return static_cast<int>(world.store->counters().opens - before);
  };
  const int leaves = static_cast<int>(leafSizes(list).size());
  const int depth = list.depth();
  ASSERT_EQ(depth, 3);
  const pstHandle<psObj> item(world.model[7]);
  EXPECT_LE(opens([&] { world.list->addLast(item); }), 8 * depth);
  EXPECT_LE(opens([&] { world.list->addFirst(item); }), 8 * depth);
  world.model.push_back(item.oid());
  world.model.insert(world.model.begin(), item.oid());
  EXPECT_LE(opens([&] { EXPECT_EQ(list.get(2999), world.model[2999]); }), 6 * depth);
  EXPECT_LE(opens([&] { EXPECT_EQ(list.size(), 3002); }), 6);
  EXPECT_LE(opens([&] { EXPECT_EQ(world.list->add(1500, item), 1); }), 12 * depth);
  EXPECT_EQ(world.list->removeRange(1500, 1500), 1);
  EXPECT_LE(opens([&] { EXPECT_EQ(list.lastIndexOf(item), 3001); }), 12 * leaves);
  EXPECT_LE(opens([&] { EXPECT_EQ(list.indexOf(item, 1), 8); }), 8 * depth);

  const std::unique_ptr<psCollectionIterator> it(list.iterator());
  EXPECT_LE(opens([&] {
              for (const psId& element : world.model) ASSERT_EQ(it->next(pscNoLock), element);
            }),
            12 * leaves);
  pstHandle<psCollection> many(world.list);
  pstHandle<psTreeList> other(new (world.store.container("lists")) psTreeList(8));
  for (int i = 0; i < 10; ++i) other->addLast(item);
  EXPECT_LE(opens([&] { EXPECT_EQ(other->addAll(5, many), 1); }), 40 * 3002) << "each insertion must not start anew";
}

}  // namespace
}  // namespace ps::test
