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

psId SetModel::get(const ItemKey& item) const {
  const auto found = elements_.find(orderOf(item));
  return found != elements_.end() ? found->second.id : psId();
}

int SetModel::rank(const ItemKey& item) const {
  return static_cast<int>(std::distance(elements_.begin(), elements_.lower_bound(orderOf(item))));
}

std::vector<ItemKey> SetModel::list() const {
  std::vector<ItemKey> items;
  for (const auto& element : elements_) items.push_back(element.second);
  return items;
}

std::string complaintsAbout(const pstHandle<psTreeSet>& set, const SetModel& model, const Keyed& keyed) {
  if (set.open(pscRead) != 1) return "the set cannot be opened";
  std::string complaints = faultsOf(set);
  const std::unique_ptr<psCollectionIterator> iterator(set->iterator());
  int position = 0;
  for (const ItemKey& item : model.list()) {
    const std::string place = "element " + std::to_string(position++) + ", number " + std::to_string(item.number) + ' ';
    if (iterator->next(pscNoLock) != item.id) complaints += place + "is not there\n";
    if (!keyed.contains(*set, item)) complaints += place + "is not found\n";
  }
  if (!iterator->next(pscNoLock).isNull()) complaints += "there are more elements\n";
  return complaints;
}

pstHandle<psTreeSet> storedSet(psSession& session) {
  pstHandle<psTreeSet> set;
  set.lookupObj(session.database("test"), "set", pscRead);
  return set;
}

SetWorld::SetWorld(TempStore::Place place, Flavour flavour, bool byNumber, int capacity)
    : store(place), keyed(flavour, byNumber), model(byNumber) {
  EXPECT_EQ(store->begin(pscUpdate), 1) << store->lastError();
  odds_ = store->container(store->database("odd items"), "items");
  const pstHandle<psContObj> sets = store.container("sets");
  if (byNumber) {
    pstHandle<psCompare> comparator(new (sets) ItemCompare);
    set = new (sets) psTreeSet(comparator, capacity);
  } else {
    set = new (sets) psTreeSet(capacity);
  }
  EXPECT_EQ(store->name(set, store->database("test"), "set"), 1) << store->lastError();
  find();
}

void SetWorld::find() {
  evens_ = store.container("items");
  odds_ = store->container(store->database("odd items"), "items");
  set = storedSet(store.session());
  EXPECT_EQ(set.open(pscRead), 1);
}

ItemKey SetWorld::put(std::int64_t number) {
  const ItemKey item = newItem(number);
  model.add(item);
  EXPECT_TRUE(keyed.add(*set, item)) << number;
  return item;
}

}  // namespace ps::test
