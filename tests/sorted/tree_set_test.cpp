#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <random>

#include "list/psTreeList.h"
#include "sorted/psTreeSet.h"
#include "support/SetWorld.h"
#include "tree/NodeAccess.h"

namespace ps::test {
namespace {

// The place of a virtual operation in its class's table, in entries. The published order is part of the binary
// interface.
template <class Signature, class C>
int slotOf(Signature C::*operation) {
  std::ptrdiff_t place = 0;
  std::memcpy(&place, &operation, sizeof place);
  return static_cast<int>((place - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

template <class... Slots>
void expectConsecutive(int first, Slots... slots) {
  for (const int slot : {slots...}) EXPECT_EQ(slot, first++);
}

TEST(TreeSet, VirtualOperationsStandInTheirPublishedOrder) {
  using Key = const pstHandle<psObj>&;
  using Other = pstHandle<psCollection>&;
  using Callback = int (*)(unsigned int, unsigned int);
  using C = psCollection;
  using B = psBTree;
  using I = psCollectionIterator;
  // psObj has nine; its destructor takes two entries.
  expectConsecutive(
      10, slotOf(&C::equal), slotOf(&C::add), slotOf<bool(Other)>(&C::addAll),
      slotOf<const pstRef<psAdmin>&() const>(&C::admin), slotOf(&C::clear), slotOf(&C::comparator),
      slotOf<bool(Other) const>(&C::containsAll), slotOf<bool(const void*) const>(&C::contains),
      slotOf<bool(Key) const>(&C::contains), slotOf<pstRef<psObj>(const void*) const>(&C::get), slotOf(&C::iterator),
      slotOf(&C::keyIterator), slotOf(&C::isEmpty), slotOf(&C::refresh), slotOf<bool(Key)>(&C::remove),
      slotOf<bool(Other)>(&C::removeAll), slotOf(&C::removeAllDeleted), slotOf<bool(Other)>(&C::retainAll),
      slotOf(&C::size), slotOf(&C::valueIterator), slotOf(&B::childOf), slotOf<int(Key)>(&B::first), slotOf(&B::full),
      slotOf(&B::newLow), slotOf(&B::next), slotOf<pstHandle<psBTree>() const>(&B::parent),
      slotOf<int(const pstHandle<psBTree>&)>(&B::parent), slotOf(&B::removeNode), slotOf(&B::isLeaf),
      slotOf(&B::removeKeyValueAt), slotOf(&B::root), slotOf(&B::values), slotOf(&B::compact),
      slotOf<pstRef<psObj>() const>(&B::first), slotOf(&B::indexOf), slotOf<bool(const void*)>(&psTreeSet::remove),
      slotOf<pstRef<psObj>(_jobject*&, _jobject*&, JNIEnv_*) const>(&psTreeSet::get),
      slotOf<bool(_jobject*&, _jobject*&, JNIEnv_*)>(&psTreeSet::remove),
      slotOf<pstRef<psObj>(Callback) const>(&psTreeSet::get));
  expectConsecutive(0, slotOf(&I::currentP));
  expectConsecutive(3, slotOf(&I::collection), slotOf(&I::current), slotOf(&I::currentValue), slotOf(&I::currentIndex),
                    slotOf<bool(const void*)>(&I::goTo), slotOf<bool(Key)>(&I::goTo),
                    slotOf<pstRef<psObj>(int, psLockMode)>(&I::goToIndex), slotOf(&I::hasNext), slotOf(&I::hasPrevious),
                    slotOf(&I::moveCurrentTo), slotOf(&I::next), slotOf(&I::nextIndex), slotOf(&I::previous),
                    slotOf(&I::previousIndex), slotOf(&I::remove), slotOf(&I::set),
                    slotOf<bool(unsigned int, Callback)>(&I::goTo));
  expectConsecutive(10, slotOf<int(Key, const void*&) const>(&psCompare::compare),
                    slotOf<int(Key, Key) const>(&psCompare::compare), slotOf<int(const void*&) const>(&psCompare::hash),
                    slotOf<int(Key) const>(&psCompare::hash));
}

template <class Key, class Collection, class = void>
constexpr bool isKeyOf = false;
template <class Key, class Collection>
constexpr bool isKeyOf<Key, Collection, std::void_t<decltype(std::declval<Collection>().get(std::declval<Key>()))>> =
    true;
static_assert(isKeyOf<int, psTreeList> && isKeyOf<const void*, psBTree>);
static_assert(!isKeyOf<psId, psTreeList> && !isKeyOf<pstRef<Item>, psTreeList> && !isKeyOf<Item*, psTreeList>);
static_assert(!isKeyOf<psId, psBTree> && !isKeyOf<Item*, psBTree> && !isKeyOf<Item*, psCollection>);

// Calls the same object alone equal, or everything.
class OtherwiseEqual : public psTreeSet {
  PS_PERSISTENT_CLASS(OtherwiseEqual, psTreeSet, 20111)

 public:
  OtherwiseEqual(pstHandle<psCompare>& comparator, bool everything)
      : psTreeSet(comparator, 4), everything_(everything) {}
  bool equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const override { return everything_ || a == b; }

 private:
  bool everything_ = false;
};
PS_REGISTER_CLASS(OtherwiseEqual)

TEST(TreeSet, AnEqualOfItsOwnNarrowsLookUpsAndPlacesNothing) {
  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psContObj> in = store.container("items");
  pstHandle<psCompare> comparator(new (in) ItemCompare);
  for (const bool everything : {true, false}) {
    const pstHandle<OtherwiseEqual> set(new (in) OtherwiseEqual(comparator, everything));
    for (int n = 0; n < 40; ++n) {
      const pstHandle<psObj> item(makeItem(in, n * 7 % 40).id);
      const pstHandle<psObj> twin(makeItem(in, n * 7 % 40).id);
      const std::unique_ptr<psCollectionIterator> it(set->iterator());
      ASSERT_FALSE(set->contains(item));
      ASSERT_TRUE(set->add(item) && !set->add(twin));
      ASSERT_TRUE(set->contains(item) && it->goTo(item) && set->get(item) == item);
      ASSERT_EQ(set->contains(twin), everything);
      ASSERT_EQ(it->goTo(twin), everything);
      ASSERT_EQ(set->get(twin).isNull(), !everything);
      ASSERT_TRUE(everything || !set->remove(twin));
    }
    ASSERT_EQ(set->size(), 40);
    ASSERT_EQ(faultsOf(set), "");
  }
}

// Orders by identifier, but not in the library's way: an element that moves changes its place although there is a
// comparator.
class Backwards : public psCompare {
  PS_PERSISTENT_CLASS(Backwards, psCompare, 20110)

 public:
  Backwards() = default;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override {
    return psCompare::compare(other, element);
  }
};
PS_REGISTER_CLASS(Backwards)

TEST(TreeSet, PlacesWhatMovesAnewAlsoWithAComparator) {
  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psContObj> in = store.container("items");
  pstHandle<psCompare> comparator(new (in) Backwards);
  const pstHandle<psTreeSet> set(new (in) psTreeSet(comparator, 4));
  for (int n = 0; n < 20; ++n) ASSERT_TRUE(set->add(pstHandle<psObj>(makeItem(in, n).id)));
  const pstHandle<psContObj> later = store.container("later");
  for (int i = 0; i < 40; ++i) {
    const std::unique_ptr<psCollectionIterator> it(set->iterator());
    const pstHandle<psObj> element(it->goToIndex(i * 7 % 20, pscNoLock));
    ASSERT_EQ(it->moveCurrentTo(i < 30 ? later : in), 1);
    ASSERT_FALSE(element.isValid());
    ASSERT_EQ(set->size(), 20);
    ASSERT_EQ(faultsOf(set), "");
  }
}

// A set that is its own lowest element looks like a list's leaf, which is marked by itself.
TEST(TreeSet, MayHoldItself) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, false, 4);
  psTreeSet& set = *world.set;
  const ItemKey self = {world.set.oid(), -1};
  const auto lowest = [&] { return world.model.size() > 0 ? world.model.list().front().id : psId(); };
  for (int round = 0; round < 3; ++round) {
    for (const bool selfFirst : {true, false}) {
      if (!selfFirst) world.put(round);
      world.model.add(self);
      ASSERT_TRUE(set.add(world.set));
      if (selfFirst) world.put(-round);
      ASSERT_EQ(set.first(), lowest());
      ASSERT_EQ(world.complaints(), "");
      world.model.remove(self);
      ASSERT_TRUE(set.remove(world.set));
      ASSERT_EQ(set.first(), lowest());
      ASSERT_EQ(world.complaints(), "");
    }
  }
}

// Takes the elements of a leaf out of the model.
void forget(SetWorld& world, const pstHandle<psBTree>& leaf) {
  for (const ItemKey& item : world.model.list()) {
    if (world.set->potentialParentOf(pstHandle<psObj>(item.id)) == leaf) world.model.remove(item);
  }
}

TEST(TreeSet, NodesLeaveTheTreeAndTellTheirAncestors) {
  for (const Kind kind : {Kind::set, Kind::map}) {
    SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, kind);
    for (int number = 0; number < 80; ++number) world.put(number);
    ASSERT_GE(world.set->depth(), 4);

    // One leaf after the other, with all that it holds: the first of their parents among them, and the last.
    for (pstHandle<psBTree> leaf(world.set->atFirst()), next; world.model.size() > 40; leaf = next) {
      next = leaf->next();
      forget(world, leaf);
      ASSERT_EQ(leaf->removeNode(leaf), 1);
      ASSERT_EQ(world.complaints(), "");
      ASSERT_EQ(orphansOf(world.store.session()), "");
    }

    // A node has lost its leftmost leaf: its ancestors still name that, until they are told.
    const pstHandle<psBTree> top(pstHandle<psBTree>(world.set->atLast())->childOf(world.set));
    pstHandle<psBTree> low(top->atFirst());
    const pstHandle<psBTree> parent = low->parent();
    forget(world, low);
    ASSERT_EQ(parent->removeKeyValueAt(0), 1);
    ASSERT_NE(world.complaints(), "");
    ASSERT_EQ(parent->newLow(low), 1);
    ASSERT_EQ(world.complaints(), "");
  }
}

TEST(TreeSet, AscendingElementsDoNotFollowTheirLeafOutOfTheTree) {
  for (const bool isDeleted : {true, false}) {
    SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4);
    for (int number = 1; number <= 15; ++number) world.put(number);
    pstHandle<psBTree> last(world.set->atLast());
    forget(world, last);
    if (isDeleted) {
      ASSERT_EQ(last->removeNode(last), 1);
    } else {
      const pstHandle<psBTree> parent = last->parent();
      int index = parent->maxNumberOfChildren() - 1;
      while (index > 0 && parent->removeKeyValueAt(index) == 0) --index;
      ASSERT_GT(index, 0);
    }
    pehSessionDataGetFunction()->clear();
    world.put(16);
    EXPECT_EQ(pehSessionDataGetFunction()->text(), "");
    EXPECT_EQ(world.complaints(), "");
  }
}

// Ascending elements go where the one before them went, unless something has come between.
TEST(TreeSet, AscendingElementsNoticeWhatComesBetween) {
  ItemCompare::abbreviate(ItemCompare::Abbreviates::exactly);
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 6);
  std::mt19937_64 random(seedOr(9));
  SetModel committed = world.model;
  std::int64_t number = 0;
  const auto commit = [&] {
    ASSERT_TRUE(world.store->commit() == 1 && world.store->begin(pscUpdate) == 1);
    committed = world.model;
  };
  const auto abort = [&] {
    ASSERT_TRUE(world.store->abort() == 1 && world.store->begin(pscUpdate) == 1);
    world.model = committed;
  };
  const auto removeHighest = [&] {
    if (world.model.size() == 0) return;
    const ItemKey highest = world.model.list().back();
    ASSERT_TRUE(world.remove(highest));
    world.model.remove(highest);
  };
  const auto moveStorage = [&] {
    const pstHandle<psBTree> last(world.set->atLast());
    if (last.isNull()) return;
    const pstHandle<psUnsortedArray> array(ps::detail::NodeAccess::elements(*last));
    const int capacity = array->size();
    array->resize(capacity + (random() % 2 == 0 ? 3 : 2000));
    array->resize(capacity);
  };
  const std::function<void()> others[] = {commit, abort, removeHighest, moveStorage, [&] { world.set->compact(); }};
  commit();
  for (int step = 0; step < 600 && !HasFailure(); ++step) {
    for (std::uint64_t n = 1 + random() % 4; n > 0; --n) world.put(++number);
    others[random() % std::size(others)]();
    world.find();
    if (step % 10 == 0) {
      ASSERT_EQ(world.complaints(), "") << step;
    }
  }
}

