#include <gtest/gtest.h>

#include <memory>

#include "sorted/psTreeMapNode.h"
#include "support/SetWorld.h"

namespace ps::test {
namespace {

int comparisonWithFive(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return compareWithNumber(idOf(databaseAndContainer, pageAndSlot), 5);
}

// A map of so many pairs, with the keys 10, 20 and so on.
struct MapWorld : SetWorld {
  explicit MapWorld(int size) : SetWorld(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map) {
    for (int i = 1; i <= size; ++i) put(i * 10);
  }
};

// Used as a set, or as a tree, a map keeps each value with its key and leaves none over.
TEST(TreeMap, KeepsValuesInStepWhenUsedAsASet) {
  MapWorld world(20);
  psTreeSet& set = *world.set;
  const ItemKey five = world.newItem(5);
  EXPECT_TRUE(set.add(pstHandle<psObj>(five.id), comparisonWithFive));
  EXPECT_FALSE(set.add(pstHandle<psObj>(five.id), comparisonWithFive)) << "it is there";
  world.model.add(five);
  EXPECT_EQ(world.complaints(), "");
  EXPECT_EQ(world.map().put(five.id, five.id), 1);
  EXPECT_EQ(set.get(comparisonWithFive), five.id);
  EXPECT_TRUE(set.remove(comparisonWithFive));
  EXPECT_FALSE(set.remove(comparisonWithFive));
  world.model.remove(five);
  EXPECT_EQ(world.complaints(), "");

  // removeKeyValueAt leaves the leaf's lowest key to its caller.
  const pstHandle<psBTree> leaf(set.atFirst());
  const pstHandle<psObj> second(set.get(1));
  EXPECT_EQ(leaf->removeKeyValueAt(1), 1);
  EXPECT_EQ(leaf->removeKeyValueAt(4), 0);
  EXPECT_EQ(leaf->removeKeyValueAt(-1), 0);
  world.model.remove({second.oid(), 20});
  EXPECT_EQ(world.complaints(), "");

  const ItemKey last = world.model.list().back();
  EXPECT_FALSE(leaf->remove(pstHandle<psObj>(last.id))) << "it is not below this node";
  EXPECT_EQ(leaf->get(static_cast<const void*>(&last.number)), world.model.valueOf(last));
  EXPECT_TRUE(pstHandle<psBTree>(set.atLast())->remove(pstHandle<psObj>(last.id)));
  world.model.remove(last);
  const ItemKey added = world.newItem(7);
  EXPECT_TRUE(leaf->add(pstHandle<psObj>(added.id)));
  world.model.add(added);
  EXPECT_EQ(world.complaints(), "");
}

TEST(TreeMap, TheRootKeepsItsValuesArray) {
  MapWorld world(0);
  const pstRef<psUnsortedArray> values = world.map().values();
  EXPECT_EQ(values->size(), 4);
  for (int round = 0; round < 2; ++round) {
    for (int i = 1; i <= 40; ++i) {
      world.put(i);
      ASSERT_EQ(world.map().values(), values);
      ASSERT_EQ(values->usedSize(), i <= 4 ? i : 0);
      const ItemKey key = world.model.list().back();
      ASSERT_TRUE(world.insert(key, world.model.valueOf(key)));
      ASSERT_EQ(values->usedSize(), i <= 4 ? i : 0) << "another value needs no room";
    }
    while (world.model.size() > 0) {
      const ItemKey key = world.model.list()[static_cast<std::size_t>(world.model.size() / 2)];
      ASSERT_TRUE(world.map().remove(pstHandle<psObj>(key.id)));
      world.model.remove(key);
      ASSERT_EQ(world.complaints(), "");
    }
    ASSERT_EQ(orphansOf(world.store.session()), "");
  }
}

// A node that is made by hand, as no split does, is whole as well.
TEST(TreeMap, ANodeHasValuesAsItIsTold) {
  MapWorld world(3);
  const pstHandle<psContObj> place = world.store.container("sets");
  pstHandle<psBTree> root(world.set);
  for (const unsigned char leaf : {0, 1}) {
    pstHandle<psTreeMapNode> node(new (place) psTreeMapNode(root, leaf));
    const pstHandle<psUnsortedArray> values(node->values());
    EXPECT_TRUE(node->parent() == root && node->maxNumberOfChildren() == 4);
    EXPECT_EQ(values.isNull(), leaf == 0);
    if (leaf != 0) {
      EXPECT_EQ(values->size(), 4);
      // Where there are several writers, administrators do not note what they have given.
      if (!world.store->hasSeveralWriters()) {
        EXPECT_EQ(values.containedIn(), world.set->admin()->vArrayContainer());
      }
    }
    EXPECT_EQ(psDelete(node), 1);
    EXPECT_FALSE(values.isValid());
  }
}

}  // namespace
}  // namespace ps::test
