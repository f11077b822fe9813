#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "store/pstItr.h"
#include "support/SetWorld.h"
#include "support/Sweep.h"

// Operations on sets and maps in which the store refuses to open something, at each point where it could. Whatever is
// refused, the set is sound afterwards, holds what the operation's result says, and is back after an abort.
namespace ps::test {
namespace {

using Leaf = pstHandle<psBTree>;

constexpr Kind kinds[] = {Kind::set, Kind::map};

Leaf leafOf(const SetWorld& world, const ItemKey& item) {
  return world.set->potentialParentOf(pstHandle<psObj>(item.id));
}

std::vector<Leaf> leavesOf(const SetWorld& world) {
  std::vector<Leaf> leaves;
  for (Leaf leaf = world.set->atFirst(); !leaf.isNull(); leaf = leaf->next()) leaves.push_back(leaf);
  return leaves;
}

bool isFirstOfParent(const Leaf& leaf) { return leaf->parent()->atFirst() == leaf; }

// Puts ascending numbers until the next one would go into a leaf of the wanted shape, and returns that next one, not
// yet put.
ItemKey fillUntil(SetWorld& world, const std::function<bool(const Leaf&)>& isWanted) {
  for (std::int64_t number = 10; number < 10000; number += 10) {
    const ItemKey next = world.newItem(number);
    if (number > 10 && isWanted(leafOf(world, next))) return next;
    world.put(next);
  }
  ADD_FAILURE() << "no leaf of that shape";
  return {};
}

void fill(SetWorld& world, int count) {
  for (int i = 1; i <= count; ++i) world.put(i * 10);
}

// Removes the elements of the leaves that are to go, but for the first element, and returns that one.
ItemKey thinOut(SetWorld& world, const std::function<bool(const Leaf&)>& isToGo) {
  std::vector<ItemKey> condemned;
  for (const ItemKey& item : world.model.list()) {
    if (isToGo(leafOf(world, item))) condemned.push_back(item);
  }
  for (std::size_t i = 1; i < condemned.size(); ++i) {
    world.model.remove(condemned[i]);
    world.keyed.remove(*world.set, condemned[i]);
  }
  EXPECT_FALSE(condemned.empty());
  return condemned.front();
}

ItemKey lastOf(SetWorld& world, const Leaf& leaf) {
  return thinOut(world, [leaf](const Leaf& other) { return other == leaf; });
}

ItemKey firstOf(const SetWorld& world, const Leaf& leaf) {
  for (const ItemKey& item : world.model.list()) {
    if (item.id == leaf->first()) return item;
  }
  ADD_FAILURE() << "the leaf's first is nowhere";
  return {};
}

Leaf findLeaf(const SetWorld& world, const std::function<bool(const Leaf&)>& isWanted) {
  for (const Leaf& leaf : leavesOf(world)) {
    if (isWanted(leaf)) return leaf;
  }
  ADD_FAILURE() << "no leaf of that shape";
  return {};
}

// Prepares a tree and says which element is then to be added to it, or removed.
struct Shape {
  const char* name;
  std::function<ItemKey(SetWorld&)> prepare;
};

bool isRoot(const Leaf& node) { return node->parent().isNull(); }

const Shape shapesToAddTo[] = {
    {"an empty set", [](SetWorld& world) { return world.newItem(5); }},
    {"a leaf with room", [](SetWorld& world) { return fill(world, 3), world.newItem(25); }},
    {"the lowest place", [](SetWorld& world) { return fill(world, 11), world.newItem(5); }},
    {"the root as a full leaf",
     [](SetWorld& world) { return fillUntil(world, [](const Leaf& leaf) { return isRoot(leaf) && leaf->isFull(); }); }},
    {"a full leaf below a parent with room",
     [](SetWorld& world) {
       return fillUntil(world,
                        [](const Leaf& leaf) { return !isRoot(leaf) && leaf->isFull() && !leaf->parent()->isFull(); });
     }},
    {"a full leaf below a full parent",
     [](SetWorld& world) {
       return fillUntil(world, [](const Leaf& leaf) {
         return !isRoot(leaf) && !isRoot(leaf->parent()) && leaf->isFull() && leaf->parent()->isFull() &&
                !leaf->parent()->parent()->isFull();
       });
     }},
    {"a full leaf with nothing but full nodes above",
     [](SetWorld& world) {
       return fillUntil(world, [](const Leaf& leaf) {
         bool full = leaf->root()->depth() == 3;
         for (Leaf node = leaf; full && !node.isNull(); node = node->parent()) full = node->isFull();
         return full;
       });
     }},
};

const Shape aKeyThatIsThere = {"a key that is there",
                               [](SetWorld& world) { return fill(world, 30), world.model.list()[15]; }};

const Shape shapesToRemoveFrom[] = {
    {"the only element", [](SetWorld& world) { return world.put(10); }},
    {"an element within a leaf", [](SetWorld& world) { return fill(world, 30), world.model.list()[15]; }},
    {"the first of a leaf", [](SetWorld& world) { return fill(world, 30), firstOf(world, leavesOf(world)[5]); }},
    {"the last of a leaf that is not its parent's first",
     [](SetWorld& world) {
       fill(world, 60);
       return lastOf(world, findLeaf(world, [](const Leaf& leaf) { return !isFirstOfParent(leaf); }));
     }},
    {"the last of a leaf that names its parent",
     [](SetWorld& world) {
       fill(world, 60);
       const Leaf first = leavesOf(world).front();
       return lastOf(world,
                     findLeaf(world, [first](const Leaf& leaf) { return isFirstOfParent(leaf) && leaf != first; }));
     }},
    {"the last of the first leaf of all",
     [](SetWorld& world) { return fill(world, 60), lastOf(world, leavesOf(world).front()); }},
    {"the last below a child of the root",
     [](SetWorld& world) {
       fill(world, 60);
       const Leaf top = leavesOf(world).front()->childOf(world.set);
       return thinOut(world, [&](const Leaf& leaf) { return leaf->childOf(world.set) == top; });
     }},
    {"the last of a deep tree",
     [](SetWorld& world) { return fill(world, 60), thinOut(world, [](const Leaf&) { return true; }); }},
};

// An operation on one element happens, and says so, or does not happen.
void expectWhole(const SetWorld& world, const SetModel& after, bool result, bool refused) {
  ASSERT_TRUE(result || refused);
  ASSERT_EQ(complaintsAbout(world.set, result ? after : world.model, world.keyed), "") << "the result was " << result;
  ASSERT_EQ(orphansOf(world.store.session()), "") << "the result was " << result;
}

void expectWholeInsertion(Kind kind, Flavour flavour, bool byNumber, const Shape& shape) {
  SCOPED_TRACE(std::string(nameOf(flavour)) + nameOf(kind) + (byNumber ? ", by number, " : ", by identifier, ") +
               shape.name);
  SetWorld world(TempStore::Place::memory, flavour, byNumber, 4, kind);
  const ItemKey item = shape.prepare(world);
  const psId value = world.newValue(1000);
  SetModel after = world.model;
  after.put(item, value);
  sweep(world, {[&] { return world.insert(item, value); },
                [&](bool result, bool refused) { expectWhole(world, after, result, refused); }});
}

TEST(SortedRefusal, AnInsertionHappensOrDoesNot) {
  for (const Flavour flavour : {Flavour::handle, Flavour::callback}) {
    for (const bool byNumber : {true, false}) {
      for (const Kind kind : kinds) {
        for (const Shape& shape : shapesToAddTo) expectWholeInsertion(kind, flavour, byNumber, shape);
      }
      expectWholeInsertion(Kind::map, flavour, byNumber, aKeyThatIsThere);
      if (HasFailure()) return;
    }
  }
}

TEST(SortedRefusal, ARemovalHappensOrDoesNot) {
  for (const Kind kind : kinds) {
    for (const Flavour flavour : {Flavour::handle, Flavour::raw, Flavour::callback}) {
      for (const Shape& shape : shapesToRemoveFrom) {
        SCOPED_TRACE(std::string(nameOf(flavour)) + nameOf(kind) + ", " + shape.name);
        SetWorld world(TempStore::Place::memory, flavour, true, 4, kind);
        const ItemKey item = shape.prepare(world);
        SetModel after = world.model;
        after.remove(item);
        sweep(world, {[&] { return world.keyed.remove(*world.set, item); },
                      [&](bool result, bool refused) { expectWhole(world, after, result, refused); }});
        if (HasFailure()) return;
      }
    }
  }
}

TEST(SortedRefusal, AnIteratorThatCannotRemoveStaysWhereItIs) {
  for (const Shape& shape : shapesToRemoveFrom) {
    SCOPED_TRACE(shape.name);
    SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map);
    const ItemKey item = shape.prepare(world);
    SetModel after = world.model;
    after.remove(item);
    const int rank = after.rank(item);
    const psId next = rank < after.size() ? after.list()[static_cast<std::size_t>(rank)].id : psId();
    std::unique_ptr<psCollectionIterator> iterator;
    const auto verify = [&](bool result, bool refused) {
      expectWhole(world, after, result, refused);
      ASSERT_EQ(iterator->currentIndex(), result ? rank - 1 : rank);
      ASSERT_EQ(result ? iterator->next(pscNoLock) : iterator->current(pscNoLock), result ? next : item.id);
      iterator.reset();
    };
    const auto prepare = [&] {
      iterator.reset(world.set->iterator());
      ASSERT_TRUE(iterator->goTo(pstHandle<psObj>(item.id)));
    };
    sweep(world, {[&] { return iterator->remove() == 1; }, verify, prepare});
    if (HasFailure()) return;
  }
}

// What cannot be read is not found; nothing is found in its place.
TEST(SortedRefusal, ALookUpIsRightOrFindsNothing) {
  for (const Flavour flavour : {Flavour::handle, Flavour::raw, Flavour::callback}) {
    SCOPED_TRACE(nameOf(flavour));
    SetWorld world(TempStore::Place::memory, flavour, true, 4, Kind::map);
    fill(world, 30);
    const ItemKey absent = world.newItem(155);
    const std::vector<ItemKey> list = world.model.list();
    const ItemKey present = list[17];
    const psId value = world.model.valueOf(present);
    const auto isNullOr = [](const psRefBase& found, const psId& wanted) { return found.isNull() || found == wanted; };
    const auto act = [&] {
      const psTreeSet& set = *world.set;
      EXPECT_FALSE(world.keyed.contains(set, absent));
      EXPECT_TRUE(world.keyed.get(set, absent).isNull());
      const pstRef<psObj> got = world.keyed.get(set, present);
      EXPECT_TRUE(isNullOr(got, value));
      EXPECT_TRUE(isNullOr(set.get(17), present.id));
      EXPECT_TRUE(isNullOr(set.first(), list.front().id));
      EXPECT_TRUE(isNullOr(set.last(), list.back().id));
      const bool hasValue = world.map().containsValue(pstHandle<psObj>(value));
      const int index = set.indexOf(pstHandle<psObj>(present.id), 3);
      EXPECT_TRUE(index == 17 || index == -1) << index;
      const int size = set.size();
      EXPECT_TRUE(size == 30 || size == -1) << size;
      return world.keyed.contains(set, present) && index == 17 && size == 30 && got == value && hasValue;
    };
    sweep(world, {act, [](bool result, bool refused) { ASSERT_TRUE(result || refused); }});
    if (HasFailure()) return;
  }
}

// A step that was refused can be taken again: nothing is left out, nothing comes twice.
TEST(SortedRefusal, AnIteratorGoesOnWhereItWasRefused) {
  for (const bool overValues : {false, true}) {
    SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map);
    fill(world, 20);
    std::vector<psId> list;
    for (const SetModel::Pair& pair : world.model.pairs()) list.push_back(overValues ? pair.value : pair.key.id);
    const auto walk = [&](psCollectionIterator& iterator, bool forward) {
      std::size_t steps = 0;
      for (int attempt = 0; attempt < 25; ++attempt) {
        const pstRef<psObj> element = forward ? iterator.next(pscLockUpdate) : iterator.previous(pscLockUpdate);
        if (element.isNull()) continue;
        if (steps == list.size() || element != list[forward ? steps : list.size() - 1 - steps]) return false;
        ++steps;
      }
      return true;
    };
    std::unique_ptr<psCollectionIterator> there;
    std::unique_ptr<psCollectionIterator> back;
    const auto prepare = [&] {
      there.reset(overValues ? world.set->valueIterator() : world.set->iterator());
      back.reset(overValues ? world.set->valueIterator() : world.set->iterator());
      back->goToIndex(20, pscNoLock);
    };
    const auto verify = [&](bool result, bool) {
      ASSERT_TRUE(result);
      ASSERT_EQ(back->goToIndex(3, pscNoLock), list[3]);
      there.reset();
      back.reset();
    };
    sweep(world, {[&] { return walk(*there, true) && walk(*back, false); }, verify, prepare});
  }
}

