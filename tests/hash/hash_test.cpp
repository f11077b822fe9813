#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <type_traits>
#include <utility>

#include "hash/HashAccess.h"
#include "hash/TableSizes.h"
#include "hash/psHashMapKeyIterator.h"
#include "hash/psHashMapValueIterator.h"
#include "sorted/psTreeMap.h"
#include "support/Faults.h"
#include "support/HashWorld.h"
#include "support/Reports.h"

namespace ps::test {
namespace {

constexpr TempStore::Place memory = TempStore::Place::memory;

struct Statistics {
  int depth, buckets, chained, unchained, chains, shortest, longest;
};

// Parses what statistics prints: these lines and nothing else.
Statistics statisticsIn(psHashSet& set) {
  const std::string text = statisticsOf(set);
  Statistics found{};
  int end = 0;
  const int fields = std::sscanf(text.c_str(),
                                 "Dictionary depth: %i\nNumber of buckets: %i\nNumber of chained entries: %i\n"
                                 "Number of unchained entries: %i\nNumber of chains: %i\nMin chain size: %i\n"
                                 "Max chain size: %i%n",
                                 &found.depth, &found.buckets, &found.chained, &found.unchained, &found.chains,
                                 &found.shortest, &found.longest, &end);
  EXPECT_EQ(fields, 7) << text;
  EXPECT_EQ(text.substr(static_cast<std::size_t>(end)), "\n") << text;
  return found;
}

TEST(TableSizes, AreThoseOfTheTable) {
  const unsigned int primes[][2] = {{0, 0},   {1, 1},   {2, 2},     {3, 3},         {4, 5},
                                    {5, 5},   {9, 11},  {13, 13},   {100, 101},     {114, 127},
                                    {24, 29}, {49, 53}, {120, 127}, {65536, 65537}, {1000000, 1000003}};
  for (const auto& [n, prime] : primes) EXPECT_EQ(next_prime(n), prime) << n;
  EXPECT_FALSE(isPrime(9) || isPrime(25) || isPrime(3) || isPrime(4294967293U) || isPrime(65521U * 65521U));
  EXPECT_TRUE(isPrime(5) && isPrime(7) && isPrime(65537) && isPrime(4294967291U));
  EXPECT_TRUE(next_prime(4294967280U) == 4294967291U && next_prime(4294967291U) == 4294967291U);
  EXPECT_TRUE(next_prime(4294967292U) == 0 && next_prime(4294967295U) == 0) << "there is none";
  EXPECT_EQ(pow2(-1), 0);
  EXPECT_EQ(pow2(0), 1);
  EXPECT_EQ(pow2(20), 1 << 20);
}

TEST(HashSet, StartsWithTheBucketsAndSlotsAskedFor) {
  const int cases[][4] = {// slots, directory size, slots there are, depth
                          {100, 5, 101, 3}, {3, 1, 3, 0}, {4, 0, 5, 0}, {0, 2, 1, 1}, {-7, -7, 1, 0}, {1, 1024, 1, 10}};
  for (const auto& [slots, directorySize, expectedSlots, depth] : cases) {
    SCOPED_TRACE(std::to_string(slots) + ", " + std::to_string(directorySize));
    HashWorld world(memory, Flavour::handle, Hashing::content, slots, Kind::set, directorySize);
    const Statistics statistics = statisticsIn(*world.set);
    EXPECT_EQ(statistics.depth, depth);
    EXPECT_EQ(statistics.buckets, 1 << depth);
    EXPECT_TRUE(statistics.chained == 0 && statistics.unchained == 0 && statistics.chains == 0);
    EXPECT_TRUE(statistics.shortest == 10000000 && statistics.longest == 0);
    EXPECT_EQ(ps::detail::HashAccess::slotsPerBucket(static_cast<const psHashSet&>(*world.set)), expectedSlots);
    EXPECT_EQ(world.complaints(), "");
  }
}

// A hash for items that is their number, all 32 bits of it.
int numberAsHash(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return static_cast<int>(pstHandle<Item>(idOf(databaseAndContainer, pageAndSlot))->number());
}

bool addByNumber(psHashSet& set, const pstHandle<psContObj>& place, std::uint32_t number) {
  const ItemKey item = makeItem(place, number);
  return set.add(pstHandle<psObj>(item.id), number, comparisonWith(item, true), numberAsHash);
}

// A bucket of three slots is full with three: the fourth splits it, after doubling the directory if need be.
TEST(HashSet, SplitsByTheFirstBitsAndDoublesWhenTheyAreUsedUp) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::set);
  const pstHandle<psContObj> place = world.store.container("items");
  psHashSet& set = *world.set;
  for (const std::uint32_t number : {0x00000000U, 0x80000001U, 0x80000002U})
    ASSERT_TRUE(addByNumber(set, place, number));
  EXPECT_EQ(statisticsIn(set).depth, 0);
  ASSERT_FALSE(addByNumber(set, place, 0x80000002U));
  EXPECT_EQ(statisticsIn(set).depth, 1) << "an equal element is looked for once there is room";
  ASSERT_TRUE(addByNumber(set, place, 0x80000004U));
  Statistics statistics = statisticsIn(set);
  EXPECT_TRUE(statistics.depth == 1 && statistics.buckets == 2);
  EXPECT_TRUE(statistics.chained == 2 && statistics.unchained == 2 && statistics.chains == 1);
  EXPECT_TRUE(statistics.shortest == 2 && statistics.longest == 2);
  ASSERT_TRUE(addByNumber(set, place, 0xC0000000U)) << "the upper bucket, which is full, in two";
  statistics = statisticsIn(set);
  EXPECT_TRUE(statistics.depth == 2 && statistics.buckets == 3) << "the lower one stays in two places";
  ASSERT_TRUE(addByNumber(set, place, 0x00000004U) && addByNumber(set, place, 0x00000008U));
  EXPECT_EQ(statisticsIn(set).buckets, 3);
  ASSERT_FALSE(addByNumber(set, place, 0x00000000U)) << "it is there";
  EXPECT_EQ(statisticsIn(set).buckets, 3) << "no split tells the three apart";
  ASSERT_TRUE(addByNumber(set, place, 0x40000000U));
  EXPECT_EQ(statisticsIn(set).buckets, 4);
  EXPECT_EQ(set.size(), 8);
}

