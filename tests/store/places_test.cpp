#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <random>

#include "check/HashChecker.h"
#include "check/OrphanChecker.h"
#include "check/TreeChecker.h"
#include "hash/psHashMap.h"
#include "sorted/psTreeMap.h"
#include "store/Place.h"
#include "store/StoreObjects.h"
#include "store/session/SessionCore.h"
#include "support/Item.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

void limitPages(std::uint32_t pages) { ps::detail::SessionCore::current()->places().limitPages(pages); }

std::vector<psId> allOf(const Place& place) {
  std::vector<psId> ids;
  PlaceItr<Blob> blob;
  EXPECT_EQ(blob.scan(place, pscRead), 1);
  while (blob.next()) ids.push_back(blob.oid());
  return ids;
}

std::string containersOf(const pstHandle<psDBObj>& database) {
  std::string ids;
  pstItr<psContObj> container;
  container.scan(database, pscNoOpen);
  while (container.next()) ids += std::to_string(container.oid().get_OC()) + " ";
  return ids;
}

std::string containersOf(const Place& place) {
  std::string ids;
  for (const pstHandle<psContObj>& part : place.containers()) ids += std::to_string(part.oid().get_OC()) + " ";
  return ids;
}

// Random creations and deletions through a place, and near its objects, in transactions of this session and of others.
TEST(Places, GrowAndHoldWhatTheModelHolds) {
  const std::uint64_t seed = seedOr(20261127);
  std::cout << "PSCOLLECTIONS_SEED=" << seed << '\n';
  std::mt19937_64 random(seed);
  TempStore store(TempStore::Place::file);
  std::vector<psId> model;
  std::vector<psId> committed;
  std::size_t containers = 0;
  const auto create = [&](const Place& place) {
    const bool isNear = !model.empty() && random() % 2 == 0;
    const psId near = isNear ? model[random() % model.size()] : psId();
    const pstHandle<Blob> made(isNear ? new (near) Blob(1) : new (place) Blob(2, pattern(random(), random() % 3000)));
    ASSERT_FALSE(made.isNull());
    EXPECT_EQ(Place::of(made), place);
    model.push_back(made.oid());
  };
  const int transactions = ScratchFolder::stepsOr(120, 40);
  for (int transaction = 0; transaction < transactions; ++transaction) {
    SCOPED_TRACE(transaction);
    const auto work = [&](psSession& session) {
      limitPages(3);
      const Place place(session.database("test"), "place");
      ASSERT_FALSE(place.isNull()) << session.lastError();
      for (std::size_t i = 0, n = random() % 40; i < n; ++i) create(place);
      if (!model.empty() && random() % 3 == 0) {
        pstHandle<psObj> victim(model[random() % model.size()]);
        ASSERT_EQ(psDelete(victim), 1);
        model.erase(std::find(model.begin(), model.end(), victim.oid()));
      }
      // Arrays that are there grow where they are.
      if (model.empty()) return;
      ASSERT_EQ(pstHandle<Blob>(model[0])->fill(pattern(random(), random() % 5000)), 1);
    };
    if (random() % 4 == 0) {
      store.inOtherSession(work);
    } else {
      ASSERT_EQ(store->begin(pscUpdate), 1) << store->lastError();
      work(store.session());
      if (HasFailure()) return;
      if (random() % 4 == 0) {
        ASSERT_EQ(store->abort(), 1);
        model = committed;
      } else {
        ASSERT_EQ(store->commit(), 1) << store->lastError();
      }
    }
    committed = model;
    if (random() % 10 == 0) store.reopen();
    ASSERT_EQ(store->begin(pscRead), 1);
    const Place place(store->database("test"), "place");
    if (place) {
      std::sort(model.begin(), model.end());
      std::vector<psId> all = allOf(place);
      std::sort(all.begin(), all.end());  // on a server a later container may have a lower number
      EXPECT_EQ(all, model);
      EXPECT_EQ(place.count(), static_cast<std::int64_t>(model.size()));
      containers = place.containers().size();
      int listed = 0;
      EXPECT_EQ(store->names(place.first(), [&listed](const psFiling&) { return ++listed < 0; }), 1);
      EXPECT_EQ(listed, 0) << "the names that hold a place together are not the application's";
    }
    ASSERT_EQ(store->commit(), 1);
    if (HasFailure()) return;
  }
  EXPECT_GT(containers, static_cast<std::size_t>(transactions / 4));

  ASSERT_EQ(store->begin(pscUpdate), 1);
  Place place(store->database("test"), "place");
  EXPECT_EQ(place.destroy(), 1) << store->lastError();
  EXPECT_TRUE(place.isNull());
  EXPECT_EQ(containersOf(store->database("test")), "");
}

TEST(Places, HoldCollectionsWhole) {
  TempStore store(TempStore::Place::file);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  limitPages(5);
  const pstHandle<psDBObj> database = store->database("test");
  const Place place(database, "place");
  const pstHandle<psCompare> order(new (place) ItemCompare);
  const pstHandle<psTreeMap> tree(new (place) psTreeMap(order, 20));
  const pstHandle<psHashMap> hash(new (place) psHashMap(order, 11, 1, place, place));
  for (std::int64_t i = 0; i < 4000; ++i) {
    const pstHandle<Item> item(new (place) Item(i * 7919 % 4000));
    ASSERT_TRUE(tree->put(item, item)) << store->lastError();
    ASSERT_TRUE(hash->put(item, item)) << store->lastError();
  }
  EXPECT_EQ(containersOf(database), containersOf(place)) << "all parts are in the place";
  EXPECT_GT(place.containers().size(), 8U);
  for (std::int64_t i = 0; i < 4000; i += 2) {
    const void* key = &i;
    const pstHandle<psObj> item(tree->get(key));
    ASSERT_TRUE(tree->remove(item));
    ASSERT_TRUE(hash->remove(item));
  }
  ASSERT_EQ(store->commit(), 1) << store->lastError();
  EXPECT_EQ(store.inChild([&](psSession& session) {
    std::string faults;
    for (const auto& fault : ps::detail::TreeChecker::check(pstHandle<psBTree>(tree.oid())).faults)
      faults += fault.text + "\n";
    for (const auto& fault : ps::detail::HashChecker::check(pstHandle<psHashSet>(hash.oid())).faults)
      faults += fault.text + "\n";
    for (const std::string& fault : ps::detail::OrphanChecker::check(session.federation())) faults += fault + "\n";
    const pstHandle<psTreeMap> map(tree.oid());
    return map->size() == 2000 ? faults : faults + "elements are missing";
  }),
            "");
}

