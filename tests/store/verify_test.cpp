#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/psCollectionIterator.h"
#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/Place.h"
#include "store/StoreObjects.h"
#include "store/base/IdText.h"
#include "store/base/RecordBytes.h"
#include "store/cache/PageChunks.h"
#include "store/cache/PageContents.h"
#include "store/cache/PageRecord.h"
#include "store/catalog/CatalogEntry.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"
#include "store/schema/ClassShape.h"
#include "support/Faults.h"
#include "support/Item.h"
#include "support/RawStore.h"
#include "tree/NodeAccess.h"

// What psSession::verify finds. That it finds nothing in sound stores is also what the model tests ask of it.
namespace ps::test {
namespace {

using ps::detail::CatalogEntry;
using ps::detail::StoreKey;

struct Located {
  pstRef<psObj> first;
  std::int32_t number = 0;
  PS_FIELDS(first, number)
};

class Described : public psObj {
  PS_PERSISTENT_CLASS(Described, psObj, 20250)
  PS_FIELDS(number, text, others)

 public:
  explicit Described(std::int32_t n) : number(n) {
    static_cast<void>(text.resize(20));
    for (int i = 0; i < 3; ++i) static_cast<void>(others.extend(Located{pstRef<psObj>(), n + i}));
  }
  std::int32_t number = 0;
  pstVArray<char> text;
  pstVArray<Located> others;
};

PS_REGISTER_CLASS_VERSION(Described, 1)

constexpr int items = 60;

void fill(const pstHandle<psContObj>& in, const std::vector<pstRef<psObj>>& keys) {
  const pstHandle<psCompare> order(new (in) ItemCompare);
  const pstHandle<psTreeList> list(new (in) psTreeList(8));
  const pstHandle<psTreeSet> set(new (in) psTreeSet(order, 8));
  const pstHandle<psTreeMap> map(new (in) psTreeMap(order, 8));
  const pstHandle<psHashSet> hashSet(new (in) psHashSet(order, 11, 2));
  const pstHandle<psHashMap> hashMap(new (in) psHashMap(order, 11, 2));
  for (const pstRef<psObj>& key : keys) {
    const pstHandle<psObj> item(key);
    EXPECT_TRUE(list->add(item) && set->add(item) && hashSet->add(item) && hashMap->put(item, item));
    EXPECT_EQ(map->put(item, item), 1);
  }
}

// All that a store can have, in several databases.
void make(psSession& session) {
  const pstHandle<psDBObj> database = session.database("data");
  const pstHandle<psContObj> in = session.container(database, "items");
  std::vector<pstRef<psObj>> keys;
  for (int n = 0; n < items; ++n) keys.emplace_back(pstHandle<psObj>(makeItem(in, n).id));
  fill(session.gcContainer(session.database("collections"), "in"), keys);
  const pstHandle<psContObj> blobs = session.container(database, "blobs");
  const pstHandle<psObj> large(new (blobs) Blob(1, pattern(1, 100000)));
  const pstHandle<psObj> linked(new (blobs) Linked(2, "short"));
  for (int n = 0; n < 5; ++n) pstHandle<psObj>(new (blobs) Described(n));
  EXPECT_EQ(session.name(large, blobs, "large") + session.key(linked, database, psKey(-17)), 2);
  EXPECT_EQ(session.key(linked, linked, psKey("bytes")) + session.name(blobs, session.federation(), "blobs"), 2);
  const ps::Place place(database, "place");
  pstHandle<psObj>(new (place) Flat(3));
}

void makeStore(const std::string& path) {
  ItemCompare::abbreviate(ItemCompare::Abbreviates::exactly);
  psSession session;
  ASSERT_TRUE(session.open(path, unsynced()) == 1 && session.begin(pscUpdate) == 1) << session.lastError();
  make(session);
  ASSERT_EQ(session.commit(), 1) << session.lastError();
}

TEST(Verify, FindsNothingInASoundStoreThatAnotherSessionChanges) {
  const ScratchFolder folder;
  makeStore(folder.store("store"));
  psSessionOptions options = unsynced();
  options.verify = psVerify::all;
  psSession session;
  ASSERT_EQ(session.open(folder.store("store"), options), 1) << session.lastError();
  bool isChanged = false;
  psVerifyReport report;
  const auto change = [&](const psVerifyProgress& progress) {
    EXPECT_TRUE(progress.done <= progress.total);
    if (isChanged || progress.phase != psVerifyProgress::Phase::collections) return true;
    isChanged = true;
    std::thread([&] {
      psSession other;
      EXPECT_TRUE(other.open(folder.store("store"), unsynced()) == 1 && other.begin(pscUpdate) == 1)
          << other.lastError();
      for (const char* name : {"items", "blobs"}) {
        pstHandle<psObj> container = other.container(other.database("data"), name);
        EXPECT_EQ(psDelete(container), 1);
      }
      EXPECT_EQ(other.commit(), 1) << other.lastError();
    }).join();
    return true;
  };
  ASSERT_EQ(session.verify(report, change), 1) << session.lastError();
  EXPECT_TRUE(isChanged && report.isComplete);
  EXPECT_TRUE(report.faults.empty() && report.notes.empty()) << report.notes.front().text;
  EXPECT_EQ(report.databases, 2U);
  EXPECT_EQ(report.collections, 5U);
  EXPECT_EQ(report.elements, 5U * items);
  EXPECT_EQ(report.names, 6U);
  EXPECT_GE(report.objects, items + 8U);
  EXPECT_GT(report.bytes, 100000U);

  // The elements are gone, and the collections have a note each.
  ASSERT_EQ(session.verify(report), 1) << session.lastError();
  EXPECT_EQ(std::count_if(report.notes.begin(), report.notes.end(),
                          [](const psFinding& note) { return note.kind == psFindingKind::deleted; }),
            5);
}

TEST(Verify, IsPartOfATransactionAndCanBeStopped) {
  TempStore store(TempStore::Place::file);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  make(store.session());
  psVerifyReport report;
  EXPECT_EQ(store->verify(report), 0);
  EXPECT_EQ(store->lastErrorKind(), psErrorKind::usage);
  ASSERT_EQ(store->commit(), 1);
  ASSERT_EQ(store->begin(pscRead), 1);
  store.inOtherSession([](psSession& other) {
    pstHandle<psObj> gone = other.database("collections");
    EXPECT_EQ(psDelete(gone), 1);
  });
  const Refuse refuse(store.session(), 1, Refuse::Manner::fromThenOn);
  EXPECT_EQ(store->verify(report), 1) << store->lastError();
  EXPECT_EQ(report.databases, 2U);
  EXPECT_EQ(refuse.asked(), 0U);
  EXPECT_TRUE(store->inTransaction());
  EXPECT_EQ(store->verify(report, [](const psVerifyProgress&) { return false; }), 0);
  EXPECT_EQ(store->lastErrorKind(), psErrorKind::usage);
  EXPECT_FALSE(report.isComplete);
}

// The records of a store, to be forged. Checksums are made anew.
class Forgery {
 public:
  explicit Forgery(const std::string& path) : path_(path), records_(RawStore(path).content()) {}