// Elements that no bit of the directory tells apart: their hashes are equal, or differ only in later bits.
TEST(HashSet, TakesWhatItCannotDivideAndDoesNotGrowForNothing) {
  for (const Hashing hashing : {Hashing::constant, Hashing::lowBits, Hashing::identifier}) {
    SCOPED_TRACE(nameOf(hashing));
    HashWorld world(memory, Flavour::handle, hashing, 5, Kind::set);
    const std::uint64_t hashesBefore = HashCompare::hashes();
    std::vector<ItemKey> items;
    for (int i = 0; i < 1000; ++i) {
      // Each item is the first of a container of its own: its identifier differs from others in the container alone.
      const pstHandle<psContObj> place = hashing == Hashing::identifier
                                             ? world.store.container(("items " + std::to_string(i)).c_str())
                                             : world.store.container("items");
      items.push_back(makeItem(place, i));
      ASSERT_TRUE(world.add(items.back()));
      world.model.add(items.back());
    }
    const Statistics statistics = statisticsIn(*world.set);
    EXPECT_EQ(statistics.depth, 0);
    EXPECT_EQ(statistics.chained + statistics.unchained, 1000);
    if (hashing == Hashing::constant) {
      EXPECT_TRUE(statistics.chains == 1 && statistics.shortest == 1000 && statistics.longest == 1000);
    }
    EXPECT_LT(HashCompare::hashes() - hashesBefore, 1000U * 110) << "all are hashed again for every fifth at most";
    EXPECT_EQ(world.complaints(), "");
    for (const ItemKey& item : items) ASSERT_FALSE(world.add(item));
    for (const ItemKey& item : items) ASSERT_TRUE(world.remove(item));
    EXPECT_TRUE(world.set->isEmpty());
    EXPECT_EQ(orphansOf(world.store.session()), "");
  }
}

// Takes numbers that leave the same remainder for equal.
class RemainderSet : public psHashSet {
  PS_PERSISTENT_CLASS(RemainderSet, psHashSet, 20104)

 public:
  explicit RemainderSet(pstHandle<psCompare>& comparator) : psHashSet(comparator, 5, 1) {}
  bool equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const override {
    return pstHandle<Item>(a)->number() % 10 == pstHandle<Item>(b)->number() % 10;
  }
};
PS_REGISTER_CLASS(RemainderSet)