TEST(TreeSet, PutsItsPartsWhereItIsTold) {
  if (ps::test::ScratchFolder::isOnServer()) GTEST_SKIP() << "there a root's elements are beside it";
  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psDBObj> database = store->database("test");
  const pstHandle<psContObj> plain = store.container("plain");
  const pstHandle<psContObj> collectable = store->gcContainer(database, "collectable");
  for (const pstHandle<psContObj>& place : {plain, collectable}) {
    const int before = containersOf(store.session());
    pstHandle<psTreeSet> set(new (place) psTreeSet(4));
    EXPECT_EQ(containersOf(store.session()), before + 2);
    for (int n = 0; n < 12; ++n) ASSERT_TRUE(set->add(pstHandle<psObj>(makeItem(plain, n).id)));
    const pstHandle<psContObj> arrays(set->admin()->vArrayContainer());
    EXPECT_TRUE(arrays != set->admin().containedIn() && arrays.name() == nullptr);
    EXPECT_EQ(arrays.typeN(), place.typeN());
    EXPECT_EQ(set->admin().containedIn().typeN(), place.typeN());
    ASSERT_EQ(psDelete(set), 1);
    if (place == plain) {
      EXPECT_EQ(containersOf(store.session()), before);
    }
  }
  const int before = containersOf(store.session());
  const pstHandle<psTreeSet> set(new (plain) psTreeSet(4, collectable, plain));
  EXPECT_EQ(set->admin().containedIn(), collectable);
  EXPECT_EQ(set->admin()->vArrayContainer(), plain);
  EXPECT_EQ(containersOf(store.session()), before);
  EXPECT_EQ(pstHandle<psTreeSet>(new (plain) psTreeSet(1))->maxNumberOfChildren(), 4) << "fewer would split for ever";
}

