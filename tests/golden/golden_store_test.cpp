#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "arrays/psSortedArray.h"
#include "core/psCollectionIterator.h"
#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/base/IdText.h"
#include "store/pstItr.h"
#include "support/Faults.h"
#include "support/Item.h"
#include "support/RawStore.h"
#include "support/TempStore.h"

// A store of each format that an earlier release has left is read, and written to.
namespace ps::test {
namespace {

constexpr int count = 40;
constexpr int capacity = 1500;  // of an array that does not fit into a page

enum Kind { list, sortedSet, sortedMap, hashSet, hashMap };
constexpr Kind kinds[] = {list, sortedSet, sortedMap, hashSet, hashMap};

// Collections by number go by an ItemCompare, the others by identifier.
std::string nameOf(Kind kind, bool byNumber) {
  const char* const names[] = {"list", "sorted set", "sorted map", "hash set", "hash map"};
  return std::string(names[kind]) + (byNumber ? " by number" : "");
}

psCollection* create(Kind kind, const pstHandle<psContObj>& in, pstHandle<psCompare> order) {
  if (kind == sortedSet) return new (in) psTreeSet(order, 8);
  if (kind == sortedMap) return new (in) psTreeMap(order, 8);
  if (kind == hashSet) return new (in) psHashSet(order, 11, 2);
  if (kind == hashMap) return new (in) psHashMap(order, 11, 2);
  return new (in) psTreeList(8);
}

using Items = std::vector<psId>;  // by number

// The value of an item in a map; null for some.
psId valueOf(const Items& items, std::size_t n) { return n % 5 == 0 ? psId() : items[items.size() - 1 - n]; }

void insert(const pstHandle<psCollection>& collection, Kind kind, const Items& items, std::size_t n) {
  const pstHandle<psObj> item(items[n]);
  if (kind == sortedMap) {
    EXPECT_EQ(pstHandle<psTreeMap>(collection)->put(item, valueOf(items, n)), 1);
  } else if (kind == hashMap) {
    EXPECT_TRUE(pstHandle<psHashMap>(collection)->put(item, valueOf(items, n)));
  } else {
    EXPECT_TRUE(collection->add(item));
  }
}

bool isKept(std::size_t n) { return n % 4 != 3; }

void makeArray(psSession& session, const pstHandle<psContObj>& place, const Items& items) {
  const pstHandle<psUnsortedArray> array(new (place) psUnsortedArray(capacity));
  array->atPut(3, items[3]);
  EXPECT_EQ(session.name(array, place, "array"), 1);
}

// Everything that a store can hold: named and keyed objects, arrays of few elements and of many, databases, containers
// of both classes, each kind of collection after additions and removals, an array, and places that something has left.
void make(psSession& session) {
  const pstHandle<psDBObj> database = session.database("golden");
  const pstHandle<psContObj> place = session.container(database, "items");
  Items items;
  for (int n = 0; n < count; ++n) items.push_back(makeItem(place, n).id);
  EXPECT_EQ(session.name(items[1], place, "one") + session.key(items[2], database, psKey(2)), 2);
  pstHandle<psObj> gone(makeItem(place, 1000).id);
  EXPECT_EQ(session.name(gone, place, "gone") + psDelete(gone), 2);
  pstHandle<psObj> goneContainer = session.container(database, "gone");
  EXPECT_EQ(psDelete(goneContainer), 1);

  const pstHandle<psContObj> in = session.gcContainer(session.database("collections"), "in");
  const pstHandle<psCompare> order(new (in) ItemCompare);
  for (const Kind kind : kinds) {
    for (const bool byNumber : {false, true}) {
      const pstHandle<psCollection> made(create(kind, in, byNumber ? order : pstHandle<psCompare>()));
      for (std::size_t n = 0; n < items.size(); ++n) insert(made, kind, items, n);
      for (std::size_t n = 0; n < items.size(); ++n) {
        if (!isKept(n)) made->remove(pstHandle<psObj>(items[n]));
      }
      EXPECT_EQ(session.name(made, in, nameOf(kind, byNumber).c_str()), 1);
    }
  }
  makeArray(session, place, items);
}

Items itemsOf(psSession& session) {
  Items items;
  pstItr<Item> item;
  item.scan(session.container(session.database("golden"), "items"), pscRead);
  while (item.next()) {
    EXPECT_EQ(item->number(), static_cast<std::int64_t>(items.size()));
    if (item->psIsKindOf(TextItem::pstTypeN)) {
      EXPECT_EQ(pstHandle<TextItem>(item)->text(), std::to_string(items.size()));
    }
    items.push_back(item.oid());
  }
  return items;
}

pstHandle<psCollection> collectionOf(psSession& session, Kind kind, bool byNumber) {
  pstHandle<psCollection> found;
  const pstHandle<psContObj> in = session.container(session.database("collections"), "in");
  EXPECT_EQ(found.lookupObj(in, nameOf(kind, byNumber).c_str(), pscRead), 1);
  return found;
}

void checkCollection(const psCollection& collection, Kind kind, const Items& items, std::size_t added) {
  const std::unique_ptr<psCollectionIterator> it(collection.keyIterator());
  Items found;
  while (it->hasNext()) {
    found.push_back(it->next(pscNoLock).oid());
    const auto n = static_cast<std::size_t>(pstHandle<Item>(found.back())->number());
    const bool isMap = kind == sortedMap || kind == hashMap;
    EXPECT_EQ(it->currentValue(), isMap ? valueOf(items, n) : found.back());
    EXPECT_TRUE(collection.contains(pstHandle<psObj>(found.back())));
  }
  Items expected;
  for (std::size_t n = 0; n < items.size(); ++n) {
    if (isKept(n) || (n == added && kind != list)) expected.push_back(items[n]);
  }
  if (kind == list && added < items.size()) expected.push_back(items[added]);
  if (kind == hashSet || kind == hashMap) std::sort(found.begin(), found.end(), psCompare::lessPsId);
  EXPECT_EQ(found, expected);
}

// added is the number of an item that was removed and is back; count for none.
void check(psSession& session, std::size_t added = count) {
  const Items items = itemsOf(session);
  ASSERT_EQ(items.size(), static_cast<std::size_t>(count));
  const pstHandle<psDBObj> database = session.database("golden");
  const pstHandle<psContObj> place = session.container(database, "items");
  pstRef<psObj> found;
  EXPECT_TRUE(found.lookupObj(place, "one", pscRead) == 1 && found == items[1]);
  EXPECT_TRUE(found.lookupObj(database, psKey(2), pscRead) == 1 && found == items[2]);
  EXPECT_EQ(found.lookupObj(place, "gone", pscRead), 0);
  EXPECT_FALSE(psId(1, 2, 0, 0).isValid()) << "a container that was deleted";
  pstHandle<psUnsortedArray> array;
  ASSERT_EQ(array.lookupObj(place, "array", pscRead), 1);
  EXPECT_TRUE(array->size() == capacity && array->usedSize() == 4 && (*array)[3] == items[3]);
  for (const Kind kind : kinds) {
    for (const bool byNumber : {false, true}) {
      SCOPED_TRACE(nameOf(kind, byNumber));
      const pstHandle<psCollection> collection = collectionOf(session, kind, byNumber);
      checkCollection(*collection, kind, items, added);
      EXPECT_EQ(collection->psIsKindOf(psHashSet::pstTypeN) ? faultsOf(pstHandle<psHashSet>(collection))
                                                            : faultsOf(pstHandle<psBTree>(collection)),
                "");
    }
  }
  EXPECT_EQ(orphansOf(session), ps::detail::textOf(array) + ": nobody owns this object of class 4022\n");
  EXPECT_EQ(findingsIn(session), ps::detail::textOf(array) + " is part of no collection\n");
}

std::string formatOf(const std::string& path) { return RawStore(path).content()["F"].substr(24); }

void readAndUpdate(const std::string& path, const std::string& format) {
  psSessionOptions options = unsynced();
  options.readOnly = true;
  psSession session;
  ASSERT_EQ(session.open(path, options), 1) << session.lastError();
  ASSERT_EQ(session.begin(pscRead), 1);
  check(session);
  ASSERT_EQ(session.commit(), 1);
  ASSERT_EQ(session.close(), 1);
  EXPECT_EQ(formatOf(path), format);

  ASSERT_EQ(session.open(path, unsynced()), 1) << session.lastError();
  ASSERT_EQ(session.begin(pscUpdate), 1);
  for (const Kind kind : kinds) {
    for (const bool byNumber : {false, true}) insert(collectionOf(session, kind, byNumber), kind, itemsOf(session), 3);
  }
  for (const Kind kind : {list, sortedSet, sortedMap}) pstHandle<psBTree>(collectionOf(session, kind, true))->compact();
  // A named object that is deleted takes its names of either format along.
  const pstHandle<psContObj> place = session.container(session.database("golden"), "items");
  pstHandle<psObj> array;
  ASSERT_EQ(array.lookupObj(place, "array", pscUpdate), 1);
  ASSERT_EQ(session.name(array, place, "the same array"), 1) << session.lastError();
  ASSERT_EQ(psDelete(array), 1) << session.lastError();
  EXPECT_EQ(array.lookupObj(place, "array", pscRead) + array.lookupObj(place, "the same array", pscRead), 0);
  makeArray(session, place, itemsOf(session));
  ASSERT_EQ(session.commit(), 1) << session.lastError();
  ASSERT_EQ(session.close(), 1);
  EXPECT_EQ(formatOf(path), "pscollections 2");
  ASSERT_EQ(session.open(path, unsynced()), 1) << session.lastError();
  ASSERT_EQ(session.begin(pscRead), 1);
  check(session, 3);
}

TEST(GoldenStore, OfEachFormatIsReadAndUpdated) {
  ItemCompare::abbreviate(ItemCompare::Abbreviates::exactly);
  for (const std::string number : {"1", "2"}) {
    SCOPED_TRACE("format " + number);
    const ScratchFolder folder;
    copyStore(PS_TEST_DATA "/format-" + number + ".ps", folder.store("store.ps"));
    readAndUpdate(folder.store("store.ps"), "pscollections " + number);
  }
}

TEST(GoldenStore, IsMadeAnewWithTheSameContent) {
  ItemCompare::abbreviate(ItemCompare::Abbreviates::exactly);
  const ScratchFolder folder;
  const std::string path = folder.store("store.ps");
  {
    psSession session;
    ASSERT_TRUE(session.open(path, unsynced()) == 1 && session.begin(pscUpdate) == 1) << session.lastError();
    make(session);
    ASSERT_EQ(session.commit(), 1) << session.lastError();
  }
  const char* const keep = std::getenv("PSCOLLECTIONS_KEEP_GOLDEN");
  if (keep != nullptr) std::filesystem::copy_file(path, keep);
  readAndUpdate(path, "pscollections 2");
}

}  // namespace
}  // namespace ps::test
