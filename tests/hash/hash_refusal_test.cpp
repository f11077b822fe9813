#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "hash/HashPosition.h"
#include "support/HashWorld.h"
#include "support/KeyedSweep.h"

// Additions to hash tables and removals from them, in each shape in which they meet a slot and its bucket, with
// something refused at each point where it could be.
namespace ps::test {
namespace {

constexpr Kind kinds[] = {Kind::set, Kind::map};
constexpr int slots = 5;  // a bucket is full with as many

// Flavours differ in the search alone.
std::vector<std::pair<Kind, Flavour>> kindsAndFlavours() {
  std::vector<std::pair<Kind, Flavour>> all = {{Kind::set, Flavour::handle}, {Kind::map, Flavour::handle}};
  for (const Flavour flavour : testable({Flavour::callback, Flavour::java})) all.emplace_back(Kind::map, flavour);
  return all;
}

// What an item meets where it belongs.
struct Shape {
  int inSlot = 0;
  int inBucket = 0;
  bool sharesDirectory = false;  // whether its bucket can be split without doubling the directory
  bool hasChains = false;        // anywhere in the bucket
};

Shape shapeAt(const HashWorld& world, const ItemKey& item) {
  const auto position = ps::detail::positionOf(*world.set, world.hashOf(item));
  const ps::detail::BucketView bucket(position->bucket());
  const psHashBucket& counts = *bucket;
  return {ps::detail::SlotView(bucket, position->slot).count(), counts.size(),
          position->range.end - position->range.first > 1, ps::detail::HashAccess::chained(counts) > 0};
}

struct Addition {
  const char* name;
  std::function<bool(const Shape&)> isWanted;
};

const Addition additions[] = {
    {"an empty slot", [](const Shape& shape) { return shape.inSlot == 0 && shape.inBucket < slots; }},
    {"a slot with one", [](const Shape& shape) { return shape.inSlot == 1 && shape.inBucket < slots; }},
    {"a chain", [](const Shape& shape) { return shape.inSlot > 1 && shape.inBucket < slots; }},
    {"a full bucket",
     [](const Shape& shape) { return shape.inBucket == slots && shape.sharesDirectory && shape.hasChains; }},
    {"a full bucket that takes the directory's last bit",
     [](const Shape& shape) { return shape.inBucket == slots && !shape.sharesDirectory && shape.hasChains; }},
};

// Puts numbers until the next one meets the wanted shape, and returns that next one, not yet put.
ItemKey fillUntil(HashWorld& world, const std::function<bool(const Shape&)>& isWanted) {
  for (std::int64_t number = 1; number < 2000; ++number) {
    const ItemKey next = world.newItem(number);
    if (number > 12 && isWanted(shapeAt(world, next))) return next;
    world.put(next);
  }
  ADD_FAILURE() << "no bucket of that shape";
  return {};
}

TEST(HashRefusal, AnAdditionHappensOrDoesNot) {
  for (const auto& [kind, flavour] : kindsAndFlavours()) {
    for (const Addition& addition : additions) {
      for (const bool sharesContainers : {false, true}) {
        if (sharesContainers && flavour != Flavour::handle) continue;
        SCOPED_TRACE(std::string(nameOf(kind)) + ", " + nameOf(flavour) + ", " + addition.name +
                     (sharesContainers ? ", buckets share a container" : ""));
        HashWorld world(TempStore::Place::memory, flavour, Hashing::content, slots, kind);
        const pstHandle<psHashAdmin> admin(world.set->admin());
        if (sharesContainers) admin->setMaxBucketsPerContainer(1000);
        sweepInsertion(world, fillUntil(world, addition.isWanted));
        if (HasFailure()) return;
      }
    }
  }
}

TEST(HashRefusal, ARemovalHappensOrDoesNot) {
  for (const auto& [kind, flavour] : kindsAndFlavours()) {
    for (int size = 1; size <= 3; ++size) {
      for (int place = 0; place < size; ++place) {
        SCOPED_TRACE(std::string(nameOf(kind)) + ", " + nameOf(flavour) + ", " + std::to_string(place) + " of " +
                     std::to_string(size));
        for (const auto sweepOver : {sweepRemoval, sweepRemovalByIterator}) {
          HashWorld world(TempStore::Place::memory, flavour, Hashing::constant, slots, kind);
          for (int i = 0; i < size; ++i) world.put(i);
          sweepOver(world, world.inOrder()[static_cast<std::size_t>(place)]);
        }
        if (HasFailure()) return;
      }
    }
  }
}

// The contents of the buckets and chains of a table, by their identifiers.
std::map<std::uint64_t, std::vector<psId>> contentsOf(const psHashSet& set) {
  std::map<std::uint64_t, std::vector<psId>> contents;
  ps::detail::visitBuckets(set, [&](const ps::detail::BucketRange& range) {
    const ps::detail::BucketView bucket(range.bucket);
    std::vector<psId>& slotsOfBucket = contents[range.bucket.oid().bits()];
    for (int i = 0; i < bucket.slots(); ++i) {
      slotsOfBucket.push_back(bucket[i].oid());
      const ps::detail::SlotView slot(bucket, i);
      if (slot.chain().isNull()) continue;
      std::vector<psId>& chain = contents[slot.chain().oid().bits()];
      for (int k = 0; k < slot.count(); ++k) chain.push_back(slot[k].oid());
    }
    return true;
  });
  return contents;
}

// What changes has been opened for update, so that whoever holds a lock on it is heard.
TEST(HashRefusal, NothingIsWrittenThatWasNotOpened) {
  for (const Kind kind : kinds) {
    HashWorld world(TempStore::Place::memory, Flavour::handle, Hashing::content, slots, kind);
    for (int i = 0; i < 60; ++i) {
      world.put(i);
      if (i % 3 == 2) {
        const ItemKey item = world.model.list()[static_cast<std::size_t>(i / 3)];
        ASSERT_TRUE(world.remove(item));
        world.model.remove(item);
      }
      const auto before = contentsOf(*world.set);
      std::set<std::uint64_t> opened;
      world.store->openGuard([&](const psId& id, psMode mode) {
        if (mode == pscUpdate) opened.insert(id.bits());
        return true;
      });
      const ItemKey item = world.newItem(100 + i);
      const bool removes = i % 2 == 1;
      const ItemKey known = world.model.list()[static_cast<std::size_t>(world.model.size() / 2)];
      ASSERT_TRUE(removes ? world.remove(known) : world.insert(item, item.id));
      removes ? static_cast<void>(world.model.remove(known))
              : world.model.put(item, kind == Kind::map ? item.id : psId());
      world.store->openGuard(nullptr);
      const auto after = contentsOf(*world.set);
      for (const auto& [id, content] : before) {
        const auto found = after.find(id);
        const bool isChanged = found == after.end() || found->second != content;
        ASSERT_TRUE(!isChanged || opened.count(id) != 0) << "step " << i;
      }
    }
  }
}

// Loops over a map with an entry that does not exist end, and no other pair goes than is to go.
TEST(HashRefusal, LoopsEndWhereAnEntryIsGone) {
  HashWorld world(TempStore::Place::memory, Flavour::handle, Hashing::content, slots, Kind::map);
  for (int i = 0; i < 14; ++i) world.put(i);
  const std::vector<ItemKey> items = world.inOrder();
  const ItemKey& gone = items[6];
  pstHandle<psCollection> other(new (world.store.container("sets")) psHashSet(3, 1));
  for (const ItemKey& item : items) {
    if (item.number % 2 == 0) other->add(item.id);
  }
  const auto walk = [](psCollectionIterator* over) {
    const std::unique_ptr<psCollectionIterator> it(over);
    int steps = 0;
    while (it->hasNext() && ++steps < 100) it->next(pscNoLock);
    return steps;
  };
  const struct {
    std::function<void()> act;
    std::function<bool(bool isEven)> keeps;
    int dead;  // pairs without an entry that are left
  } loops[] = {
      {[&] { ASSERT_LT(walk(world.set->keyIterator()), 16) << "the step that is refused once is taken again"; },
       [](bool) { return true; }, 1},
      {[&] { ASSERT_LT(walk(world.set->valueIterator()), 16); }, [](bool) { return true; }, 1},
      {[&] { world.set->clear(); }, [](bool) { return false; }, 0},
      {[&] { world.set->removeAllDeleted(); }, [](bool) { return true; }, 0},
      {[&] { world.set->removeAll(other); }, [](bool isEven) { return !isEven; }, 1},
      {[&] { world.set->retainAll(other); }, [](bool isEven) { return isEven; }, 0}};
  const auto destroy = [&] {
    pstHandle<psObj> entry(world.map().entry(pstHandle<psObj>(gone.id)));
    ASSERT_EQ(psDelete(entry), 1);
    ASSERT_EQ(other.open(pscRead), 1);
  };
  for (const auto& loop : loops) {
    SCOPED_TRACE(&loop - loops);
    const auto verify = [&](bool, bool refused) {
      int kept = 0;
      for (const ItemKey& item : items) {
        if (item.id == gone.id) continue;
        const bool keeps = loop.keeps(item.number % 2 == 0);
        ASSERT_TRUE(world.contains(item) ? keeps || refused : !keeps) << item.number;
        kept += keeps ? 1 : 0;
      }
      ASSERT_TRUE(refused || world.set->size() == kept + loop.dead) << world.set->size();
    };
    sweep(world, {[&] { return loop.act(), true; }, verify, destroy});
    if (HasFailure()) return;
    ASSERT_EQ(world.store->begin(pscUpdate), 1);
  }
  // Where nothing can be removed at all.
  destroy();
  ASSERT_EQ(world.store->commit(), 1);
  ASSERT_EQ(world.store->begin(pscRead), 1);
  for (const auto& loop : loops) loop.act();
  EXPECT_EQ(world.set->size(), 14);
}

TEST(HashRefusal, StatisticsLeaveOutTheChainThatIsRefused) {
  HashWorld world(TempStore::Place::memory, Flavour::handle, Hashing::fewValues, slots, Kind::set);
  for (int i = 0; i < 12; ++i) world.put(i);
  ASSERT_EQ(world.store->commit(), 1);
  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  const std::string whole = statisticsOf(*world.set);
  ASSERT_NE(whole.find("Number of chains: 3\nMin chain size: 4\nMax chain size: 4\n"), std::string::npos) << whole;
  int without = 0;
  bool bit = true;
  for (std::uint64_t k = 1; bit; ++k) {
    const Refuse refuse(world.store.session(), k);
    const std::string text = statisticsOf(*world.set);
    bit = refuse.bit();
    ASSERT_EQ(text.find("size: -1"), std::string::npos) << text;
    without += text.find("Number of chains: 2\n") != std::string::npos ? 1 : 0;
  }
  EXPECT_GE(without, 3);
}

// An entry that lies elsewhere is made anew beside its bucket, or stays.
TEST(HashRefusal, AnEntryIsPlacedOrStays) {
  HashWorld world(TempStore::Place::memory, Flavour::handle, Hashing::content, slots, Kind::map);
  for (int i = 0; i < 40; ++i) world.put(i);
  const ItemKey item = world.newItem(100);
  const psId value = world.newValue(100);
  const std::uint32_t hash = world.hashOf(item);
  SetModel after = world.model;
  after.put(item, value);
  pstHandle<psObj> entry;
  const auto prepare = [&] {
    const pstHandle<psContObj> place = world.store.container("entries");
    entry = pstHandle<psObj>(new (place) psHashMapEntry(pstRef<psObj>(item.id), pstRef<psObj>(value)));
  };
  const auto verify = [&](bool result, bool refused) {
    ASSERT_EQ(entry.isValid(), !result);
    if (!result) psDelete(entry);
    expectWhole(world, after, result, refused);
  };
  sweep(world, {[&] { return world.set->rehash(entry, hash); }, verify, prepare});
}

}  // namespace
}  // namespace ps::test
