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

// A comparator cannot place an element whose object does not exist any more. Nothing beside it is misplaced or lost,
// and where an order cannot be told, nothing is done.
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

// What is put has its own value, whatever could not be read.
TEST(KeyedRefusal, AddAllStopsButDoesNotErr) {
  for (const Structure structure : structures) {
    for (const Structure otherStructure : structures) {
      const auto world = makeWorld(structure, Kind::map, 9);
      const pstHandle<psCollection> source = makeOther(*world, otherStructure, Kind::map);
      SetModel whole = world->model;
      for (int i = 1; i <= 9; ++i) {
        const ItemKey item =
            i % 3 == 0 ? world->model.list()[static_cast<std::size_t>(i - 1)] : world->newItem(i * 10 + 5);
        const psId value = world->newValue(i);
        whole.put(item, value);
        ASSERT_TRUE(putInto(*source, item.id, value));
      }
      const auto act = [&] {
        pstHandle<psCollection> argument(source.oid());
        return world->collection().addAll(argument);
      };
      const auto verify = [&](bool result, bool refused) {
        ASSERT_TRUE(result || refused);
        SetModel actual(true);
        for (const SetModel::Pair& pair : whole.pairs()) {
          const bool isThere = world->contains(pair.key);
          const bool wasThere = world->model.contains(pair.key);
          ASSERT_TRUE(isThere || !wasThere) << pair.key.number << " is lost";
          ASSERT_TRUE(isThere || refused) << pair.key.number;
          const bool hasOldValue = wasThere && world->get(pair.key) == world->model.valueOf(pair.key);
          if (isThere) actual.add(pair.key, hasOldValue ? world->model.valueOf(pair.key) : pair.value);
        }
        ASSERT_EQ(world->complaintsAgainst(actual), "");
        ASSERT_EQ(leftoversOf(world->store.session()), "");
      };
      sweep(*world, {act, verify});
      if (HasFailure()) return;
    }
  }
}

struct Bulk {
  const char* name;
  std::function<void(psCollection&, pstHandle<psCollection> other)> act;
  std::function<bool(int number, bool inOther)> keeps;
};

const Bulk bulks[] = {
    {"clear", [](psCollection& collection, const pstHandle<psCollection>&) { collection.clear(); },
     [](int, bool) { return false; }},
    {"retainAll", [](psCollection& collection, pstHandle<psCollection> other) { collection.retainAll(other); },
     [](int, bool inOther) { return inOther; }},
    {"removeAll", [](psCollection& collection, pstHandle<psCollection> other) { collection.removeAll(other); },
     [](int, bool inOther) { return !inOther; }},
    {"removeAllDeleted",
     [](psCollection& collection, const pstHandle<psCollection>&) { collection.removeAllDeleted(); },
     [](int number, bool) { return number != 50 && number != 60; }},
};

// An operation on many elements may stop on its way, but takes none that it is not to take.
void expectNothingElseGone(KeyedWorld& world, const pstHandle<psCollection>& other, const Bulk& bulk) {
  SetModel whole(false);
  for (const SetModel::Pair& pair : world.model.pairs()) {
    const bool inOther = pair.key.number % 20 == 0;
    if (inOther) other->add(pstHandle<psObj>(pair.key.id));
    if (bulk.keeps(static_cast<int>(pair.key.number), inOther)) whole.add(pair.key, pair.value);
  }
  // Keys 50 and 60 are deleted, and values 60 and 70.
  const auto prepare = [&] {
    ASSERT_EQ(other.open(pscRead), 1);
    if (bulk.name != std::string("removeAllDeleted")) return;
    for (const SetModel::Pair& pair : world.model.pairs()) {
      const std::int64_t number = pair.key.number;
      pstHandle<psObj> key(pair.key.id);
      pstHandle<psObj> value(pair.value);
      if (number == 50 || number == 60) psDelete(key);
      if (!value.isNull() && (number == 60 || number == 70)) psDelete(value);
    }
  };
  const auto act = [&] { return bulk.act(world.collection(), other), true; };
  const auto verify = [&](bool, bool refused) {
    SetModel actual(false);
    for (const SetModel::Pair& pair : world.model.pairs()) {
      const bool isThere = world.contains(pair.key);
      ASSERT_TRUE(isThere || !whole.contains(pair.key)) << pair.key.number << " is lost";
      ASSERT_TRUE(refused || isThere == whole.contains(pair.key)) << pair.key.number;
      const bool keepsValue =
          pair.value.isValid() || (refused && world.kind == Kind::map && !world.get(pair.key).isNull());
      if (isThere) actual.add(pair.key, keepsValue ? pair.value : psId());
    }
    ASSERT_EQ(world.complaintsAgainst(actual), "");
    ASSERT_EQ(leftoversOf(world.store.session()), "");
  };
  sweep(world, {act, verify, prepare});
}

TEST(KeyedRefusal, BulkOperationsStopButDoNotErr) {
  for (const Structure structure : structures) {
    for (const Kind kind : kinds) {
      for (const Bulk& bulk : bulks) {
        SCOPED_TRACE(nameOf(structure, kind) + ", " + bulk.name);
        const auto world = makeWorld(structure, kind, 14, false);
        expectNothingElseGone(*world, makeOther(*world, structure, Kind::set), bulk);
        if (HasFailure()) return;
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
          ASSERT_EQ(leftoversOf(world->store.session()), "");
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
        static_cast<void>(place.open(pscUpdate));
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
        ASSERT_EQ(leftoversOf(world->store.session()), "");
      };
      sweep(*world, {act, verify});
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace ps::test