TEST(HashSet, LeavesItToItsClassWhatIsEqual) {
  TempStore store(memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psContObj> place = store.container("items");
  pstHandle<psCompare> comparator(new (place) HashCompare(Hashing::constant));
  const pstHandle<RemainderSet> set(new (place) RemainderSet(comparator));
  EXPECT_TRUE(set->add(makeItem(place, 3).id));
  EXPECT_FALSE(set->add(makeItem(place, 13).id));
  EXPECT_TRUE(set->contains(pstHandle<psObj>(makeItem(place, 23).id)));
  EXPECT_TRUE(set->remove(pstHandle<psObj>(makeItem(place, 33).id)));
  EXPECT_TRUE(set->isEmpty());
}

TEST(HashSet, SplitsAtNineTenthsOfItsSlots) {
  HashWorld world(memory, Flavour::handle, Hashing::content, 101, Kind::set);
  for (int i = 0; i < 91; ++i) world.put(i);
  EXPECT_EQ(statisticsIn(*world.set).buckets, 1);
  world.put(91);
  EXPECT_EQ(statisticsIn(*world.set).buckets, 2);
}

TEST(HashSet, GrowsByManyAtOnceAsByOneAfterAnother) {
  for (const Hashing hashing : {Hashing::content, Hashing::constant, Hashing::lowBits, Hashing::identifier}) {
    SCOPED_TRACE(nameOf(hashing));
    std::vector<Statistics> expected;  // when all have been added, and when they have been added again
    {
      HashWorld world(memory, Flavour::handle, hashing, 11, Kind::set);
      for (int number = 0; number < 700; ++number) world.put(number);
      expected.push_back(statisticsIn(*world.set));
      for (const ItemKey& item : world.model.list()) EXPECT_FALSE(world.add(item));
      expected.push_back(statisticsIn(*world.set));
    }
    HashWorld world(memory, Flavour::handle, hashing, 11, Kind::set);
    std::vector<pstRef<psObj>> elements;
    for (int number = 0; number < 700; ++number) {
      const ItemKey item = world.newItem(number);
      elements.emplace_back(pstHandle<psObj>(item.id));
      world.model.add(item);
    }
    for (const std::size_t round : {0, 1}) {
      ASSERT_EQ(world.append(elements, {}), round == 0 ? 700 : 0);
      // What may be new counts for the directory's proportion.
      const int more = round == 1 && hashing == Hashing::identifier ? 1 : 0;
      EXPECT_NEAR(statisticsIn(*world.set).buckets, expected[round].buckets, more) << round;
      EXPECT_NEAR(statisticsIn(*world.set).depth, expected[round].depth, more) << round;
    }
    EXPECT_EQ(world.complaints(), "");
  }
}

// The elements after that are appended.
TEST(HashSet, PutsWhatJoinsALoneElementBeforeIt) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 5, Kind::set);
  for (int i = 0; i < 4; ++i) world.put(i);
  std::string order;
  for (const ItemKey& item : world.inOrder()) order += std::to_string(item.number);
  EXPECT_EQ(order, "1023");
}

// An element that was deleted without the set has no hash any more. It must not make the directory grow again and
// again.
TEST(HashSet, GrowsNoFurtherForWhatWasDeleted) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::set);
  for (int i = 0; i < 3; ++i) world.put(i);
  pstHandle<psObj> doomed(world.model.list()[1].id);
  ASSERT_EQ(psDelete(doomed), 1);
  for (int i = 3; i < 60; ++i) world.put(i);
  EXPECT_LE(statisticsIn(*world.set).depth, 5);
  world.model.forgetDeleted();
  world.set->removeAllDeleted();
  EXPECT_EQ(world.complaints(), "");
}

// One hash for most elements does not drag the directory along when the others spread.
TEST(HashSet, KeepsItsDirectoryInProportion) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::set);
  const pstHandle<psContObj> place = world.store.container("items");
  for (std::uint32_t i = 0; i < 40; ++i) ASSERT_TRUE(addByNumber(*world.set, place, i));
  EXPECT_EQ(statisticsIn(*world.set).depth, 0) << "these differ in the last bits alone";
  // Two groups that differ in bit 11 of 32 and no bit before.
  for (std::uint32_t i = 0; i < 40; ++i) ASSERT_TRUE(addByNumber(*world.set, place, 0x00200000U + i));
  EXPECT_EQ(statisticsIn(*world.set).depth, 0) << "ten bits do not tell them apart, and 80 elements deserve no more";
  for (std::uint32_t i = 0; i < 1000; ++i) ASSERT_TRUE(addByNumber(*world.set, place, 0x80000000U + (i << 21)));
  const int depth = statisticsIn(*world.set).depth;
  EXPECT_TRUE(depth >= 9 && depth <= 13) << depth;
  EXPECT_EQ(world.set->size(), 1080);
  while (world.set->expandDirectory()) {
  }
  EXPECT_EQ(statisticsIn(*world.set).depth, 24) << "there it ends";
  EXPECT_EQ(world.set->size(), 1080);
}