  const Records& records() const { return records_; }
  std::string& operator[](const std::string& key) { return records_[key]; }
  void erase(const std::string& key) { records_.erase(key); }
  // The key of the first record that begins so.
  std::string first(const std::string& prefix) const { return records_.lower_bound(prefix)->first; }

  void changeEntry(const std::string& key, const std::function<void(CatalogEntry&)>& change) {
    CatalogEntry entry{};
    EXPECT_TRUE(entry.decode(key, records_[key]));
    change(entry);
    records_[key] = entry.encode(key);
  }
  // A word of an object's bytes in the record. Word 1 of an object is its first field, word 1 of storage the first one.
  psId wordOf(const psId& id, std::size_t word) {
    psId held;
    std::memcpy(static_cast<void*>(&held), wordIn(id, word), sizeof held);
    return held;
  }
  void changeWord(const psId& id, std::size_t word, const psId& to) {
    std::memcpy(wordIn(id, word), &to, sizeof to);
    reseal(std::string(std::string_view(StoreKey::chunk(id, 0))));
  }
  // Makes the checksums of a changed record right.
  void reseal(const std::string& key) {
    std::string& value = records_[key];
    if (value.size() < 8) return;
    std::string payload = value.substr(8);
    if (key[0] == 'P' && key.substr(7) == std::string(4, '\0')) {
      ps::detail::PageContents contents;
      std::vector<std::uint64_t> checksums(1);
      for (auto next = std::next(records_.find(key));
           next != records_.end() && next->first.substr(0, 7) == key.substr(0, 7); ++next)
        checksums.push_back(ps::detail::numberIn<std::uint64_t>(next->second.data()));
      if (ps::detail::readContents(payload, contents) && !ps::detail::isFormat1(payload))
        ps::detail::sealRecord(key, ps::detail::tailHash(checksums), payload);
    }
    value = ps::detail::sealed(key, payload);
  }