// Another session takes out the lowest element of each leaf, which then belongs in the leaf before: no array of an
// interior node changes, but what separates its children does.
TEST(TreeSet, SearchesSeeWhatAnotherSessionHasChanged) {
  SetWorld world(TempStore::Place::file, Flavour::handle, true, 8);
  for (int number = 0; number < 400; ++number) world.put(number);
  ASSERT_EQ(world.store->commit(), 1);
  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  ASSERT_EQ(world.complaints(), "");
  ASSERT_EQ(world.store->commit(), 1);

  world.store.inOtherSession([&](psSession&) {
    const pstHandle<psTreeSet> set(world.set.oid());
    for (pstHandle<psBTree> leaf(pstHandle<psBTree>(set->atFirst())->next()); !leaf.isNull(); leaf = leaf->next()) {
      const pstHandle<psObj> lowest(leaf->first());
      ASSERT_TRUE(set->remove(lowest));
      ASSERT_TRUE(set->add(lowest));
    }
  });

  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  EXPECT_EQ(world.complaints(), "");
}

TEST(TreeSet, ALookUpOpensAndComparesLittle) {
  for (const int capacity : {8, 200}) {
    for (const bool byNumber : {false, true}) {
      SetWorld world(TempStore::Place::memory, Flavour::handle, byNumber, capacity);
      constexpr int count = 4000;
      for (int i = 0; i < count; ++i) world.put(i * 7919 % count);
      const int depth = world.set->depth();
      const double perLevel = std::log2(capacity) + 2;
      const std::vector<ItemKey> list = world.model.list();
      for (std::size_t i = 0; i < list.size(); i += 37) {
        const std::uint64_t opens = world.store->counters().opens;
        const std::uint64_t comparisons = ItemCompare::comparisons();
        ASSERT_TRUE(world.contains(list[i]));
        const double compared = static_cast<double>(ItemCompare::comparisons() - comparisons);
        EXPECT_LE(compared, byNumber ? (2 * std::log2(count) + 3) * (ps::detail::isChecked ? 3 : 1) : 0);
        EXPECT_LE(static_cast<double>(world.store->counters().opens - opens),
                  depth * (perLevel + 4) + 2 * compared + 4);
      }
    }
  }
}