TEST(SortedRefusal, AMoveHappensOrDoesNot) {
  for (const bool byNumber : {true, false}) {
    for (const std::size_t at : {0U, 5U, 6U}) {
      SCOPED_TRACE((byNumber ? "by number, element " : "by identifier, element ") + std::to_string(at));
      SetWorld world(TempStore::Place::memory, Flavour::handle, byNumber, 4, Kind::map);
      fill(world, 14);
      const pstHandle<psContObj> near = world.store.container("moved");
      const ItemKey old = world.model.list()[at];
      std::unique_ptr<psCollectionIterator> iterator;
      const auto prepare = [&] {
        iterator.reset(world.set->iterator());
        iterator->goToIndex(static_cast<int>(at), pscNoLock);
      };
      const auto verify = [&](bool result, bool refused) {
        iterator.reset();
        ASSERT_TRUE(result || refused);
        pstItr<Item> moved;
        moved.scan(near, pscNoOpen);
        const bool isMoved = moved.next();
        ASSERT_NE(isMoved, old.id.isValid());
        ASSERT_EQ(isMoved, result);
        SetModel expected = world.model;
        if (isMoved) {
          expected.remove(old);
          expected.add({moved.oid(), old.number}, world.model.valueOf(old));
        }
        ASSERT_EQ(complaintsAbout(world.set, expected, world.keyed), "");
        ASSERT_EQ(orphansOf(world.store.session()), "");
      };
      sweep(world, {[&] { return iterator->moveCurrentTo(near) == 1; }, verify, prepare});
      if (HasFailure()) return;
    }
  }
}