  void write() const { RawStore(path_).replace(records_); }

 private:
  char* wordIn(const psId& id, std::size_t word) {
    ps::detail::PageContents contents;
    std::string& value = records_[std::string(std::string_view(StoreKey::chunk(id, 0)))];
    EXPECT_TRUE(ps::detail::readContents(std::string_view(value).substr(8), contents));
    for (const ps::detail::RecordedObject& object : contents.objects) {
      if (object.slot == id.get_slot()) return const_cast<char*>(object.bytes.data()) + (word - 1) * sizeof id;
    }
    ADD_FAILURE() << ps::detail::textOf(id) << " is not stored";
    return value.data();
  }

  std::string path_;
  Records records_;
};

// What the forgeries need to know of the store.
struct Places {
  explicit Places(const std::string& path) {
    psSession session;
    EXPECT_TRUE(session.open(path, unsynced()) == 1 && session.begin(pscRead) == 1) << session.lastError();
    items = session.container(session.database("data"), "items").oid();
    blobs = session.container(session.database("data"), "blobs").oid();
    pstItr<psObj> found;
    for (found.scan(pstHandle<psObj>(items), pscNoOpen); found.next();) keys.push_back(found.oid());
    for (found.scan(pstHandle<psObj>(blobs), pscNoOpen); found.next();) objects.push_back(found.oid());
    pstItr<psContObj> container;
    for (container.scan(session.database("collections"), pscNoOpen); container.next();) {
      for (found.scan(container, pscNoOpen); found.next();) {
        if (found.typeN() == psTreeMap::pstTypeN) map = found.oid();
        if (found.typeN() == psTreeList::pstTypeN) list = found.oid();
        if (found.typeN() == psHashBucket::pstTypeN) bucket = found.oid();
        if (found.typeN() == psHashMapEntry::pstTypeN) entry = found.oid();
      }
    }
    leafOfList = pstHandle<psTreeList>(list)->atFirst().oid();
    const pstHandle<psBTree> leaf(pstHandle<psTreeMap>(map)->atFirst());
    leafOfMap = leaf.oid();
    array = ps::detail::NodeAccess::elements(*leaf).oid();
  }

