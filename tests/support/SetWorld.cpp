#include "support/SetWorld.h"

#include <gtest/gtest.h>

#include <iterator>
#include <memory>

namespace ps::test {

std::uint64_t SetModel::orderOf(const ItemKey& item) const {
  if (byNumber_) return static_cast<std::uint64_t>(item.number);
  const psId& id = item.id;
  return std::uint64_t{id.get_DB()} << 48 | std::uint64_t{id.get_OC()} << 32 | std::uint64_t{id.get_page()} << 16 |
         id.get_slot();
}

SetModel::Pair SetModel::found(const ItemKey& item) const {
  const auto found = pairs_.find(orderOf(item));
  return found != pairs_.end() ? found->second : Pair();
}

void SetModel::forgetDeleted() {
  for (auto pair = pairs_.begin(); pair != pairs_.end();) {
    if (!pair->second.value.isValid()) pair->second.value = psId();
    pair = pair->second.key.id.isValid() ? std::next(pair) : pairs_.erase(pair);
  }
}

int SetModel::rank(const ItemKey& item) const {
  return static_cast<int>(std::distance(pairs_.begin(), pairs_.lower_bound(orderOf(item))));
}

std::vector<SetModel::Pair> SetModel::pairs() const {
  std::vector<Pair> pairs;
  for (const auto& pair : pairs_) pairs.push_back(pair.second);
  return pairs;
}

std::vector<ItemKey> SetModel::list() const {
  std::vector<ItemKey> items;
  for (const auto& pair : pairs_) items.push_back(pair.second.key);
  return items;
}

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

pstHandle<psTreeSet> storedSet(psSession& session) {
  pstHandle<psTreeSet> set;
  set.lookupObj(session.database("test"), "set", pscRead);
  return set;
}

SetWorld::SetWorld(TempStore::Place place, Flavour flavour, bool byNumber, int capacity, Kind kindOfSet)
    : store(place), keyed(flavour, byNumber), model(byNumber), kind(kindOfSet) {
  EXPECT_EQ(store->begin(pscUpdate), 1) << store->lastError();
  odds_ = store->container(store->database("odd items"), "items");
  const pstHandle<psContObj> sets = store.container("sets");
  pstHandle<psCompare> comparator;
  if (byNumber) comparator = pstHandle<psCompare>(new (sets) ItemCompare);
  if (kind == Kind::map) {
    set = new (sets) psTreeMap(comparator, capacity);
  } else {
    set = new (sets) psTreeSet(comparator, capacity);
  }
  EXPECT_EQ(store->name(set, store->database("test"), "set"), 1) << store->lastError();
  find();
}

void SetWorld::find() {
  evens_ = store.container("items");
  odds_ = store->container(store->database("odd items"), "items");
  values_ = store.container("values");
  set = storedSet(store.session());
  EXPECT_EQ(set.open(pscRead), 1);
}

void SetWorld::put(const ItemKey& item) {
  const psId value = newValue(item.number);
  model.add(item, value);
  EXPECT_TRUE(insert(item, value)) << item.number;
}

ItemKey SetWorld::put(std::int64_t number) {
  const ItemKey item = newItem(number);
  put(item);
  return item;
}

}  // namespace ps::test
