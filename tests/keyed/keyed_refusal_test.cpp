#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "list/psTreeList.h"
#include "store/pstItr.h"
#include "support/HashWorld.h"
#include "support/KeyedSweep.h"
#include "support/SetWorld.h"

// Operations on sorted and hashed sets and maps in which the store refuses to open something, at each point where it
// could. Whatever is refused, the collection is sound afterwards, holds what the result says, and is back after an
// abort.
namespace ps::test {
namespace {

enum class Structure { sorted, hashed };

constexpr Structure structures[] = {Structure::sorted, Structure::hashed};
constexpr Kind kinds[] = {Kind::set, Kind::map};

std::string nameOf(Structure structure, Kind kind) {
  return std::string(structure == Structure::sorted ? "sorted " : "hashed ") + ps::test::nameOf(kind);
}

std::unique_ptr<KeyedWorld> makeWorld(Structure structure, Kind kind, int size, bool byNumber = true,
                                      Flavour flavour = Flavour::handle) {
  constexpr TempStore::Place memory = TempStore::Place::memory;
  std::unique_ptr<KeyedWorld> world;
  if (structure == Structure::sorted) {
    world = std::make_unique<SetWorld>(memory, flavour, byNumber, 4, kind);
  } else {
    const Hashing hashing = byNumber ? Hashing::content : Hashing::identifier;
    world = std::make_unique<HashWorld>(memory, flavour, hashing, 5, kind, 2);
  }
  for (int i = 1; i <= size; ++i) world->put(i * 10);
  return world;
}

// A collection of another structure, which goes by identifier.
pstHandle<psCollection> makeOther(KeyedWorld& world, Structure structure, Kind kind) {
  const pstHandle<psContObj> place = world.store.container("sets");
  if (structure == Structure::sorted) {
    return kind == Kind::map ? pstHandle<psCollection>(new (place) psTreeMap(4))
                             : pstHandle<psCollection>(new (place) psTreeSet(4));
  }
  return kind == Kind::map ? pstHandle<psCollection>(new (place) psHashMap(3, 4))
                           : pstHandle<psCollection>(new (place) psHashSet(3, 4));
}

bool putInto(psCollection& map, const psId& key, const psId& value) {
  if (map.psIsKindOf(psTreeMap::pstTypeN)) return static_cast<psTreeMap&>(map).put(key, value) == 1;
  return static_cast<psHashMap&>(map).put(key, value);
}

// The keys, or values, in the order in which they are stored.
std::vector<psId> walkOver(psCollectionIterator* over) {
  const std::unique_ptr<psCollectionIterator> it(over);
  std::vector<psId> ids;
  while (it->hasNext()) ids.push_back(it->next(pscNoLock));
  return ids;
}

// A comparator cannot place an element whose object does not exist any more. Nothing is misplaced or lost beside it;
// where an order cannot be told, nothing is done.
TEST(KeyedRefusal, WhatWasDeletedMisleadsNobody) {
  for (const Structure structure : structures) {
    for (const Kind kind : kinds) {
      for (const Flavour flavour : {Flavour::handle, Flavour::raw, Flavour::callback}) {
        SCOPED_TRACE(nameOf(structure, kind) + ", " + ps::test::nameOf(flavour));
        const auto world = makeWorld(structure, kind, 60, true, flavour);
        const pstHandle<psTreeList> list(new (world->store.container("sets")) psTreeList(4));
        const std::vector<ItemKey> items = world->model.list();
        for (const ItemKey& item : items) {
          pstHandle<psObj> object(item.id);
          if (item.number % 60 != 0) {
            ASSERT_TRUE(list->add(object));
          } else {
            ASSERT_EQ(psDelete(object), 1);
            ASSERT_TRUE(world->model.remove(item));
            ASSERT_FALSE(world->collection().equal(pstHandle<psObj>(item.id), pstHandle<psObj>(items[0].id)));
          }
        }
        int failures = 0;
        for (int number = 0; number <= 620; number += 20) {
          const ItemKey item = number == 420 ? world->newItem(number) : world->newItem(number + 5);
          const psId value = world->newValue(number);
          const bool isInserted = world->insert(item, value);
          if (isInserted) world->model.add(item, value);
          failures += isInserted ? 0 : 1;
          ASSERT_TRUE(isInserted || !world->contains(item)) << item.number;
        }
        EXPECT_EQ(failures > 0, structure == Structure::sorted);
        pstHandle<psCollection> other(world->collection().psOid());
        list->retainAll(other);
        EXPECT_EQ(list->size(), 50) << "not found is not absent";
        EXPECT_EQ(world->store->counters().refusals, 0U);
        world->collection().removeAllDeleted();
        ASSERT_EQ(world->complaints(), "");
      }
    }
  }
}

// A destructor cannot report: it is enough that the abort restores all, which the sweep checks.
TEST(KeyedRefusal, ADestructionCanBeUndone) {
  for (const Structure structure : structures) {
    for (const Kind kind : kinds) {
      for (const int size : {3, 14}) {
        const auto world = makeWorld(structure, kind, size);
        const auto act = [&] {
          pstHandle<psObj> doomed(world->collection().psOid());
          return psDelete(doomed) == 1;
        };
        const auto verify = [&](bool result, bool refused) {
          if (refused) return;
          ASSERT_TRUE(result);
          ASSERT_EQ(orphansOf(world->store.session()), "");
        };
        sweep(*world, {act, verify});
        if (HasFailure()) return;
      }
    }
  }
}

TEST(KeyedRefusal, WhatIsHalfConstructedTakesNothingAndCanBeDeleted) {
  for (const Structure structure : structures) {
    for (const Kind kind : kinds) {
      const auto world = makeWorld(structure, kind, 0);
      const ItemKey item = world->put(1);
      const pstHandle<psContObj> place = world->store.container("sets");
      pstHandle<psCollection> made;
      const auto act = [&] {
        place.open(pscUpdate);
        made = makeOther(*world, structure, kind);
        return !made.isNull();
      };
      const auto verify = [&](bool result, bool refused) {
        ASSERT_TRUE(result || refused);
        if (!result) return;
        const bool whole = !made->admin().isNull();
        ASSERT_TRUE(whole || refused);
        if (structure == Structure::hashed) {
          ASSERT_EQ(pstHandle<psHashSet>(made)->expandDirectory(), whole) << "nothing makes it whole";
          ASSERT_EQ(pstHandle<psHashSet>(made)->rehash(pstHandle<psObj>(item.id), 7), whole && kind == Kind::set);
          ASSERT_EQ(walkOver(made->iterator()).size(), whole && kind == Kind::set ? 1U : 0U);
          ASSERT_EQ(made->size(), !whole ? -1 : kind == Kind::set ? 1 : 0);
          made->clear();
        }
        const bool inserted =
            kind == Kind::map ? putInto(*made, item.id, psId()) : made->add(pstHandle<psObj>(item.id));
        ASSERT_EQ(inserted, whole);
        ASSERT_EQ(made->contains(pstHandle<psObj>(item.id)), whole);
        ASSERT_EQ(psDelete(made), 1);
        ASSERT_EQ(orphansOf(world->store.session()), "");
      };
      sweep(*world, {act, verify});
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace ps::test
