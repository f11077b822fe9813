#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/HashWorld.h"
#include "support/RawStore.h"
#include "support/ScratchFolder.h"
#include "support/SetWorld.h"

// A page of a collection, or of its elements, cannot be read any more. Operations do what their results say, and once
// the page is mended nothing that lies in it is lost, doubled or misplaced.
namespace ps::test {
namespace {

constexpr TempStore::Place file = TempStore::Place::file;

std::vector<std::string> pagesIn(const std::string& path) {
  std::vector<std::string> pages;
  for (const auto& record : RawStore(path).content()) {
    if (record.first[0] == 'P') pages.push_back(record.first);
  }
  return pages;
}

// Adds elements that are there and others that are not, and removes some, in collection and model.
void changeAtRandom(KeyedWorld& world, std::mt19937_64& random, std::int64_t& number) {
  const std::vector<ItemKey> known = world.model.list();
  for (const ItemKey& item : known) {
    const psId value = world.model.valueOf(item);
    const bool isAdded = world.insert(item, value);
    ASSERT_TRUE(world.kind == Kind::map || !isAdded) << item.number << " is there twice";
  }
  for (int i = 0; i < 4; ++i) {
    const ItemKey item = world.newItem(++number);
    const psId value = world.newValue(number);
    if (world.insert(item, value)) world.model.put(item, value);
    const ItemKey victim = known[random() % known.size()];
    if (world.remove(victim)) world.model.remove(victim);
  }
}

// Inserts at once many that are new. The result says how many of them are there; which ones is seen later.
void changeAtOnce(KeyedWorld& world, std::int64_t& number, SetModel& perhaps, int& added) {
  std::vector<pstRef<psObj>> keys;
  std::vector<pstRef<psObj>> values;
  for (int i = 0; i < 6; ++i) {
    const ItemKey item = world.newItem(++number);
    const psId value = world.newValue(number);
    keys.emplace_back(pstHandle<psObj>(item.id));
    values.emplace_back(pstHandle<psObj>(value));
    perhaps.put(item, value);
  }
  added = world.append(keys, values);
}

void settle(KeyedWorld& world, const SetModel& perhaps, int added) {
  for (const SetModel::Pair& pair : perhaps.pairs()) {
    if (!world.contains(pair.key)) continue;
    world.model.put(pair.key, pair.value);
    --added;
  }
  ASSERT_EQ(added, 0);
}

// Changes the collection while a page cannot be read, and looks at it when the page is mended. Returns how many opens
// were refused.
std::uint64_t changeWithDamage(KeyedWorld& world, const std::string& key, std::mt19937_64& random,
                               std::int64_t& number) {
  std::string sound;
  world.store.whileClosed([&](const std::string& path) {
    sound = RawStore(path).content()[key];
    std::string damaged = sound;
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x10);
    RawStore(path).put(key, damaged);
  });
  EXPECT_EQ(world.store->begin(pscUpdate), 1);
  SetModel perhaps(world.model.byNumber());
  int added = 0;
  if (!storedCollection(world.store.session()).isNull()) {
    world.find();
    if (random() % 2 == 0) changeAtOnce(world, number, perhaps, added);
    changeAtRandom(world, random, number);
  }
  const std::uint64_t refusals = world.store->counters().refusals;
  EXPECT_EQ(world.store->commit(), 1) << world.store->lastError();
  world.store.whileClosed([&](const std::string& path) { RawStore(path).put(key, sound); });
  EXPECT_EQ(world.store->begin(pscRead), 1);
  world.find();
  settle(world, perhaps, added);
  EXPECT_EQ(world.complaints(), "");
  EXPECT_EQ(orphansOf(world.store.session()), "");
  EXPECT_EQ(world.store->commit(), 1);
  return refusals;
}

// One page after another, each in the store as it was, and then pages at random in the store as it becomes.
void damagePages(KeyedWorld& world) {
  std::int64_t number = 0;
  while (number < 25) world.put(++number);
  ASSERT_EQ(world.store->commit(), 1);
  std::mt19937_64 random(seedOr(17));
  std::uint64_t refusals = 0;
  const unsigned int stride = ScratchFolder::stepsOr(1U, 20U);
  std::vector<std::string> keys;
  Records sound;
  world.store.whileClosed([&](const std::string& path) {
    keys = pagesIn(path);
    sound = RawStore(path).content();
  });
  const SetModel before = world.model;
  for (std::size_t round = 0; round < keys.size() && !testing::Test::HasFailure(); round += stride) {
    SCOPED_TRACE("page " + std::to_string(round));
    ItemCompare::abbreviateAnyhow(static_cast<unsigned>(random()));
    refusals += changeWithDamage(world, keys[round], random, number);
    world.store.whileClosed([&](const std::string& path) { RawStore(path).replace(sound); });
    world.model = before;
  }
  for (unsigned int round = 0; round < 60 / stride && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    world.store.whileClosed([&](const std::string& path) { keys = pagesIn(path); });
    ItemCompare::abbreviateAnyhow(round);
    refusals += changeWithDamage(world, keys[random() % keys.size()], random, number);
  }
  EXPECT_GT(refusals, 100U / stride);
}

TEST(KeyedDamage, NothingIsLostOrDoubledForAPageThatCannotBeRead) {
  for (const Kind kind : {Kind::set, Kind::map}) {
    for (const bool byNumber : {true, false}) {
      SCOPED_TRACE(std::string(nameOf(kind)) + (byNumber ? " by number" : " by identifier"));
      {
        SetWorld world(file, Flavour::handle, byNumber, 4, kind);
        damagePages(world);
      }
      HashWorld world(file, Flavour::handle, byNumber ? Hashing::content : Hashing::identifier, 5, kind);
      damagePages(world);
    }
  }
}

// Additions that try the end of the tree first, as ascending ones do, succeed when the end cannot be read.
TEST(KeyedDamage, ElementsAreAddedBeforeALastLeafThatCannotBeRead) {
  SetWorld world(file, Flavour::handle, true, 8);
  ItemKey last;
  for (int number = 0; number < 400; number += 2) last = world.put(number);
  ASSERT_EQ(world.store->commit(), 1);
  std::string key;
  std::string sound;
  world.store.whileClosed([&](const std::string& path) {
    const std::uint64_t bits = last.id.bits();
    const std::string reference(reinterpret_cast<const char*>(&bits), sizeof bits);
    for (const std::string& page : pagesIn(path)) {
      if (RawStore(path).content()[page].find(reference) != std::string::npos) key = page;
    }
    ASSERT_NE(key, "");
    sound = RawStore(path).content()[key];
    RawStore(path).put(key, sound.substr(0, sound.size() - 1) + '\x7f');
  });
  ASSERT_EQ(world.store->begin(pscUpdate), 1);
  world.find();
  EXPECT_FALSE(world.contains(last));
  for (int number = 1; number < 300; number += 2) {
    const ItemKey item = world.newItem(number);
    ASSERT_TRUE(world.add(item)) << number;
    world.model.add(item);
  }
  ASSERT_EQ(world.store->commit(), 1);
  world.store.whileClosed([&](const std::string& path) { RawStore(path).put(key, sound); });
  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  EXPECT_EQ(world.complaints(), "");
}

}  // namespace
}  // namespace ps::test