TEST(SortedRefusal, AValueIsChangedOrStays) {
  enum { clears, sets, moves };
  for (const int change : {clears, sets, moves}) {
    for (const int at : {0, 5, 13}) {
      SCOPED_TRACE("change " + std::to_string(change) + " at " + std::to_string(at));
      SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map);
      fill(world, 14);
      const ItemKey key = world.model.list()[static_cast<std::size_t>(at)];
      const psId value = world.newValue(1000);
      const pstHandle<psContObj> near = world.store.container("moved");
      std::unique_ptr<psCollectionIterator> iterator;
      const auto prepare = [&] {
        iterator.reset(world.set->valueIterator());
        iterator->goToIndex(at, pscNoLock);
      };
      const auto act = [&] {
        if (change == clears) return iterator->remove() == 1;
        return (change == sets ? iterator->set(value) : iterator->moveCurrentTo(near)) == 1;
      };
      const auto verify = [&](bool result, bool refused) {
        iterator.reset();
        ASSERT_TRUE(result || refused);
        pstItr<Item> moved;
        moved.scan(near, pscNoOpen);
        ASSERT_EQ(moved.next(), result && change == moves);
        SetModel after = world.model;
        after.put(key, change == clears ? psId() : change == sets ? value : moved.oid());
        expectWhole(world, after, result, refused);
      };
      sweep(world, {act, verify, prepare});
      if (HasFailure()) return;
    }
  }
}