// Hashes in ascending order with few bits that differ: what could not be divided when it was filled is, once the table
// is large enough for that, though nothing is added to it.
TEST(HashSet, DividesLaterWhatItCouldNotDivideAtFirst) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 5, Kind::set);
  const pstHandle<psContObj> place = world.store.container("items");
  for (std::uint32_t i = 0; i < 4000; ++i) ASSERT_TRUE(addByNumber(*world.set, place, i << 8));
  const Statistics statistics = statisticsIn(*world.set);
  EXPECT_EQ(statistics.depth, 14);
  EXPECT_LE(statistics.longest, 1024 / 5 + 1) << "14 bits leave 1024 of these together, in 5 slots";
  for (std::uint32_t i = 0; i < 4000; ++i) ASSERT_FALSE(addByNumber(*world.set, place, i << 8));
  EXPECT_EQ(world.set->size(), 4000);
}

TEST(HashSet, DividesByTenBitsHoweverFewTheElements) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::set);
  const pstHandle<psContObj> place = world.store.container("items");
  for (std::uint32_t i = 0; i < 3; ++i) ASSERT_TRUE(addByNumber(*world.set, place, i));
  ASSERT_TRUE(addByNumber(*world.set, place, 0x00400000U));
  EXPECT_EQ(statisticsIn(*world.set).depth, 10);
}

// More keys than are announced at a time; some are missing, one is null, chains are of all lengths. First nothing is in
// memory.
TEST(HashSet, LooksUpManyAsIfOneByOne) {
  for (const Kind kind : {Kind::set, Kind::map}) {
    for (const Hashing hashing : {Hashing::identifier, Hashing::content, Hashing::fewValues}) {
      HashWorld world(TempStore::Place::file, Flavour::handle, hashing, 5, kind);
      std::vector<ItemKey> items;
      for (int i = 0; i < 180; ++i) {
        items.push_back(world.newItem(i));
        if (i % 6 == 5) continue;
        ASSERT_TRUE(world.insert(items.back(), kind == Kind::map ? world.newValue(i) : psId()));
      }
      ASSERT_EQ(world.store->commit(), 1);
      world.store.whileClosed([](const std::string&) {});
      ASSERT_EQ(world.store->begin(pscRead), 1);
      world.find();
      std::vector<pstRef<psObj>> keys(1);
      std::vector<const void*> rawKeys;
      for (const ItemKey& item : items) {
        keys.emplace_back(pstHandle<psObj>(item.id));
        rawKeys.push_back(&item.number);
      }
      for (int round = 0; round < 2; ++round) {
        std::vector<pstRef<psObj>> found(keys.size());
        EXPECT_EQ(world.set->getMany(keys.data(), found.data(), static_cast<int>(keys.size())), 150);
        for (std::size_t i = 0; i < keys.size(); ++i) ASSERT_EQ(found[i], world.set->get(pstHandle<psObj>(keys[i])));
        if (hashing == Hashing::identifier) continue;
        EXPECT_EQ(world.set->getMany(rawKeys.data(), found.data(), static_cast<int>(rawKeys.size())), 150);
        for (std::size_t i = 0; i < rawKeys.size(); ++i) ASSERT_EQ(found[i], world.set->get(rawKeys[i]));
      }
    }
  }
}

// A walk that removes what it meets does not go back over what it has emptied.
TEST(HashIterator, OpensAFewObjectsForEachThatItRemoves) {
  HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::set);
  for (int i = 0; i < 1000; ++i) world.put(i);
  const std::unique_ptr<psCollectionIterator> it(world.set->iterator());
  const std::uint64_t before = world.store->counters().opens;
  while (it->hasNext()) {
    it->next(pscNoLock);
    ASSERT_EQ(it->remove(), 1);
  }
  EXPECT_LT(world.store->counters().opens - before, 1000U * 30);
  EXPECT_TRUE(world.set->isEmpty());
  EXPECT_TRUE(it->current(pscNoLock).isNull());
  EXPECT_EQ(it->currentIndex(), -1);
}

