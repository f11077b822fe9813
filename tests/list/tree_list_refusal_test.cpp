#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "list/psTreeListIterator.h"
#include "store/pstItr.h"
#include "support/ListWorld.h"
#include "support/Sweep.h"

// Operations on lists in which the store refuses to open something, at each point where it could.
namespace ps::test {
namespace {

ListModel inserted(ListModel list, int i, const ListModel& elements) {
  list.insert(list.begin() + i, elements.begin(), elements.end());
  return list;
}

ListModel erased(ListModel list, int from, int to) {
  list.erase(list.begin() + from, list.begin() + to + 1);
  return list;
}

ListModel replaced(ListModel list, int i, const psId& element) {
  list[static_cast<std::size_t>(i)] = element;
  return list;
}

ListModel firstOf(const ListModel& list, int n) { return ListModel(list.begin(), list.begin() + n); }

pstHandle<psCollection> otherList(ListWorld& world, const ListModel& elements) {
  pstHandle<psTreeList> other(new (world.store.container("lists")) psTreeList(4));
  for (const psId& element : elements) other->addLast(element);
  return other;
}

// Changes a list at a position. states are what the list may hold afterwards: the first when nothing happened, the last
// when all did. Only a bulk, which works on many elements, may end in between.
struct Change {
  const char* name;
  bool isBulk;
  std::function<bool(ListWorld&, int position)> act;
  std::function<std::vector<ListModel>(const ListWorld&, int position)> states;
};

// What the changes put in.
struct Ingredients {
  psId element;
  ListModel elements;
  pstHandle<psCollection> other;
};

std::vector<Change> changesWith(const Ingredients& in) {
  const auto before = [](const ListWorld& world) { return world.model; };
  const auto sizeOf = [](const ListWorld& world) { return static_cast<int>(world.model.size()); };
  const auto other = [in] { return pstHandle<psCollection>(in.other.oid()); };
  const auto partsPut = [in, before](const ListWorld& world, int i) {
    std::vector<ListModel> states;
    for (int n = 0; n <= static_cast<int>(in.elements.size()); ++n)
      states.push_back(inserted(before(world), i, firstOf(in.elements, n)));
    return states;
  };
  const auto rangeTaken = [before](const ListWorld& world, int from, int to) {
    std::vector<ListModel> states = {before(world)};
    for (int i = to; i >= from; --i) states.push_back(erased(before(world), i, to));
    return states;
  };
  return {
      {"addLast", false, [in](ListWorld& world, int) { return world.list->addLast(in.element) == 1; },
       [=](const ListWorld& world, int) {
         return std::vector<ListModel>{before(world), inserted(before(world), sizeOf(world), {in.element})};
       }},
      {"addFirst", false, [in](ListWorld& world, int) { return world.list->addFirst(in.element) == 1; },
       [=](const ListWorld& world, int) {
         return std::vector<ListModel>{before(world), inserted(before(world), 0, {in.element})};
       }},
      {"add", false, [in](ListWorld& world, int i) { return world.list->add(i, in.element) == 1; },
       [=](const ListWorld& world, int i) {
         return std::vector<ListModel>{before(world), inserted(before(world), i, {in.element})};
       }},
      {"set", false, [in](ListWorld& world, int i) { return world.list->set(i, in.element) == 1; },
       [=](const ListWorld& world, int i) {
         return std::vector<ListModel>{before(world), replaced(before(world), i, in.element)};
       }},
      {"remove", false,
       [](ListWorld& world, int i) { return world.list->remove(world.model[static_cast<std::size_t>(i)]); },
       [=](const ListWorld& world, int i) {
         return std::vector<ListModel>{before(world), erased(before(world), i, i)};
       }},
      {"addAll", true,
       [other](ListWorld& world, int) {
         pstHandle<psCollection> argument = other();
         return world.list->addAll(argument);
       },
       [=](const ListWorld& world, int) { return partsPut(world, sizeOf(world)); }},
      {"addAll at a position", true,
       [other](ListWorld& world, int i) {
         pstHandle<psCollection> argument = other();
         return world.list->addAll(i, argument) == 1;
       },
       partsPut},
      {"removeRange", true,
       [sizeOf](ListWorld& world, int i) {
         return world.list->removeRange(i, std::min(i + 5, sizeOf(world) - 1)) == 1;
       },
       [=](const ListWorld& world, int i) { return rangeTaken(world, i, std::min(i + 5, sizeOf(world) - 1)); }},
      {"clear", true, [](ListWorld& world, int) { return world.list->clear(), world.list->size() == 0; },
       [=](const ListWorld& world, int) { return rangeTaken(world, 0, sizeOf(world) - 1); }},
  };
}

// Grows a list of the given size in one of the ways that leave differently shaped trees; the last has a container for
// each node.
void grow(ListWorld& world, int size, int shape) {
  if (shape == 2) world.list->admin()->setMaxNodesPerContainer(1);
  for (int n = 0; n < size; ++n) {
    const psId item = world.newItem(n);
    const int i = shape == 0 ? n : shape == 1 ? 0 : n / 2;
    world.model.insert(world.model.begin() + i, item);
    ASSERT_EQ(shape == 0 ? world.list->addLast(item) : world.list->add(i, item), 1);
  }
}

TEST(TreeListRefusal, AChangeHappensOrDoesNotAndABulkStopsOnItsWay) {
  for (const int size : {0, 1, 4, 13, 26}) {
    for (const int shape : {0, 1, 2}) {
      ListWorld world(TempStore::Place::memory, 4);
      grow(world, size, shape);
      Ingredients in;
      in.element = world.newItem(100);
      for (int n = 0; n < 6; ++n) in.elements.push_back(n == 2 ? psId() : world.newItem(200 + n));
      in.other = otherList(world, in.elements);
      for (const Change& change : changesWith(in)) {
        const std::string name = change.name;
        const bool needsElement = name == "set" || name == "remove" || name == "removeRange";
        for (int position = 0; position < size + (needsElement ? 0 : 1); position += std::max(1, size / 3)) {
          SCOPED_TRACE(name + " at " + std::to_string(position) + " of " + std::to_string(size) + ", shape " +
                       std::to_string(shape));
          const std::vector<ListModel> states = change.states(world, position);
          const auto verify = [&](bool result, bool refused) {
            ASSERT_TRUE(result || refused);
            const auto holds = [&](const ListModel& state) { return complaintsAbout(world.list, state).empty(); };
            if (result) {
              ASSERT_EQ(complaintsAbout(world.list, states.back()), "");
            } else {
              ASSERT_TRUE(std::any_of(states.begin(), change.isBulk ? states.end() : states.begin() + 1, holds))
                  << complaintsAbout(world.list, states.front());
            }
            ASSERT_EQ(orphansOf(world.store.session()), "") << "the result was " << result;
          };
          sweep(world, {[&] { return change.act(world, position); }, verify});
          if (HasFailure()) return;
          ASSERT_EQ(world.store->begin(pscUpdate), 1);
          world.find();
        }
      }
    }
  }
}

TEST(TreeListRefusal, AnIteratorChangesItsElementOrStaysWhereItIs) {
  enum { removes, sets, moves };
  for (const int kind : {removes, sets, moves}) {
    for (const int at : {0, 2, 3, 11, 12}) {
      SCOPED_TRACE("kind " + std::to_string(kind) + " at " + std::to_string(at));
      ListWorld world(TempStore::Place::memory, 4);
      world.fill(13);
      const psId element = world.newItem(100);
      const pstHandle<psContObj> near = world.store.container("moved");
      std::unique_ptr<psCollectionIterator> iterator;
      const auto prepare = [&] {
        iterator.reset(world.list->iterator());
        iterator->goToIndex(at, pscNoLock);
      };
      const auto act = [&] {
        if (kind == removes) return iterator->remove() == 1;
        return (kind == sets ? iterator->set(element) : iterator->moveCurrentTo(near)) == 1;
      };
      const auto verify = [&](bool result, bool refused) {
        ASSERT_TRUE(result || refused);
        ASSERT_EQ(iterator->currentIndex(), result && kind == removes ? at - 1 : at);
        pstItr<Item> moved;
        moved.scan(near, pscNoOpen);
        ASSERT_EQ(moved.next(), result && kind == moves);
        ListModel expected = world.model;
        if (result) {
          expected =
              kind == removes ? erased(expected, at, at) : replaced(expected, at, kind == sets ? element : moved.oid());
        }
        iterator.reset();
        ASSERT_EQ(complaintsAbout(world.list, expected), "");
        ASSERT_EQ(orphansOf(world.store.session()), "");
      };
      sweep(world, {act, verify, prepare});
      if (HasFailure()) return;
    }
  }
}

// What cannot be read is not found, and nothing is found in its place; there is no partial count.
TEST(TreeListRefusal, ALookUpIsRightOrFindsNothing) {
  ListWorld world(TempStore::Place::memory, 4);
  world.fill(20);
  const psId twice = world.model[4];
  world.list->set(15, twice);
  world.model[15] = twice;
  const psId absent = world.newItem(100);
  const auto act = [&] {
    const psTreeList& list = *world.list;
    EXPECT_FALSE(list.contains(pstHandle<psObj>(absent)));
    const int first = list.indexOf(pstHandle<psObj>(twice), 0);
    const int second = list.indexOf(pstHandle<psObj>(twice), 5);
    const int last = list.lastIndexOf(pstHandle<psObj>(twice), 19);
    const int size = list.size();
    const pstRef<psObj> at = list.get(9);
    EXPECT_TRUE(first == 4 || first == -1) << first;
    EXPECT_TRUE(second == 15 || second == -1) << second;
    EXPECT_TRUE(last == 15 || last == -1) << last;
    EXPECT_TRUE(size == 20 || size == -1) << size;
    EXPECT_TRUE(at == world.model[9] || at.isNull());
    return list.contains(pstHandle<psObj>(twice)) && first == 4 && second == 15 && last == 15 && size == 20;
  };
  sweep(world, {act, [](bool result, bool refused) { ASSERT_TRUE(result || refused); }});
}

}  // namespace
}  // namespace ps::test