// With abbreviations that differ a look-up compares what it finds, and nothing else, wherever the elements have been.
TEST(TreeSet, AbbreviationsAreKeptBesideTheElements) {
  SetWorld world(TempStore::Place::file, Flavour::handle, true, 8, Kind::map);
  ItemCompare::abbreviate(ItemCompare::Abbreviates::exactly);
  constexpr int count = 2000;
  for (int i = 0; i < count; ++i) world.put(i * 1237 % count * 2);
  const auto comparisonsFor = [&] {
    const std::uint64_t before = ItemCompare::comparisons();
    for (const ItemKey& item : world.model.list()) {
      EXPECT_TRUE(world.contains(item));
      EXPECT_FALSE(world.set->contains(&static_cast<const std::int64_t&>(item.number + 1)));
    }
    return ItemCompare::comparisons() - before;
  };
  // What a node is divided by is compared too.
  const auto areFew = [&](const char* when) {
    const double each = static_cast<double>(comparisonsFor()) / world.model.size();
    EXPECT_LE(each, 1.5 * (ps::detail::isChecked ? 3 : 1)) << when;
    EXPECT_EQ(world.complaints(), "") << when;
  };
  areFew("after additions");
  ASSERT_EQ(world.store->commit(), 1);
  world.store.reopen();
  ASSERT_EQ(world.store->begin(pscUpdate), 1);
  world.find();
  areFew("after a reopening");
  for (const ItemKey& item : world.model.list()) {
    if (item.number % 6 != 0 && world.remove(item)) world.model.remove(item);
  }
  areFew("after removals");
  world.set->compact();
  areFew("after a compaction");
  ASSERT_EQ(world.store->commit(), 1);

  // Those of another version are not used, and those of a read transaction not by an update.
  ItemCompare::abbreviate(ItemCompare::Abbreviates::alike);
  ASSERT_EQ(world.store->begin(pscRead), 1);
  EXPECT_GT(comparisonsFor(), static_cast<std::uint64_t>(2 * world.model.size()));
  ASSERT_EQ(world.store->commit(), 1);
  ItemCompare::abbreviate(ItemCompare::Abbreviates::exactly);
  ASSERT_EQ(world.store->begin(pscUpdate), 1);
  areFew("after a transaction with others");
}