TEST(HashIterator, ReportsWhatItCannotDo) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::map);
  const pstHandle<psContObj> near = world.store.container("moved");
  const std::unique_ptr<psCollectionIterator> empty(world.set->iterator());
  EXPECT_TRUE(empty->next(pscNoLock).isNull() && empty->previous(pscNoLock).isNull());
  EXPECT_EQ(empty->remove() + empty->moveCurrentTo(near), 0);
  for (int i = 0; i < 3; ++i) world.put(i);

  const std::unique_ptr<psCollectionIterator> entries(world.set->iterator());
  EXPECT_EQ(entries->collection(), world.set);
  EXPECT_EQ(entries->remove(), 0) << "there is no current one yet";
  ASSERT_FALSE(entries->next(pscNoLock).isNull());
  EXPECT_EQ(entries->moveCurrentTo(near), 0) << "entries are the map's own";
  EXPECT_EQ(entries->set(world.model.list()[0].id), 0);

  // Another removes what the iterator stands on, and the chain with it.
  const Reports mistakes;
  const std::unique_ptr<psCollectionIterator> stale(world.set->keyIterator());
  stale->goToIndex(2, pscNoLock);
  for (const ItemKey& item : world.model.list()) world.remove(item);
  EXPECT_FALSE(stale->hasNext());
  EXPECT_TRUE(stale->next(pscNoLock).isNull() && stale->current(pscLockUpdate).isNull());
  EXPECT_EQ(stale->remove() + stale->moveCurrentTo(near), 0);
  EXPECT_TRUE(stale->currentP(pscLockUpdate)->isNull());
  *stale->currentP(pscLockUpdate) = world.model.list()[0].id;
  EXPECT_TRUE(stale->currentP(pscNoLock)->isNull()) << "a stray write harms nobody";
  EXPECT_TRUE(world.set->isEmpty());
}

TEST(HashIterator, DoesNotDeliverWhatWentAfterHasNext) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::set);
  for (int i = 0; i < 3; ++i) world.put(i);
  const std::unique_ptr<psCollectionIterator> it(world.set->iterator());
  ASSERT_TRUE(it->hasNext());
  const std::vector<ItemKey> items = world.inOrder();
  ASSERT_TRUE(world.remove(items[0]));
  EXPECT_EQ(it->next(pscNoLock), items[1].id);
}

// The iterator is positioned, the table grows, and the element on which it stands now moves, or none does.
TEST(HashIterator, LosesNothingThatItMovesInATableThatHasGrown) {
  for (const Hashing hashing : {Hashing::identifier, Hashing::content}) {
    for (int round = 0; round < 200; round += ScratchFolder::stepsOr(1, 20)) {
      SCOPED_TRACE(std::string(nameOf(hashing)) + ", round " + std::to_string(round));
      HashWorld world(memory, Flavour::handle, hashing, 5, Kind::set, 2);
      int number = 0;
      while (number < 20) world.put(number++);
      const std::unique_ptr<psCollectionIterator> it(world.set->iterator());
      const psId here = it->goToIndex(round % 20, pscNoLock);
      const bool doubles = round >= 100;
      if (doubles) {
        const std::unique_ptr<psCollectionIterator> rest(world.set->iterator());
        rest->goToIndex(round % 20, pscNoLock);
        ASSERT_TRUE(world.set->expandDirectory());
        int steps = 0;
        for (; rest->hasNext(); ++steps) rest->next(pscNoLock);
        ASSERT_EQ(round % 20 + 1 + steps, 20);
      }
      const Reports mistakes;
      for (int i = 0; i < round && !doubles; ++i) world.put(number++);
      const int isMoved = it->moveCurrentTo(world.store.container("moved"));
      ASSERT_TRUE(!doubles || (isMoved == 1 && !here.isValid())) << "it stays on its element";
      const std::unique_ptr<psCollectionIterator> all(world.set->iterator());
      int count = 0;
      for (; all->hasNext(); ++count) {
        const pstHandle<psObj> element(all->next(pscNoLock));
        ASSERT_TRUE(element.isValid() && world.set->contains(element));
      }
      ASSERT_EQ(count, number);
      ASSERT_EQ(faultsOf(world.set), "");
    }
  }
}

