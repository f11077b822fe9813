#include "support/KeyedWorld.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "hash/psHashMap.h"
#include "sorted/psTreeMap.h"

namespace ps::test {

namespace {

thread_local ItemKey wantedItem;

int compareNumber(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return compareWithNumber(idOf(databaseAndContainer, pageAndSlot), wantedItem.number);
}

int compareIdentifier(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return psCompare::comparePsId(idOf(databaseAndContainer, pageAndSlot), wantedItem.id);
}

}  // namespace

Callback comparisonWith(const ItemKey& item, bool byNumber) {
  wantedItem = item;
  return byNumber ? compareNumber : compareIdentifier;
}

const char* nameOf(Flavour flavour) {
  const char* const names[] = {"handle", "raw", "callback", "java"};
  return names[static_cast<int>(flavour)];
}

std::vector<Flavour> testable(std::vector<Flavour> flavours) {
  const auto java = std::find(flavours.begin(), flavours.end(), Flavour::java);
  if (java != flavours.end() && !whyNoJava().empty()) flavours.erase(java);
  return flavours;
}

std::uint64_t SetModel::orderOf(const ItemKey& item) const {
  return byNumber_ ? static_cast<std::uint64_t>(item.number) : ps::detail::orderOf(item.id);
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

pstHandle<psObj> storedCollection(psSession& session) {
  pstHandle<psCollection> collection;
  static_cast<void>(collection.lookupObj(session.database("test"), "set", pscRead));
  return collection;
}

KeyedWorld::KeyedWorld(TempStore::Place place, Flavour flavourOfKeys, bool byNumber, Kind kindOfCollection)
    : store(place), model(byNumber), kind(kindOfCollection), flavour(flavourOfKeys) {
  EXPECT_EQ(store->begin(pscUpdate), 1) << store->lastError();
  odds_ = store->container(store->database("odd items"), "items");
}

void KeyedWorld::name(const pstHandle<psObj>& collection) {
  EXPECT_EQ(store->name(collection, store->database("test"), "set"), 1) << store->lastError();
}

void KeyedWorld::find() {
  evens_ = store.container("items");
  odds_ = store->container(store->database("odd items"), "items");
  values_ = store.container("values");
}

bool KeyedWorld::goToKey(psCollectionIterator& iterator, const ItemKey& item) const {
  if (flavour == Flavour::handle) return iterator.goTo(pstHandle<psObj>(item.id));
  if (flavour == Flavour::raw) return iterator.goTo(static_cast<const void*>(&item.number));
  return iterator.goTo(0U, comparisonWith(item, model.byNumber()));
}

namespace {

template <class Set, class Map>
int appendTo(psCollection& all, Kind kind, const std::vector<pstRef<psObj>>& keys,
             const std::vector<pstRef<psObj>>& values) {
  const auto n = static_cast<int>(keys.size());
  return kind == Kind::map ? static_cast<Map&>(all).append(keys.data(), values.data(), n)
                           : static_cast<Set&>(all).append(keys.data(), n);
}

}  // namespace

int KeyedWorld::append(const std::vector<pstRef<psObj>>& keys, const std::vector<pstRef<psObj>>& values) const {
  psCollection& all = collection();
  if (all.psIsKindOf(psTreeSet::pstTypeN)) return appendTo<psTreeSet, psTreeMap>(all, kind, keys, values);
  return appendTo<psHashSet, psHashMap>(all, kind, keys, values);
}

void KeyedWorld::put(const ItemKey& item) {
  const psId value = newValue(item.number);
  model.add(item, value);
  EXPECT_TRUE(insert(item, value)) << item.number;
}

ItemKey KeyedWorld::put(std::int64_t number) {
  const ItemKey item = newItem(number);
  put(item);
  return item;
}

}  // namespace ps::test