// What is put has its own value, whatever could not be read.
TEST(SortedRefusal, AddAllStopsButDoesNotErr) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map);
  fill(world, 9);
  const pstHandle<psTreeMap> source(new (world.store.container("sets")) psTreeMap(4));
  SetModel whole = world.model;
  for (int i = 1; i <= 9; ++i) {
    const ItemKey item = i % 3 == 0 ? world.model.list()[static_cast<std::size_t>(i - 1)] : world.newItem(i * 10 + 5);
    const psId value = world.newValue(i);
    whole.put(item, value);
    source->put(item.id, value);
  }
  const auto act = [&] {
    pstHandle<psCollection> argument(source.oid());
    return world.set->addAll(argument);
  };
  const auto verify = [&](bool result, bool refused) {
    ASSERT_TRUE(result || refused);
    SetModel actual(true);
    for (const SetModel::Pair& pair : whole.pairs()) {
      const bool isThere = world.set->contains(pstHandle<psObj>(pair.key.id));
      const bool wasThere = world.model.contains(pair.key);
      ASSERT_TRUE(isThere || !wasThere) << pair.key.number << " is lost";
      ASSERT_TRUE(isThere || refused) << pair.key.number;
      const bool hasOldValue = wasThere && world.map().get(pair.key.id) == world.model.valueOf(pair.key);
      if (isThere) actual.add(pair.key, hasOldValue ? world.model.valueOf(pair.key) : pair.value);
    }
    ASSERT_EQ(complaintsAbout(world.set, actual, world.keyed), "");
    ASSERT_EQ(orphansOf(world.store.session()), "");
  };
  sweep(world, {act, verify});
}

struct Bulk {
  const char* name;
  std::function<void(SetWorld&, const pstHandle<psTreeSet>& other)> act;
  std::function<bool(int number, bool inOther)> keeps;
};

