#include "support/SetWorld.h"

#include <gtest/gtest.h>

#include <memory>

namespace ps::test {

std::string complaintsAbout(const pstHandle<psTreeSet>& set, const SetModel& model, const Keyed& keyed) {
  if (set.open(pscRead) != 1) return "the set cannot be opened";
  std::string complaints = faultsOf(set);
  const bool isMap = set->psIsKindOf(psTreeMap::pstTypeN);
  const std::unique_ptr<psCollectionIterator> iterator(set->iterator());
  const std::unique_ptr<psCollectionIterator> values(set->valueIterator());
  int position = 0;
  for (const SetModel::Pair& pair : model.pairs()) {
    const std::string place =
        "element " + std::to_string(position++) + ", number " + std::to_string(pair.key.number) + ' ';
    if (iterator->next(pscNoLock) != pair.key.id) complaints += place + "is not there\n";
    if (!keyed.contains(*set, pair.key)) complaints += place + "is not found\n";
    if (values->next(pscNoLock) != (isMap ? pair.value : pair.key.id)) complaints += place + "has not its value\n";
    if (isMap && iterator->currentValue() != pair.value) complaints += place + "does not tell its value\n";
  }
  if (!iterator->next(pscNoLock).isNull()) complaints += "there are more elements\n";
  return complaints;
}

SetWorld::SetWorld(TempStore::Place place, Flavour flavourOfKeys, bool byNumber, int capacity, Kind kindOfSet)
    : KeyedWorld(place, flavourOfKeys, byNumber, kindOfSet), keyed(flavour, byNumber) {
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

void SetWorld::find() {
  KeyedWorld::find();
  set = storedCollection(store.session());
  EXPECT_EQ(set.open(pscRead), 1);
}

}  // namespace ps::test
