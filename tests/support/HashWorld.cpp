#include "support/HashWorld.h"

#include <gtest/gtest.h>

#include <memory>

#include "hash/psHashIterator.h"

namespace ps::test {

PS_REGISTER_CLASS(HashCompare)

namespace {

thread_local Hashing currentHashing = Hashing::identifier;
thread_local std::uint64_t hashCount = 0;

int hashStored(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  return static_cast<int>(hashOfStored(idOf(databaseAndContainer, pageAndSlot)));
}

}  // namespace

const char* nameOf(Hashing hashing) {
  const char* const names[] = {"Identifier", "Content", "Constant", "FewValues", "TopBits", "LowBits"};
  return names[static_cast<int>(hashing)];
}

std::uint32_t hashOf(Hashing hashing, std::int64_t number) {
  const auto n = static_cast<std::uint32_t>(number);
  switch (hashing) {
    case Hashing::content:
      return n * 0x9E3779B1U ^ n * 0x85EBCA77U >> 15;
    case Hashing::fewValues:
      return n % 3 * 0x50000001U;
    case Hashing::topBits:
      return n << 20;
    case Hashing::lowBits:
      return n & 0xFFU;
    default:
      return 0x12345678U;
  }
}

std::uint32_t hashOfStored(const pstHandle<psObj>& element) {
  if (currentHashing == Hashing::identifier) return static_cast<std::uint32_t>(psCompare::hashPsId(element));
  const pstHandle<Item> item(element);
  return item.open(pscRead) == 1 ? hashOf(currentHashing, item->number()) : 0;
}

int HashCompare::hash(const void*& key) const {
  return static_cast<int>(hashOf(static_cast<Hashing>(hashing_), *static_cast<const std::int64_t*>(key)));
}

std::uint64_t HashCompare::hashes() { return hashCount; }

int HashCompare::hash(const pstHandle<psObj>& element) const {
  ++hashCount;
  const pstHandle<Item> item(element);
  return item.open(pscRead) == 1 ? static_cast<int>(hashOf(static_cast<Hashing>(hashing_), item->number())) : 0;
}

HashWorld::HashWorld(TempStore::Place place, Flavour flavourOfKeys, Hashing hashingOfItems, int slots, Kind kindOfTable,
                     int directorySize)
    : KeyedWorld(place, flavourOfKeys, hashingOfItems != Hashing::identifier, kindOfTable), hashing(hashingOfItems) {
  const pstHandle<psContObj> sets = store.container("sets");
  pstHandle<psCompare> comparator;
  if (hashing != Hashing::identifier) comparator = pstHandle<psCompare>(new (sets) HashCompare(hashing));
  if (kind == Kind::map) {
    set = new (sets) psHashMap(comparator, slots, directorySize);
  } else {
    set = new (sets) psHashSet(comparator, slots, directorySize);
  }
  name(set);
  HashWorld::find();
}

void HashWorld::find() {
  KeyedWorld::find();
  currentHashing = hashing;
  set = storedCollection(store.session());
  EXPECT_EQ(set.open(pscRead), 1);
}

std::uint32_t HashWorld::hashOf(const ItemKey& item) const {
  if (hashing != Hashing::identifier) return ps::test::hashOf(hashing, item.number);
  return static_cast<std::uint32_t>(psCompare::hashPsId(pstHandle<psObj>(item.id)));
}

bool HashWorld::add(const ItemKey& item) const {
  const pstHandle<psObj> element(item.id);
  if (flavour == Flavour::java) {
    JavaKey java = javaKey(item);
    return set->add(element, java.key, java.callee, java.env);
  }
  if (flavour != Flavour::callback) return set->add(element);
  return set->add(element, hashOf(item), comparisonWith(item, model.byNumber()), hashStored);
}

bool HashWorld::bind(const ItemKey& key, const psId& value) const {
  const pstHandle<psObj> element(key.id);
  if (flavour == Flavour::java) {
    JavaKey java = javaKey(key);
    return map().put(element, value, java.key, java.callee, java.env);
  }
  if (flavour != Flavour::callback) return map().put(element, value);
  return map().put(element, value, hashOf(key), comparisonWith(key, model.byNumber()), hashStored);
}

bool HashWorld::contains(const ItemKey& item) const {
  if (flavour == Flavour::raw) return set->contains(static_cast<const void*>(&item.number));
  if (flavour == Flavour::handle) return set->contains(pstHandle<psObj>(item.id));
  if (flavour == Flavour::java) {
    JavaKey java = javaKeyToLookUp(item);
    return set->contains(hashToLookUp(item), java.key, java.callee, java.env);
  }
  return set->contains(hashOf(item), comparisonWith(item, model.byNumber()));
}

pstRef<psObj> HashWorld::get(const ItemKey& item) const {
  if (flavour == Flavour::raw) return set->get(static_cast<const void*>(&item.number));
  if (flavour == Flavour::callback) return set->get(hashOf(item), comparisonWith(item, model.byNumber()));
  if (flavour == Flavour::java) {
    JavaKey java = javaKeyToLookUp(item);
    return set->get(hashToLookUp(item), java.key, java.callee, java.env);
  }
  const pstHandle<Item> object(item.id);
  return kind == Kind::map ? map().get(pstHandle<psObj>(item.id)) : set->get(object.operator->());
}

// There is no raw flavour: the handle stands in.
bool HashWorld::remove(const ItemKey& item) const {
  if (flavour == Flavour::callback) {
    return set->remove(hashOf(item), comparisonWith(item, model.byNumber()));
  }
  if (flavour == Flavour::java) {
    JavaKey java = javaKey(item);
    return set->remove(java.key, java.callee, java.env);
  }
  const pstHandle<psObj> element(item.id);
  if (kind == Kind::set) return set->remove(element);
  const bool hasNullValue = model.contains(item) && model.valueOf(item).isNull();
  // An entry stands for its key.
  const pstHandle<psObj> entry(item.number % 2 == 0 ? pstHandle<psHashMapEntry>() : map().entry(element));
  const bool tells = set->remove(entry.isNull() ? element : entry);
  EXPECT_FALSE(tells && hasNullValue) << "there is no value to tell of";
  return tells || (hasNullValue && !set->contains(element));
}

bool HashWorld::goTo(psCollectionIterator& iterator, const ItemKey& item) const {
  if (flavour == Flavour::java) {
    JavaKey java = javaKey(item);
    return static_cast<psHashIterator&>(iterator).goTo(hashOf(item), java.key, java.callee, java.env);
  }
  return goToKey(iterator, item);
}

std::vector<ItemKey> HashWorld::inOrder() const {
  std::map<std::uint64_t, ItemKey> items;
  for (const ItemKey& item : model.list()) items[item.id.bits()] = item;
  std::vector<ItemKey> order;
  const std::unique_ptr<psCollectionIterator> it(set->keyIterator());
  while (it->hasNext()) order.push_back(items[it->next(pscNoLock).oid().bits()]);
  return order;
}

std::string HashWorld::complaintsAbout(const pstHandle<psObj>& object, const SetModel& expectedModel) const {
  const pstHandle<psHashSet> stored(object);
  if (stored.open(pscRead) != 1) return "the set cannot be opened";
  std::string complaints = faultsOf(stored);
  std::map<std::uint64_t, SetModel::Pair> expected;
  for (const SetModel::Pair& pair : expectedModel.pairs()) {
    expected[pair.key.id.bits()] = pair;
    const bool isFound = kind == Kind::map ? static_cast<const psHashMap&>(*stored).containsKey(pair.key.id)
                                           : stored->contains(pstHandle<psObj>(pair.key.id));
    if (!isFound) complaints += "number " + std::to_string(pair.key.number) + " is not found\n";
  }
  const std::unique_ptr<psCollectionIterator> it(stored->iterator());
  const std::unique_ptr<psCollectionIterator> keys(stored->keyIterator());
  const std::unique_ptr<psCollectionIterator> values(stored->valueIterator());
  int count = 0;
  for (; keys->hasNext(); ++count) {
    const pstRef<psObj> key = keys->next(pscNoLock);
    const auto pair = expected.find(key.oid().bits());
    const std::string place = "element " + std::to_string(count) + ' ';
    if (pair == expected.end()) return complaints + place + "is not expected, or not again\n";
    const pstHandle<psHashMapEntry> entry(it->next(pscNoLock));
    const pstRef<psObj> value = values->next(pscNoLock);
    if (kind == Kind::set) {
      if (entry != key || value != key) complaints += place + "is not the same to all iterators\n";
    } else if (entry->key() != key || entry->value() != pair->second.value || value != pair->second.value ||
               keys->currentValue() != pair->second.value) {
      complaints += place + "has not its value\n";
    }
    expected.erase(pair);
  }
  if (!expected.empty()) complaints += std::to_string(expected.size()) + " elements are not walked over\n";
  if (it->hasNext() || values->hasNext()) complaints += "the iterators differ in length\n";
  if (stored->size() != count || stored->size() != expectedModel.size()) complaints += "the size is wrong\n";
  return complaints;
}

std::string statisticsOf(psHashSet& set) {
  testing::internal::CaptureStdout();
  set.statistics();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

}  // namespace ps::test
