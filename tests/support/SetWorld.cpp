#include "support/SetWorld.h"

#include <gtest/gtest.h>

#include <memory>

#include "tree/psTreeIterator.h"

namespace ps::test {

SetWorld::SetWorld(TempStore::Place place, Flavour flavourOfKeys, bool byNumber, int capacity, Kind kindOfSet)
    : KeyedWorld(place, flavourOfKeys, byNumber, kindOfSet) {
  static unsigned worlds = 0;
  ItemCompare::abbreviateAnyhow(worlds++);
  const pstHandle<psContObj> sets = store.container("sets");
  pstHandle<psCompare> comparator;
  if (byNumber) comparator = pstHandle<psCompare>(new (sets) ItemCompare);
  if (kind == Kind::map) {
    set = new (sets) psTreeMap(comparator, capacity);
  } else {
    set = new (sets) psTreeSet(comparator, capacity);
  }
  name(set);
  SetWorld::find();
}

bool SetWorld::add(const ItemKey& item) const {
  const pstHandle<psObj> element(item.id);
  return callWithKey(flavour, item, model.byNumber(), [&](auto&&... key) { return set->add(element, key...); });
}

bool SetWorld::bind(const ItemKey& key, const psId& value) const {
  const pstHandle<psObj> element(key.id);
  const auto put = [&](auto&&... javaOrCallback) { return map().put(element, value, javaOrCallback...) == 1; };
  return callWithKey(flavour, key, model.byNumber(), put);
}

bool SetWorld::contains(psTreeSet& in, Flavour by, const ItemKey& item) const {
  return callByKey(by, item, model.byNumber(), [&](auto&&... key) { return in.contains(key...); });
}

pstRef<psObj> SetWorld::get(const ItemKey& item) const {
  if (flavour == Flavour::handle && kind == Kind::map) return map().get(pstHandle<psObj>(item.id));
  return callByKey(flavour, item, model.byNumber(), [&](auto&&... key) { return set->get(key...); });
}

bool SetWorld::remove(const ItemKey& item) const {
  return callByKey(flavour, item, model.byNumber(), [&](auto&&... key) { return set->remove(key...); });
}

bool SetWorld::goTo(psCollectionIterator& iterator, const ItemKey& item) const {
  if (flavour != Flavour::java) return goToKey(iterator, item);
  JavaKey java(item, model.byNumber());
  return static_cast<psTreeIterator&>(iterator).goTo(java.key, java.callee, java.env);
}

std::string SetWorld::complaintsAbout(const pstHandle<psObj>& stored, const SetModel& expected) const {
  const pstHandle<psTreeSet> tree(stored);
  if (tree.open(pscRead) != 1) return "the set cannot be opened";
  std::string complaints = faultsOf(tree);
  // Not with Java keys: this is asked in forked processes too, which have no JVM.
  const Flavour inAnyProcess = flavour == Flavour::java ? Flavour::handle : flavour;
  const bool isMap = kind == Kind::map;
  const std::unique_ptr<psCollectionIterator> iterator(tree->iterator());
  const std::unique_ptr<psCollectionIterator> values(tree->valueIterator());
  int position = 0;
  for (const SetModel::Pair& pair : expected.pairs()) {
    const std::string place =
        "element " + std::to_string(position++) + ", number " + std::to_string(pair.key.number) + ' ';
    if (iterator->next(pscNoLock) != pair.key.id) complaints += place + "is not there\n";
    if (!contains(*tree, inAnyProcess, pair.key)) complaints += place + "is not found\n";
    if (values->next(pscNoLock) != (isMap ? pair.value : pair.key.id)) complaints += place + "has not its value\n";
    if (isMap && iterator->currentValue() != pair.value) complaints += place + "does not tell its value\n";
  }
  if (!iterator->next(pscNoLock).isNull()) complaints += "there are more elements\n";
  return complaints;
}

void SetWorld::find() {
  KeyedWorld::find();
  set = storedCollection(store.session());
  EXPECT_EQ(set.open(pscRead), 1);
}

}  // namespace ps::test