// An iterator that is kept while another session replaces all elements delivers what is there now.
TEST(HashIterator, SeesWhatAnotherSessionHasCommitted) {
  for (const Kind kind : {Kind::set, Kind::map}) {
    HashWorld world(TempStore::Place::file, Flavour::handle, Hashing::content, 5, kind);
    for (int i = 0; i < 30; ++i) world.put(i);
    ASSERT_EQ(world.store->commit(), 1);
    ASSERT_EQ(world.store->begin(pscRead), 1);
    world.find();
    const std::unique_ptr<psCollectionIterator> it(world.set->keyIterator());
    ASSERT_FALSE(it->next(pscNoLock).isNull());
    ASSERT_EQ(world.store->commit(), 1);
    EXPECT_TRUE(it->next(pscNoLock).isNull() && !it->hasNext() && it->current(pscNoLock).isNull()) << "no transaction";

    world.store.inOtherSession([&](psSession& other) {
      const pstHandle<psHashSet> set(world.set.oid());
      const pstHandle<psContObj> place = other.container(other.database("test"), "new items");
      set->clear();
      for (const ItemKey& item : world.model.list()) {
        pstHandle<psObj> old(item.id);
        ASSERT_EQ(psDelete(old), 1);
        ASSERT_TRUE(set->add(makeItem(place, item.number).id));
      }
    });

    ASSERT_EQ(world.store->begin(pscRead), 1);
    EXPECT_TRUE(it->current(pscNoLock).isValid());
    int count = 0;
    while (it->hasNext() && ++count < 30) ASSERT_TRUE(it->next(pscNoLock).isValid());
    EXPECT_EQ(count, 29);
  }
}

// The addresses that iterators give out can be written to while what holds the references is open for update.
TEST(HashIterator, GivesOutWhatCanBeWritten) {
  HashWorld world(memory, Flavour::handle, Hashing::constant, 3, Kind::map);
  for (int i = 0; i < 3; ++i) world.put(i);
  ASSERT_EQ(world.store->commit(), 1);
  ASSERT_EQ(world.store->begin(pscUpdate), 1);
  world.find();
  const psId value = world.newValue(7);
  const std::unique_ptr<psCollectionIterator> values(world.set->valueIterator());
  for (const ItemKey& item : world.inOrder()) {
    values->next(pscLockUpdate);
    *values->currentP(pscLockUpdate) = value;
    world.model.put(item, value);
  }
  ASSERT_EQ(world.store->commit(), 1);
  ASSERT_EQ(world.store->begin(pscUpdate), 1);
  world.find();
  EXPECT_EQ(world.complaints(), "");
}

template <class Table, class First, class = void>
constexpr bool findsByHash = false;
template <class Table, class First>
constexpr bool
    findsByHash<Table, First, std::void_t<decltype(std::declval<Table&>().get(std::declval<First>(), numberAsHash))>> =
        true;
static_assert(findsByHash<psHashSet, unsigned int> && findsByHash<psHashMap, unsigned int>);
static_assert(!findsByHash<psHashSet, psId> && !findsByHash<psHashMap, psId>, "an identifier is no hash");
template <class Iterator, class Position, class = void>
constexpr bool goesToIndex = false;
template <class Iterator, class Position>
constexpr bool
    goesToIndex<Iterator, Position,
                std::void_t<decltype(std::declval<Iterator&>().goToIndex(std::declval<Position>(), pscNoLock))>> = true;
static_assert(goesToIndex<psHashIterator, int>);
static_assert(!goesToIndex<psHashIterator, psId>, "an identifier is no position");
static_assert(!std::is_constructible_v<psHashSet, psId, int> && !std::is_constructible_v<psHashMap, psId, int>);

