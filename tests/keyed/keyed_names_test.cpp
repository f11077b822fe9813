#include <gtest/gtest.h>

#include <memory>

#include "support/HashWorld.h"
#include "support/SetWorld.h"

// An element or key is named by a handle, a pointer, a reference or an identifier, or by a raw key where there is a
// comparator that understands it. None is taken for a position, a hash or another.
namespace ps::test {
namespace {

constexpr TempStore::Place memory = TempStore::Place::memory;

template <class Collection, class Name>
void expectFound(Collection& collection, const Name& name, const SetModel::Pair& pair) {
  const std::unique_ptr<psCollectionIterator> it(collection.keyIterator());
  EXPECT_TRUE(collection.contains(name) && it->goTo(name));
  EXPECT_EQ(it->current(pscNoLock), pair.key.id);
  if constexpr (std::is_same_v<Collection, psTreeMap> || std::is_same_v<Collection, psHashMap>) {
    EXPECT_EQ(collection.get(name), pair.value);
    EXPECT_TRUE(collection.containsKey(name));
  } else {
    EXPECT_EQ(collection.get(name), pair.key.id);
  }
}

template <class Collection, class World>
void expectFoundByEachName(World&& world) {
  auto& collection = static_cast<Collection&>(world.collection());
  for (int number = 1; number < 20; ++number) world.put(number);
  for (const SetModel::Pair& pair : world.model.pairs()) {
    const pstHandle<Item> item(pair.key.id);
    expectFound(collection, item, pair);
    expectFound(collection, item.operator->(), pair);
    expectFound(collection, pstRef<Item>(item), pair);
    expectFound(collection, pair.key.id, pair);
  }
  const SetModel::Pair known = world.model.pairs()[3];
  const void* const raw = &known.key.number;
  if (world.model.byNumber()) expectFound(collection, raw, known);
  const std::int64_t absent = 77;
  const void* const unknown = world.model.byNumber() ? &absent : raw;
  const std::unique_ptr<psCollectionIterator> it(collection.keyIterator());
  EXPECT_FALSE(collection.contains(unknown) || it->goTo(unknown) || it->hasNext());
  EXPECT_TRUE(collection.get(unknown).isNull());
  const pstHandle<psObj> null;
  EXPECT_FALSE(collection.contains(null) || collection.remove(null));
  world.model.remove(known.key);
  EXPECT_TRUE(collection.remove(pstHandle<Item>(known.key.id).operator->()));
  EXPECT_EQ(world.complaints(), "");
}

TEST(KeyedNames, EachFindsItsElementAndNoOther) {
  for (const bool byNumber : {true, false}) {
    const Hashing hashing = byNumber ? Hashing::content : Hashing::identifier;
    expectFoundByEachName<psTreeSet>(SetWorld(memory, Flavour::handle, byNumber, 4));
    expectFoundByEachName<psTreeMap>(SetWorld(memory, Flavour::handle, byNumber, 4, Kind::map));
    expectFoundByEachName<psHashSet>(HashWorld(memory, Flavour::handle, hashing, 5, Kind::set));
    expectFoundByEachName<psHashMap>(HashWorld(memory, Flavour::handle, hashing, 5, Kind::map));
  }
}

int anyCallback(unsigned int, unsigned int) { return 0; }

TEST(KeyedNames, ASortedMapTellsKeysFromPositions) {
  SetWorld world(memory, Flavour::handle, true, 4, Kind::map);
  for (int i = 1; i <= 9; ++i) world.put(i);
  psTreeMap& map = world.map();
  EXPECT_EQ(map.get(0), world.model.list()[0].id) << "a position, and the key there";
  EXPECT_EQ(map.indexOf(pstRef<Item>(world.model.list()[4].id), 0), 4);
  EXPECT_EQ(map.put(nullptr, psId()) + map.put(nullptr, psId(), anyCallback), 0);
  EXPECT_EQ(world.complaints(), "");
}

TEST(KeyedNames, AHashMapTellsKeysFromEntries) {
  HashWorld world(memory, Flavour::handle, Hashing::content, 5, Kind::map);
  for (int i = 1; i <= 9; ++i) world.put(i);
  psHashMap& map = world.map();
  const SetModel::Pair pair = world.model.pairs()[3];
  const pstHandle<Item> item(pair.key.id);
  const Item* const pointer = item.operator->();
  const void* const raw = &pair.key.number;
  const psHashSet& set = map;
  EXPECT_TRUE(set.get(pointer) == pair.value && set.get(item) == pair.value && set.get(raw) == pair.value);
  EXPECT_TRUE(map.entry(pointer) == map.entry(item) && map.entry(raw) == map.entry(item) &&
              map.contains(map.entry(raw)));
  const std::unique_ptr<psCollectionIterator> entries(map.iterator());
  const std::unique_ptr<psCollectionIterator> keys(map.keyIterator());
  EXPECT_TRUE(entries->goTo(raw) && entries->current(pscNoLock) == map.entry(item));
  EXPECT_TRUE(entries->goTo(map.entry(item)) && keys->goTo(map.entry(item)));
  EXPECT_TRUE(entries->current(pscNoLock) == map.entry(item) && keys->current(pscNoLock) == item);
  const std::int64_t absent = 77;
  EXPECT_TRUE(map.entry(&absent).isNull());
  EXPECT_FALSE(map.put(nullptr, pair.value) || map.add(pstHandle<psObj>()) || map.contains(pstHandle<psObj>()));
  EXPECT_FALSE(map.put(item, pair.value, 1, nullptr, anyCallback) ||
               map.put(item, pair.value, 1, anyCallback, nullptr));
  EXPECT_EQ(map.unbind(item.oid()), pair.value);
  EXPECT_TRUE(map.unbind(pointer).isNull());
  world.model.remove(pair.key);
  EXPECT_EQ(world.complaints(), "");
}

}  // namespace
}  // namespace ps::test