  psId items, blobs, map, list, leafOfList, leafOfMap, array, bucket, entry;
  std::vector<psId> keys;
  std::vector<psId> objects;  // a large Blob, a Linked, 5 Described
};

std::string keyOf(const StoreKey& key) { return std::string(std::string_view(key)); }
std::string keyOfContainer(const psId& id) { return keyOf(StoreKey::container(id.get_DB(), id.get_OC())); }
std::string keyOfPage(const psId& id, std::uint32_t chunk = 0) { return keyOf(StoreKey::chunk(id, chunk)); }
psId pageAt(const psId& id, unsigned short page) { return psId(id.get_DB(), id.get_OC(), page, 0); }

struct Case {
  const char* name;
  psFindingKind kind;
  std::function<psId(const Places&)> where;
  std::function<void(Forgery&, const Places&)> forge;
};

// 40 layouts with an array of 2^19 structures.
std::string recordOfLargeClass() {
  ps::detail::FieldShape one;
  one.kind = ps::FieldKind::character;
  one.size = 1;
  ps::detail::FieldShape many;
  many.kind = ps::FieldKind::structure;
  many.offset = 8;
  many.size = 1;
  many.count = 1U << 19;
  many.parts.push_back(one);
  ps::detail::ClassShape shape;
  shape.size = 8 + many.count;
  shape.levels.push_back({20251, 0, {many}});
  std::string record("\1\0L\50\0", 5);
  for (int n = 0; n < 40; ++n) {
    ps::detail::appendNumber(record, static_cast<std::uint32_t>(shape.encode().size()));
    record += shape.encode();
  }
  return record;
}

const Case cases[] = {
    {"an unknown record", psFindingKind::record, [](const Places&) { return psId(); },
     [](Forgery& store, const Places&) { store["Z"] = "z"; }},
    {"a wrong number of objects", psFindingKind::count, [](const Places& at) { return at.items; },
     [](Forgery& store, const Places& at) {
       store.changeEntry(keyOfContainer(at.items), [](CatalogEntry& entry) { ++entry.live; });
     }},
    {"a wrong next page", psFindingKind::count, [](const Places& at) { return at.items; },
     [](Forgery& store, const Places& at) {
       store.changeEntry(keyOfContainer(at.items), [](CatalogEntry& entry) { entry.nextNumber = 1; });
     }},
    {"a wrong number of databases", psFindingKind::count, [](const Places&) { return psId(0, 0, 0, 1); },
     [](Forgery& store, const Places&) { store.changeEntry("F", [](CatalogEntry& entry) { --entry.live; }); }},
    {"a container's name that leads nowhere", psFindingKind::entry, [](const Places&) { return psId(1, 99, 0, 0); },
     [](Forgery& store, const Places&) {
       const std::string key = store.first("A");
       store[key] = ps::detail::sealed(key, std::string("\0\x63", 2));
     }},
    {"a chunk that is missing", psFindingKind::page, [](const Places& at) { return pageAt(at.blobs, 2); },
     [](Forgery& store, const Places& at) { store.erase(keyOfPage(pageAt(at.blobs, 2), 2)); }},
    {"a chunk too many", psFindingKind::page, [](const Places& at) { return pageAt(at.map, 1); },
     [](Forgery& store, const Places& at) {
       store[keyOfPage(at.map, 1)] = ps::detail::sealed(keyOfPage(at.map, 1), "more");
     }},
    {"a block with another checksum", psFindingKind::page, [](const Places& at) { return pageAt(at.map, 1); },
     [](Forgery& store, const Places& at) {
       std::string payload = store[keyOfPage(at.map)].substr(8);
       payload[sizeof(ps::detail::RecordHeader)] ^= 1;
       store[keyOfPage(at.map)] = ps::detail::sealed(keyOfPage(at.map), payload);
     }},
    {"pages of no container", psFindingKind::page, [](const Places&) { return psId(7, 7, 0, 0); },
     [](Forgery& store, const Places& at) {
       store[keyOfPage(psId(7, 7, 1, 1))] = store[keyOfPage(at.map)];
       store.reseal(keyOfPage(psId(7, 7, 1, 1)));
     }},
    {"a name in one direction alone", psFindingKind::name, [](const Places& at) { return at.objects[0]; },
     [](Forgery& store, const Places& at) {
       store.erase(keyOf(StoreKey::nameOf(at.objects[0], at.blobs, "\"large")));
     }},
    {"a name of nothing", psFindingKind::name, [](const Places&) { return psId(1, 1, 1, 5000); },
     [](Forgery& store, const Places& at) {
       const psId nothing(1, 1, 1, 5000);
       const std::string key = keyOf(StoreKey::name(at.blobs, "\"new"));
       store[key] = ps::detail::sealed(key, keyOf(StoreKey('N').id(nothing)).substr(1));
       store[keyOf(StoreKey::nameOf(nothing, at.blobs, "\"new"))] = "";
     }},
    {"objects of a class without a description", psFindingKind::object, [](const Places& at) { return at.objects[2]; },
     [](Forgery& store, const Places&) { store.erase(keyOf(StoreKey::classRecord(Described::pstTypeN))); }},
    {"descriptions of few bytes with very many members", psFindingKind::classes, [](const Places&) { return psId(); },
     [](Forgery& store, const Places&) {
       const std::string key = keyOf(StoreKey::classRecord(20251));
       store[key] = ps::detail::sealed(key, recordOfLargeClass());
     }},
    {"storage that 2 arrays have", psFindingKind::array, [](const Places& at) { return at.objects[3]; },
     [](Forgery& store, const Places& at) {
       const psId storage = store.wordOf(at.objects[2], 2);
       store.changeWord(at.objects[3], 2, storage);
     }},
    {"storage that no array has", psFindingKind::unowned,
     [](const Places& at) { return psId(at.blobs.get_DB(), at.blobs.get_OC(), 2, 1); },
     [](Forgery& store, const Places& at) { store.changeWord(at.objects[0], 2, psId()); }},
    {"an array without its storage", psFindingKind::array, [](const Places& at) { return at.objects[1]; },
     [](Forgery& store, const Places& at) { store.changeWord(at.objects[1], 2, psId(1, 1, 9, 9)); }},
    {"2 elements in the wrong order", psFindingKind::collection, [](const Places& at) { return at.keys[0]; },
     [](Forgery& store, const Places& at) {
       // The words of packed storage follow a word of its form.
       const psId storage = store.wordOf(at.array, 2);
       store.changeWord(storage, 2, at.keys[1]);
       store.changeWord(storage, 3, at.keys[0]);
     }},
    {"an array that 2 collections have", psFindingKind::collection, [](const Places& at) { return at.array; },
     [](Forgery& store, const Places& at) { store.changeWord(at.list, 1, at.array); }},
    {"an array of no collection, without room for its elements", psFindingKind::collection,
     [](const Places& at) { return at.array; },
     [](Forgery& store, const Places& at) {
       store.changeWord(at.leafOfMap, 1, psId());
       store.changeWord(at.array, 1, psId(77, 77, 77, 77));
     }},
    {"a comparator that is none", psFindingKind::collection, [](const Places& at) { return at.map; },
     [](Forgery& store, const Places& at) { store.changeWord(at.map, 4, at.objects[0]); }},
    {"a node that does not know its parent", psFindingKind::collection, [](const Places& at) { return at.leafOfList; },
     [](Forgery& store, const Places& at) { store.changeWord(at.leafOfList, 3, psId()); }},
    {"a bucket that miscounts", psFindingKind::collection, [](const Places& at) { return at.bucket; },
     [](Forgery& store, const Places& at) { store.changeWord(at.bucket, 2, psId(77, 0, 0, 0)); }},
    {"a key in another's slot", psFindingKind::collection, [](const Places& at) { return at.keys[5]; },
     [](Forgery& store, const Places& at) {
       const psId key = store.wordOf(at.entry, 1);
       ASSERT_NE(key, at.keys[5]);
       store.changeWord(at.entry, 1, at.keys[5]);
     }},
};

TEST(Verify, FindsEachForgery) {
  const ScratchFolder folder;
  makeStore(folder.store("sound"));
  const Places places(folder.store("sound"));
  for (const Case& forgery : cases) {
    SCOPED_TRACE(forgery.name);
    // A server keeps what was counted since apart, and takes the highest.
    if (ScratchFolder::isOnServer() && std::string(forgery.name) == "a wrong next page") continue;
    copyStore(folder.store("sound"), folder.store("forged"));
    Forgery store(folder.store("forged"));
    forgery.forge(store, places);
    store.write();
    psSession session;
    ASSERT_EQ(session.open(folder.store("forged"), unsynced()), 1) << session.lastError();
    psVerifyReport report;
    const bool isNote = forgery.kind == psFindingKind::unowned;
    EXPECT_EQ(session.verify(report), isNote ? 1 : 0);
    std::string all;
    bool isFound = false;
    for (const psFinding& finding : isNote ? report.notes : report.faults) {
      all += finding.text + "\n";
      isFound |= finding.kind == forgery.kind && finding.id == forgery.where(places);
    }
    EXPECT_TRUE(isFound) << ps::detail::textOf(forgery.where(places)) << " is not found, but\n" << all;
    ASSERT_EQ(session.close(), 1);
    if (isNote) continue;
    psSessionOptions options = unsynced();
    options.verify = psVerify::all;
    EXPECT_EQ(session.open(folder.store("forged"), options), 0);
    EXPECT_EQ(session.lastErrorKind(), psErrorKind::damaged);
    EXPECT_NE(session.lastError().find(" fault"), std::string::npos) << session.lastError();
  }
}

// What an application reads in a store: all places, names, objects and collections. Refusals are counted.
std::string readAll(psSession& session) {
  std::string text;
  const auto list = [&](const pstHandle<psObj>& scope) {
    session.names(scope, [&](const psFiling& filed) {
      text += filed.text + " leads to " + ps::detail::textOf(filed.object) + "\n";
      return true;
    });
  };
  list(session.federation());
  pstItr<psDBObj> database;
  for (database.scan(session.federation(), pscNoOpen); database.next();) {
    const char* const called = database.name();
    text += called != nullptr ? session.database(called).name() : "unnamed";
    list(database);
    pstItr<psContObj> container;
    for (container.scan(database, pscNoOpen); container.next();) {
      const char* const name = container.name();
      text += name != nullptr ? ps::detail::textOf(session.container(database, name)) + name : "unnamed";
      list(container);
      pstItr<psObj> object;
      for (object.scan(container, pscRead); object.next();) {
        text += ps::detail::textOf(object) + " of " + std::to_string(object->psGetTypeN()) + "\n";
        list(object);
        if (object->psIsKindOf(Blob::pstTypeN)) text += ps::test::contentOf(pstHandle<psObj>(object)).bytes;
        if (ptmIsKindOf(object.typeN(), psCollection::pstTypeN) == 0 ||
            ptmIsKindOf(object.typeN(), psBTree::pstTypeN) !=
                ptmIsKindOf(object.typeN(), psTreeSet::pstTypeN) + ptmIsKindOf(object.typeN(), psTreeList::pstTypeN))
          continue;
        const pstHandle<psCollection> collection(object);
        const std::unique_ptr<psCollectionIterator> it(collection->keyIterator());
        while (it->hasNext()) text += ps::detail::textOf(it->next(pscNoLock)) + " in it\n";
      }
    }
  }
  return text;
}

struct Outcome {
  std::string findings;
  std::string content;  // where there is no fault
  std::uint64_t refusals = 0;
};

Outcome outcomeIn(const std::string& path) {
  Outcome outcome;
  psSessionOptions options = unsynced();
  options.readOnly = true;
  psSession session;
  if (session.open(path, options) != 1 || session.begin(pscRead) != 1) return {session.lastError(), "", 0};
  outcome.findings = findingsIn(session);
  psVerifyReport report;
  if (session.verify(report) != 1) return outcome;
  const std::uint64_t before = session.counters().refusals;
  outcome.content = readAll(session);
  outcome.refusals = session.counters().refusals - before;
  return outcome;
}

// Whichever record is lost, that is found, unless nothing that a program reads is lost with it.
void loseEachRecord(const std::string& path, const std::string& findings, int mostSilent) {
  const Outcome sound = outcomeIn(path);
  ASSERT_EQ(sound.findings, findings);
  ASSERT_EQ(sound.refusals, 0U);
  const Records records = RawStore(path).content();
  int silent = 0;
  const std::size_t stride = ScratchFolder::stepsOr<std::size_t>(1, 14);
  std::size_t n = seedOr(3) % stride;
  for (const auto& [key, value] : records) {
    if (n++ % stride != 0) continue;
    SCOPED_TRACE(testing::PrintToString(key));
    RawStore(path).erase(key);
    const Outcome lost = outcomeIn(path);
    RawStore(path).put(key, value);
    if (lost.findings != findings) continue;
    ++silent;
    EXPECT_EQ(lost.content, sound.content);
    EXPECT_EQ(lost.refusals, 0U);
  }
  EXPECT_LE(silent, mostSilent);
  EXPECT_GT(records.size(), 100U);
}

TEST(Verify, FindsThatAnyRecordIsLost) {
  const ScratchFolder folder;
  makeStore(folder.store("store"));
  loseEachRecord(folder.store("store"), "", 1);  // the record that counts changes of classes
  copyStore(PS_TEST_DATA "/format-1.ps", folder.store("older"));
  loseEachRecord(folder.store("older"), "object (1,1,1,56) is part of no collection\n", 0);
}

// A store with forged records, whose checksums are right, ends neither the process nor the verification. What it finds
// to be whole can be read.
TEST(Verify, IsRightAboutWhatItCallsWhole) {
  const ScratchFolder folder;
  makeStore(folder.store("sound"));
  const Records sound = RawStore(folder.store("sound")).content();
  std::vector<std::string> keys;
  for (const auto& record : sound) keys.push_back(record.first);
  std::mt19937_64 random(seedOr(29));
  const auto below = [&random](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  copyStore(folder.store("sound"), folder.store("forged"));
  int whole = 0;
  int found = 0;
  const int rounds = ScratchFolder::stepsOr(1500, 30);
  for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
    Forgery store(folder.store("forged"));
    const std::string& key = keys[below(keys.size())];
    SCOPED_TRACE("round " + std::to_string(round) + ", record " + testing::PrintToString(key));
    std::string& value = store[key];
    const std::string& other = sound.at(keys[below(keys.size())]);
    for (std::size_t changes = 1 + below(3); changes > 0; --changes) {
      if (below(8) == 0) value = other;
      if (below(8) == 0) value.resize(below(value.size() + 1));
      if (below(8) == 0) value.insert(below(value.size() + 1), other.substr(0, below(16)));
      if (value.empty()) continue;
      // Mostly where a record has its numbers.
      const std::size_t at = below(3) == 0 ? below(value.size()) : below(std::min<std::size_t>(value.size(), 48));
      value[at] = static_cast<char>(below(2) == 0 ? value[at] ^ 1 << below(8) : below(256));
    }
    store.reseal(key);
    store.write();
    const Outcome outcome = outcomeIn(folder.store("forged"));
    outcome.findings.empty() ? ++whole : ++found;
    EXPECT_EQ(outcome.refusals, 0U) << outcome.findings;
    RawStore(folder.store("forged")).put(key, sound.at(key));
  }
  EXPECT_TRUE(whole >= rounds / 30 && found * 15 > rounds * 7) << whole << " whole, " << found << " found";
}

}  // namespace
}  // namespace ps::test