// Creates objects through the place until one is refused; how many there are.
int fill(psSession& session, int n) {
  limitPages(3);
  const Place place(session.database("test"), "place");
  for (int i = 0; i < n; ++i) {
    const pstHandle<Blob> made(new (place) Blob(i, pattern(0, 2000)));
    if (made.isNull()) return i;
  }
  return n;
}

// Wherever the file is full, a place is what it was at the last commit, and grows on when there is room.
TEST(Places, AreWholeWhereverTheStoreIsFull) {
  if (ScratchFolder::isOnServer()) GTEST_SKIP() << "a file alone has a largest size";
  int refused = 0;
  bool fits = false;
  for (std::size_t pages = 16; !fits; ++pages) {
    SCOPED_TRACE(pages);
    const ScratchFolder folder;
    psSessionOptions options = unsynced();
    options.pageSize = 4096;
    options.cacheLimit = std::size_t{1} << 16;
    int expected = 0;
    {
      psSession session;
      options.mapSize = pages * 4096;
      if (session.open(folder / "store.ps", options) != 1) continue;
      for (int made = 30; made == 30 && !fits && session.begin(pscUpdate) == 1;) {
        made = fill(session, 30);
        if (session.commit() != 1) break;
        expected += made;
        fits = expected == 90;
      }
      refused += fits ? 0 : 1;
      EXPECT_TRUE(fits || session.lastErrorKind() == psErrorKind::full) << session.lastError();
      if (session.inTransaction()) session.abort();
    }
    options.mapSize = 0;
    psSession session;
    ASSERT_EQ(session.open(folder / "store.ps", options), 1) << session.lastError();
    ASSERT_EQ(session.begin(pscUpdate), 1);
    EXPECT_EQ(fill(session, 10), 10) << session.lastError();
    ASSERT_EQ(session.commit(), 1) << session.lastError();
    ASSERT_EQ(session.begin(pscRead), 1);
    const Place place(session.database("test"), "place");
    EXPECT_EQ(place.count(), expected + 10);
    EXPECT_EQ(allOf(place).size(), static_cast<std::size_t>(expected + 10));
    EXPECT_EQ(containersOf(session.database("test")), containersOf(place))
        << "a container that is not of the place was left";
    if (HasFailure()) return;
  }
  EXPECT_GT(refused, 20);
}

// With the real numbers: objects move on when half the pages are taken; arrays that grow later when all are.
TEST(Places, MoveOnAtTheLimitsOfContainersAndDatabases) {
  if (ScratchFolder::isOnServer()) GTEST_SKIP() << "writes 33,000 pages twice, to see limits that no engine changes";
  psSessionOptions options;
  options.pageSize = 4096;
  TempStore store(TempStore::Place::file, options);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psDBObj> database = store->database("test");
  const Place place(database, "place");
  std::vector<psId> bricks;
  do {
    const pstHandle<Blob> blob(new (place) Blob(1));
    ASSERT_EQ(blob->bytes.resize(3600), 1);
    bricks.push_back(blob.oid());
  } while (bricks.back().get_OC() == bricks.front().get_OC());
  EXPECT_EQ(bricks.size(), 32769U);
  EXPECT_EQ(pstHandle<Blob>(new (bricks.front()) Blob(2)).containedIn(), place.containers()[1]);
  ASSERT_EQ(store->commit(), 1) << store->lastError();
  ASSERT_EQ(store->begin(pscUpdate), 1);
  for (const psId& brick : bricks) {
    const pstHandle<Blob> blob(brick);
    ASSERT_EQ(blob->bytes.resize(4001), 1) << store->lastError();
    ASSERT_EQ(blob->bytes.iset(4000, 'x'), 1);
  }
  EXPECT_EQ(place.containers().size(), 2U);
  EXPECT_EQ(place.count(), 32770);
  ASSERT_EQ(store->commit(), 1) << store->lastError();

  // The database is full.
  ASSERT_EQ(store->begin(pscUpdate), 1);
  for (int i = 2; i < 65535; ++i) ASSERT_FALSE(store->container(database, nullptr).isNull()) << store->lastError();
  ASSERT_TRUE(store->container(database, nullptr).isNull());
  limitPages(3);
  for (int i = 0; i < 100; ++i) {
    const pstHandle<Blob> blob(new (place) Blob(3));
    ASSERT_EQ(blob->bytes.resize(3000), 1) << store->lastError();
    bricks.push_back(blob.oid());
  }
  EXPECT_NE(bricks.back().get_DB(), bricks.front().get_DB());
  EXPECT_EQ(place.containers().back().oid().get_DB(), bricks.back().get_DB());
  ASSERT_EQ(store->abort(), 1);
  ASSERT_EQ(store->begin(pscRead), 1);
  EXPECT_EQ(place.containers().size(), 2U);
  EXPECT_EQ(pstHandle<Blob>(bricks[32000])->bytes[4000], 'x');
}

}  // namespace
}  // namespace ps::test