const Bulk bulks[] = {
    {"clear", [](SetWorld& world, const pstHandle<psTreeSet>&) { world.set->clear(); },
     [](int, bool) { return false; }},
    {"retainAll",
     [](SetWorld& world, const pstHandle<psTreeSet>& other) {
       pstHandle<psCollection> argument(other);
       world.set->retainAll(argument);
     },
     [](int, bool inOther) { return inOther; }},
    {"removeAll",
     [](SetWorld& world, const pstHandle<psTreeSet>& other) {
       pstHandle<psCollection> argument(other);
       world.set->removeAll(argument);
     },
     [](int, bool inOther) { return !inOther; }},
    {"removeAllDeleted", [](SetWorld& world, const pstHandle<psTreeSet>&) { world.set->removeAllDeleted(); },
     [](int number, bool) { return number != 50 && number != 60; }},
};

// An operation on many elements may stop on its way, but takes none that it is not to take.
void expectNothingElseGone(Kind kind, const Bulk& bulk) {
  SCOPED_TRACE(std::string(nameOf(kind)) + ", " + bulk.name);
  SetWorld world(TempStore::Place::memory, Flavour::handle, false, 4, kind);
  fill(world, 14);
  const pstHandle<psTreeSet> other(new (world.store.container("sets")) psTreeSet(4));
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
  const auto act = [&] { return bulk.act(world, other), true; };
  const auto verify = [&](bool, bool refused) {
    SetModel actual(false);
    for (const SetModel::Pair& pair : world.model.pairs()) {
      const bool isThere = world.set->contains(pstHandle<psObj>(pair.key.id));
      ASSERT_TRUE(isThere || !whole.contains(pair.key)) << pair.key.number << " is lost";
      ASSERT_TRUE(refused || isThere == whole.contains(pair.key)) << pair.key.number;
      const bool keepsValue = pair.value.isValid() || (refused && kind == Kind::map &&
                                                       !world.map().get(pstHandle<psObj>(pair.key.id)).isNull());
      if (isThere) actual.add(pair.key, keepsValue ? pair.value : psId());
    }
    ASSERT_EQ(complaintsAbout(world.set, actual, world.keyed), "");
    ASSERT_EQ(orphansOf(world.store.session()), "");
  };
  sweep(world, {act, verify, prepare});
}

TEST(SortedRefusal, BulkOperationsStopButDoNotErr) {
  for (const Kind kind : kinds) {
    for (const Bulk& bulk : bulks) {
      expectNothingElseGone(kind, bulk);
      if (HasFailure()) return;
    }
  }
}

// A destructor cannot report: it is enough that the abort restores all, which the sweep checks.
TEST(SortedRefusal, ADestructionCanBeUndone) {
  for (const Kind kind : kinds) {
    for (const int size : {3, 14}) {
      SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, kind);
      fill(world, size);
      const auto act = [&] {
        pstHandle<psObj> doomed(world.set);
        return psDelete(doomed) == 1;
      };
      const auto verify = [&](bool result, bool refused) {
        if (refused) return;
        ASSERT_TRUE(result);
        ASSERT_FALSE(world.set.isValid());
        ASSERT_EQ(orphansOf(world.store.session()), "");
      };
      sweep(world, {act, verify});
    }
  }
}

TEST(SortedRefusal, WhatIsHalfConstructedTakesNothingAndCanBeDeleted) {
  for (const Kind kind : kinds) {
    SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, kind);
    const ItemKey item = world.put(1);
    const pstHandle<psContObj> place = world.store.container("sets");
    pstHandle<psTreeSet> made;
    const auto act = [&] {
      place.open(pscUpdate);
      made = kind == Kind::map ? pstHandle<psTreeSet>(new (place) psTreeMap(4))
                               : pstHandle<psTreeSet>(new (place) psTreeSet(4));
      return !made.isNull();
    };
    const auto verify = [&](bool result, bool refused) {
      ASSERT_TRUE(result || refused);
      if (!result) return;
      const bool whole = !made->admin().isNull();
      ASSERT_TRUE(whole || refused);
      const bool inserted = kind == Kind::map ? world.keyed.put(static_cast<psTreeMap&>(*made), item, psId())
                                              : world.keyed.add(*made, item);
      ASSERT_EQ(inserted, whole);
      ASSERT_EQ(made->contains(pstHandle<psObj>(item.id)), whole);
      ASSERT_EQ(psDelete(made), 1);
      ASSERT_EQ(orphansOf(world.store.session()), "");
    };
    sweep(world, {act, verify});
  }
}

}  // namespace
}  // namespace ps::test
