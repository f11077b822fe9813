#include <gtest/gtest.h>

#include <set>
#include <string>

#include "hash/psHashAdmin.h"
#include "sorted/psTreeSet.h"
#include "support/SetWorld.h"
#include "tree/psTreeAdmin.h"

namespace ps::test {
namespace {

std::string databaseOf(const pstRef<psContObj>& container) {
  pstHandle<psDBObj> database;
  container.containedIn(database);
  return database.open(pscRead) == 1 && database.name() != nullptr ? database.name() : "";
}

class Admins : public testing::Test {
 protected:
  Admins() { EXPECT_EQ(store->begin(pscUpdate), 1); }

  // The administrator of a new set in the given container, which starts a new container for each node and array.
  pstHandle<psTreeAdmin> spreading(const pstHandle<psContObj>& container) {
    const pstHandle<psContObj> elsewhere = store.container("elsewhere");
    const pstHandle<psTreeSet> set(new (container) psTreeSet(4, elsewhere, elsewhere));
    pstHandle<psTreeAdmin> admin(set->admin());
    admin->setMaxNodesPerContainer(1);
    return admin;
  }

  TempStore store{TempStore::Place::memory};
};

TEST_F(Admins, FillsAContainerBeforeTheNextIsStarted) {
  const pstHandle<psTreeSet> set(new (store.container("c")) psTreeSet(4));
  const pstHandle<psTreeAdmin> admin(set->admin());
  ASSERT_EQ(admin->maxNodesPerContainer(), 174);
  ASSERT_EQ(admin->maxVArraysPerContainer(), 1);
  for (int node = 1; node <= 173; ++node) ASSERT_EQ(admin->provideNodeContainer(), set.containedIn()) << node;
  const pstRef<psContObj> second = admin->provideNodeContainer();
  EXPECT_NE(second, set.containedIn());
  for (int node = 2; node <= 174; ++node) ASSERT_EQ(admin->provideNodeContainer(), second) << node;
  EXPECT_NE(admin->provideNodeContainer(), second);

  std::set<std::uint64_t> different;
  for (int array = 0; array < 5; ++array) different.insert(admin->provideVArrayContainer().oid().bits());
  EXPECT_EQ(different.size(), 5U);
  pstHandle<psContObj> given = store.container("given");
  admin->vArrayContainer(given);
  admin->setMaxVArraysPerContainer(2);
  EXPECT_EQ(admin->provideVArrayContainer(), given) << "the count starts anew";
  EXPECT_EQ(admin->provideVArrayContainer(), given);
  EXPECT_NE(admin->provideVArrayContainer(), given);
}

TEST_F(Admins, GoesOnInANewDatabaseFromContainer30000On) {
  const pstHandle<psDBObj> database = store->database("main");
  const pstHandle<psTreeAdmin> below = spreading(store->container(database, "below", 29999));
  EXPECT_EQ(databaseOf(below->provideNodeContainer()), "main");

  const pstHandle<psTreeAdmin> at = spreading(store->container(database, "at", 30050));
  const pstRef<psContObj> first = at->provideNodeContainer();
  EXPECT_EQ(databaseOf(first), "autoDb0");
  EXPECT_EQ(databaseOf(at->provideNodeContainer()), "autoDb0") << "its containers are numbered from 1 again";

  ASSERT_FALSE(store->database("autoDb2").isNull());
  EXPECT_EQ(databaseOf(spreading(store->container(database, "next", 30060))->provideNodeContainer()), "autoDb1");
  EXPECT_EQ(databaseOf(spreading(store->container(database, "last", 30070))->provideNodeContainer()), "autoDb3");

  const pstHandle<psContObj> collectable = store->gcContainer(store->database("autoDb3"), "gc");
  const pstRef<psContObj> more = spreading(collectable)->provideNodeContainer();
  EXPECT_EQ(pstHandle<psContObj>(more).typeN(), psGCContObj::pstTypeN);
  EXPECT_EQ(pstHandle<psContObj>(first).typeN(), psContObj::pstTypeN);
}

// A number that is given up is the next one.
TEST_F(Admins, TakesTheLowestFreeNumberOfADatabase) {
  const pstHandle<psDBObj> database = store->database("main");
  pstRef<psContObj> high(store->container(database, "high", 30050));
  const pstHandle<psTreeAdmin> admin = spreading(store.container("admins"));
  const auto nextIn = [&] { return databaseOf(admin->newContainer(high)); };
  for (const char* name : {"autoDb0", "autoDb1", "autoDb2"}) EXPECT_EQ(nextIn(), name);
  pstHandle<psObj> first = store->database("autoDb0");
  ASSERT_EQ(psDelete(first), 1);
  for (const char* name : {"autoDb0", "autoDb3"}) EXPECT_EQ(nextIn(), name);
  ASSERT_EQ(store->commit(), 1);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  EXPECT_EQ(nextIn(), "autoDb4");
  ASSERT_EQ(store->abort(), 1);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  EXPECT_EQ(nextIn(), "autoDb4") << "the abort gave it up";
}

TEST_F(Admins, GoesOnAsItsOwnContainerIsWhereTheCurrentOneIsGone) {
  for (const bool collectable : {false, true}) {
    const pstHandle<psDBObj> database = store->database("test");
    const pstHandle<psContObj> own = collectable ? store->gcContainer(database, "gc") : store.container("plain");
    const pstHandle<psTreeSet> set(new (own) psTreeSet(4));
    const pstHandle<psTreeAdmin> admin(set->admin());
    pstRef<psContObj> current(own);
    current = admin->newContainer(current);
    pstHandle<psObj> doomed(current);
    ASSERT_EQ(psDelete(doomed), 1);
    const unsigned int expected = collectable ? psGCContObj::pstTypeN : psContObj::pstTypeN;
    EXPECT_EQ(pstHandle<psContObj>(admin->newContainer(current)).typeN(), expected);
  }
}

// The current container may have been given back since, and a null one may have been set: neither is handed out.
TEST_F(Admins, DoesNotHandOutAContainerThatIsGone) {
  const pstHandle<psTreeSet> set(new (store.container("c")) psTreeSet(4));
  const pstHandle<psTreeAdmin> admin(set->admin());
  admin->setMaxVArraysPerContainer(10);
  pstHandle<psObj> current(admin->provideVArrayContainer());
  ASSERT_EQ(psDelete(current), 1);
  EXPECT_TRUE(admin->provideVArrayContainer().isValid());
  pstHandle<psContObj> none;
  admin->vArrayContainer(none);
  EXPECT_TRUE(admin->provideVArrayContainer().isValid());

  current = pstHandle<psObj>(admin->vArrayContainer());
  ASSERT_EQ(psDelete(current), 1);
  pstRef<psContObj> gone(current.oid());
  EXPECT_EQ(databaseOf(admin->newContainer(gone)), "test") << "only its numbers count";
}

TEST_F(Admins, CountsWhatIsInTheCurrentContainer) {
  pstHandle<psContObj> c = store.container("c");
  const pstHandle<psTreeSet> set(new (c) psTreeSet(4));
  for (int n = 0; n < 10; ++n) ASSERT_TRUE(set->add(pstHandle<psObj>(makeItem(c, n).id)));
  int nodes = 1;
  for (pstRef<psBTree> leaf = set->atFirst(); !leaf.isNull(); leaf = leaf->next()) ++nodes;
  const pstHandle<psTreeAdmin> admin(set->admin());
  // Where there are several writers, nodes are beside their arrays.
  EXPECT_EQ(admin->calculateAndSetNodeCountContainer(), store->hasSeveralWriters() ? 1 : nodes);

  pstHandle<psContObj> arrays = store.container("arrays");
  new (arrays) psUnsortedArray(2);
  new (arrays) psSortedArray(2);
  new (arrays) psSortedArray(2);
  admin->vArrayContainer(arrays);
  EXPECT_EQ(admin->calculateAndSetVArrayCountContainer(), 3);
  admin->setMaxVArraysPerContainer(4);
  EXPECT_EQ(admin->provideVArrayContainer(), arrays);
  EXPECT_NE(admin->provideVArrayContainer(), arrays);
}

TEST_F(Admins, GivesBackOnlyContainersThatNobodyElseWants) {
  const pstHandle<psDBObj> database = store->database("test");
  pstHandle<psContObj> empty(new (nullptr, 0, 1, 0, database) psContObj);
  pstHandle<psContObj> occupied(new (nullptr, 0, 1, 0, database) psContObj);
  pstHandle<psContObj> collectable(new (nullptr, 0, 1, 0, database) psGCContObj);
  pstHandle<psContObj> named = store.container("named");
  makeItem(occupied, 1);
  for (pstHandle<psContObj>* container : {&empty, &occupied, &collectable, &named}) {
    EXPECT_EQ(psAdmin::deleteIfEmptyUnnamedNonGC(*container), 1);
    EXPECT_EQ(container->isValid(), container != &empty);
  }

  pstHandle<psHashSet> set(pstHandle<psObj>(makeItem(named, 2).id));
  const pstHandle<psHashAdmin> admin(new (named) psHashAdmin(set));
  const pstRef<psContObj> first = admin->provideBucketContainer();
  EXPECT_NE(first, admin->provideBucketContainer());
  EXPECT_NE(first, named);
  pstHandle<psContObj> bucket(first);
  EXPECT_EQ(admin->deleteBucket(bucket), 0) << "it is empty";
  makeItem(bucket, 3);
  makeItem(bucket, 4);
  EXPECT_EQ(admin->deleteBucket(bucket), 1);
  EXPECT_TRUE(bucket.isValid()) << "two objects are in it";
  EXPECT_EQ(admin->deleteBucket(occupied), 1);
  EXPECT_FALSE(occupied.isValid()) << "with its only object";
  makeItem(collectable, 5);
  EXPECT_TRUE(admin->deleteBucket(collectable) == 1 && collectable.isValid());
  EXPECT_TRUE(admin->deleteBucket(named) == 1 && named.isValid());
}

}  // namespace
}  // namespace ps::test
