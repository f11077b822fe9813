#include "support/KeyedSweep.h"

#include <memory>

namespace ps::test {

std::vector<Trouble> troublesOf(KeyedWorld& world) {
  std::vector<Trouble> troubles = refusals(world.store.session());
  const auto fail = [](std::uint64_t k) {
    auto failure = std::make_shared<JavaFailure>(k);
    return [failure]() mutable {
      failure.reset();
      return JavaFailure::bit();
    };
  };
  if (world.flavour == Flavour::java) troubles.push_back({"a call into Java throws", fail, true});
  return troubles;
}

void sweepKeyed(KeyedWorld& world, const Operation& operation) {
  std::vector<Trouble> troubles = troublesOf(world);
  troubles.push_back(updateLimit(world.store.session()));
  sweep(world, operation, troubles);
}

void expectWhole(const KeyedWorld& world, const SetModel& after, bool result, bool refused) {
  ASSERT_TRUE(result || refused);
  ASSERT_EQ(world.complaintsAgainst(result ? after : world.model), "") << "the result was " << result;
  ASSERT_EQ(leftoversOf(world.store.session()), "") << "the result was " << result;
}

void sweepInsertion(KeyedWorld& world, const ItemKey& item) {
  const psId value = world.newValue(1000);
  SetModel after = world.model;
  after.put(item, value);
  sweepKeyed(world, {[&] { return world.insert(item, value); },
                     [&](bool result, bool refused) { expectWhole(world, after, result, refused); }});
}

void sweepRemoval(KeyedWorld& world, const ItemKey& item) {
  SetModel after = world.model;
  after.remove(item);
  sweepKeyed(world, {[&] { return world.remove(item); },
                     [&](bool result, bool refused) { expectWhole(world, after, result, refused); }});
}

void sweepRemovalByIterator(KeyedWorld& world, const ItemKey& item) {
  SetModel after = world.model;
  after.remove(item);
  std::unique_ptr<psCollectionIterator> iterator(world.collection().keyIterator());
  ASSERT_TRUE(iterator->goTo(pstHandle<psObj>(item.id)));
  const int index = iterator->currentIndex();
  const psId next = iterator->next(pscNoLock);
  const auto verify = [&](bool result, bool refused) {
    expectWhole(world, after, result, refused);
    ASSERT_EQ(iterator->currentIndex(), result ? index - 1 : index);
    ASSERT_EQ(result ? iterator->next(pscNoLock) : iterator->current(pscNoLock), result ? next : item.id);
    iterator.reset();
  };
  const auto prepare = [&] {
    iterator.reset(world.collection().keyIterator());
    ASSERT_TRUE(iterator->goTo(pstHandle<psObj>(item.id)));
  };
  sweep(world, {[&] { return iterator->remove() == 1; }, verify, prepare});
}

}  // namespace ps::test
