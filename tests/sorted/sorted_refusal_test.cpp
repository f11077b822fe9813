#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "support/KeyedSweep.h"
#include "support/SetWorld.h"
#include "tree/psTreeAdmin.h"

// Operations on sets and maps in which the store refuses to open something, at each point where it could. Whatever is
// refused, the set is sound afterwards, holds what the operation's result says, and is back after an abort.
namespace ps::test {
namespace {

using Leaf = pstHandle<psBTree>;

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

// Removes all elements but the first of the leaves that are to go, and returns that one.
ItemKey thinOut(SetWorld& world, const std::function<bool(const Leaf&)>& isToGo) {
  std::vector<ItemKey> condemned;
  for (const ItemKey& item : world.model.list()) {
    if (isToGo(leafOf(world, item))) condemned.push_back(item);
  }
  for (std::size_t i = 1; i < condemned.size(); ++i) {
    world.model.remove(condemned[i]);
    world.remove(condemned[i]);
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
    {"an empty tree", [](SetWorld& world) { return world.newItem(5); }},
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

// How keys are looked for. Flavours differ in the search alone.
struct Keys {
  Kind kind;
  Flavour flavour;
  bool byNumber;
};

std::vector<Keys> keysToSweep() {
  std::vector<Keys> keys;
  for (const Kind kind : {Kind::set, Kind::map}) {
    for (const bool byNumber : {true, false}) keys.push_back({kind, Flavour::handle, byNumber});
  }
  for (const Flavour flavour : testable({Flavour::raw, Flavour::callback, Flavour::java}))
    keys.push_back({Kind::map, flavour, true});
  return keys;
}

template <std::size_t count>
void sweepShapes(const Shape (&shapes)[count], void (*sweepOver)(KeyedWorld&, const ItemKey&)) {
  for (const Keys& keys : keysToSweep()) {
    for (const Shape& shape : shapes) {
      SCOPED_TRACE(std::string(nameOf(keys.flavour)) + nameOf(keys.kind) +
                   (keys.byNumber ? ", by number, " : ", by identifier, ") + shape.name);
      SetWorld world(TempStore::Place::memory, keys.flavour, keys.byNumber, 4, keys.kind);
      // A split given up must then give back containers as well as nodes.
      if (keys.byNumber) pstHandle<psTreeAdmin>(world.set->admin())->setMaxNodesPerContainer(1);
      sweepOver(world, shape.prepare(world));
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(SortedRefusal, AnInsertionHappensOrDoesNot) { sweepShapes(shapesToAddTo, sweepInsertion); }

TEST(SortedRefusal, ARemovalHappensOrDoesNot) { sweepShapes(shapesToRemoveFrom, sweepRemoval); }

TEST(SortedRefusal, AnIteratorThatCannotRemoveStaysWhereItIs) {
  for (const Shape& shape : shapesToRemoveFrom) {
    SCOPED_TRACE(shape.name);
    SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map);
    sweepRemovalByIterator(world, shape.prepare(world));
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace ps::test