// 2 sessions change a set in turn, each with its own abbreviations, and one of them keeps what it has read.
TEST(TreeSet, AbbreviationsOfOtherSessionsDoNoHarm) {
  SetWorld world(TempStore::Place::file, Flavour::handle, true, 4);
  std::mt19937_64 random(seedOr(20));
  std::vector<ItemKey> items;
  for (int number = 0; number < 120; ++number) items.push_back(world.newItem(number));
  ASSERT_EQ(world.store->commit(), 1);
  const auto changeSome = [&](psTreeSet& set) {
    ItemCompare::abbreviateAnyhow(static_cast<unsigned>(random() % 100));
    for (int i = 0; i < 25; ++i) {
      const ItemKey& item = items[random() % items.size()];
      const bool isThere = world.model.contains(item);
      ASSERT_EQ(set.contains(pstHandle<psObj>(item.id)), isThere);
      ASSERT_TRUE(isThere ? set.remove(pstHandle<psObj>(item.id)) : set.add(pstHandle<psObj>(item.id)));
      isThere ? world.model.remove(item) : world.model.add(item);
    }
  };
  for (int round = 0; round < ScratchFolder::stepsOr(60, 15) && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    ItemCompare::abbreviateAnyhow(static_cast<unsigned>(random() % 100));
    ASSERT_EQ(world.store->begin(pscRead), 1);
    world.find();
    EXPECT_EQ(world.complaints(), "");
    ASSERT_EQ(world.store->commit(), 1);
    world.store.inOtherSession(
        [&](psSession& session) { changeSome(*pstHandle<psTreeSet>(storedCollection(session))); });
    ASSERT_EQ(world.store->begin(pscUpdate), 1);
    world.find();
    changeSome(*world.set);
    EXPECT_EQ(world.complaints(), "");
    ASSERT_EQ(world.store->commit(), 1);
  }
}

}  // namespace
}  // namespace ps::test