// Used as a set, a map takes no element without an entry.
TEST(HashMap, StaysAMapWhenUsedAsASet) {
  HashWorld world(memory, Flavour::callback, Hashing::content, 5, Kind::map);
  for (int i = 1; i <= 30; ++i) {
    const ItemKey item = world.newItem(i);
    ASSERT_TRUE(world.add(item));
    world.model.add(item);
  }
  EXPECT_EQ(world.complaints(), "");
  const ItemKey bound = world.model.list()[4];
  ASSERT_TRUE(world.bind(bound, bound.id));
  EXPECT_TRUE(world.add(bound)) << "the value is null again";
  EXPECT_EQ(world.complaints(), "");
  EXPECT_TRUE(world.remove(bound)) << "a pair went, whatever its value";
  EXPECT_FALSE(world.remove(bound));
  world.model.remove(bound);
  EXPECT_EQ(world.complaints(), "");
  EXPECT_EQ(orphansOf(world.store.session()), "");
  pstHandle<psObj> doomed(world.set);
  EXPECT_EQ(psDelete(doomed), 1);
  EXPECT_EQ(orphansOf(world.store.session()), "");
}

TEST(HashMap, AddsAPairToTheBucketItIsTold) {
  HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::map, 4);
  for (int i = 0; i < 40; ++i) {
    const ItemKey item = world.newItem(i);
    const std::uint32_t hash = world.hashOf(item);
    const psId value = world.newValue(i);
    pstHandle<psHashBucket> bucket;
    int wrong = 0;
    const auto& directory = ps::detail::HashAccess::directory(static_cast<const psHashSet&>(*world.set));
    for (unsigned int k = 0; k < directory.size(); ++k) {
      if (k == hash >> (32 - statisticsIn(*world.set).depth)) bucket = directory[k];
    }
    for (unsigned int k = 0; k < directory.size(); ++k) {
      pstHandle<psHashBucket> other(directory[k]);
      if (other != bucket) wrong += world.map().addNewEntry(item.id, value, other, hash);
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(world.map().addNewEntry(item.id, value, bucket, hash));
    world.model.put(item, value);
  }
  EXPECT_EQ(world.complaints(), "");
}

// An entry that stays in its container stays the same object.
TEST(HashMap, KeepsItsEntriesWhereBucketsShareAContainer) {
  for (const bool shares : {false, true}) {
    HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::map);
    const pstHandle<psHashAdmin> admin(world.set->admin());
    if (shares) admin->setMaxBucketsPerContainer(1000);
    std::vector<pstHandle<psHashMapEntry>> entries;
    for (int i = 0; i < 60; ++i) entries.push_back(world.map().entry(pstHandle<psObj>(world.put(i).id)));
    const auto isValid = [](const pstHandle<psHashMapEntry>& entry) { return entry.isValid(); };
    EXPECT_EQ(std::all_of(entries.begin(), entries.end(), isValid), shares);
    EXPECT_EQ(world.complaints(), "");
  }
}

// A sorted map takes an entry of a hash map as a pair.
TEST(HashMap, EntriesArePairsToASortedMap) {
  HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::map);
  const ItemKey item = world.put(1);
  const pstHandle<psTreeMap> sorted(new (world.store.container("sets")) psTreeMap(4));
  EXPECT_TRUE(sorted->add(world.map().entry(pstHandle<psObj>(item.id))));
  EXPECT_EQ(sorted->get(pstHandle<psObj>(item.id)), world.model.valueOf(item));
  EXPECT_EQ(sorted->size(), 1);
}

TEST(HashSet, GoesWithTheContainerThatWasToTakeTheNextBucket) {
  if (ps::test::ScratchFolder::isOnServer()) GTEST_SKIP() << "there administrators do not note what they have given";
  HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::set);
  const pstHandle<psHashAdmin> admin(world.set->admin());
  EXPECT_FALSE(admin->provideBucketContainer().isNull());
  pstHandle<psObj> doomed(world.set);
  EXPECT_EQ(psDelete(doomed), 1);
  EXPECT_EQ(orphansOf(world.store.session()), "");
}

// What another session has committed is seen once the containers have been opened again.
TEST(HashSet, RefreshOpensEveryContainer) {
  HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::set, 4);
  for (int i = 0; i < 40; ++i) world.put(i);
  EXPECT_TRUE(world.set->refresh(pscRead) && world.set->refresh(pscUpdate) && world.set->refresh(pscNoOpen));
  std::uint64_t asked = 0;
  {
    const Refuse count(world.store.session(), 0);
    ASSERT_TRUE(world.set->refresh(pscRead));
    asked = count.asked();
  }
  EXPECT_GE(asked, 8U);
  for (std::uint64_t k = 1; k <= asked; ++k) {
    const Refuse refuse(world.store.session(), k);
    EXPECT_FALSE(world.set->refresh(pscRead)) << k;
  }
}

}  // namespace
}  // namespace ps::test
