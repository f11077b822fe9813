// A fuzzer of what a store's records say. An input is the number of a small store and edits of its records, 8 bytes
// each. What was edited gets right checksums, as a forger would give it. Whatever the records say, the verification
// ends. Where it finds no fault, everything can be read, and nothing is refused unless the verification has noted that
// this program cannot check it, or that an element was deleted.
//
//   ASAN_OPTIONS=malloc_context_size=0 fuzz_records FOLDER -entropic=0 -max_len=81 -timeout=10 -rss_limit_mb=1500
//
// goes on until something is wrong; see libFuzzer's other options. These make it 2 times faster.

#include <xxhash.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>

#include "core/psCollectionIterator.h"
#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/Place.h"
#include "store/base/RecordBytes.h"
#include "store/cache/PageRecord.h"
#include "store/psSession.h"
#include "store/pstItr.h"
#include "store/session/SessionCore.h"
#include "support/Item.h"
#include "typed/HashMap.h"
#include "typed/HashSet.h"
#include "typed/List.h"
#include "typed/SortedMap.h"
#include "typed/SortedSet.h"

namespace ps::test {
namespace {

using ps::detail::Engine;
using ps::detail::numberIn;
using ps::detail::RecordHeader;
using ps::detail::SessionCore;
using Objects = std::vector<pstHandle<psObj>>;
using Records = std::map<std::string, std::string>;

// One field of each kind, so that a forged description leads to a conversion.
struct Measure {
  std::int16_t value = 0;
  float scale = 0;
  PS_FIELDS(value, scale)
  PS_STRUCT_VERSION(3)
};

class Described : public psObj {
  PS_PERSISTENT_CLASS(Described, psObj, 20900)
  PS_FIELDS(number, text, measures, other, more)

 public:
  explicit Described(const pstRef<psObj>& near) : other(near), more(3) {}
  std::int32_t number = 0;
  char text[10] = "text";
  Measure measures[2];
  pstRef<psObj> other;
  pstVArray<Measure> more;
};
PS_REGISTER_CLASS_VERSION(Described, 3)

constexpr int items = 14;
constexpr std::size_t kinds = 5;
constexpr std::size_t checksumSize = 8;

void check(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

psCollection* create(std::size_t kind, const pstHandle<psContObj>& in, pstHandle<psCompare> order) {
  if (kind == 1) return new (in) psTreeSet(order, 3);
  if (kind == 2) return new (in) psTreeMap(order, 3);
  if (kind == 3) return new (in) psHashSet(order, 3, 1);
  if (kind == 4) return new (in) psHashMap(order, 3, 1);
  return new (in) psTreeList(3);
}

void makeOthers(psSession& session, const pstHandle<psContObj>& in, const Objects& objects) {
  const pstHandle<psDBObj> database = session.database("test");
  const pstHandle<psUnsortedArray> array(new (in) psUnsortedArray(items));
  for (const pstHandle<psObj>& object : objects) {
    check(array->addLast(object) && pstHandle<psObj>(new (in) Described(object)).isValid(), "cannot make objects");
  }
  check(pstHandle<Item>(new (ps::Place(database, "place")) Item(1)).isValid(), "cannot make a place");
  check(session.key(objects.front(), in, psKey(std::int64_t{7})) == 1, "cannot file under a number");
  check(session.key(objects.back(), objects.front(), psKey("bytes")) == 1, "cannot file under bytes");
}

// Each kind of collection by number and by identifier, a store of what else there is, and one with a page of several
// chunks.
Records makeRecords(std::size_t number) {
  psSession session;
  check(session.open("memory:") == 1 && session.begin(pscUpdate) == 1, "cannot open");
  const pstHandle<psDBObj> database = session.database("test");
  const pstHandle<psContObj> in = session.container(database, "objects");
  const pstHandle<psCompare> order(number < kinds ? new (in) ItemCompare : nullptr);
  Objects objects;
  for (int n = 0; n < items; ++n) objects.emplace_back(makeItem(in, n).id);
  if (number < 2 * kinds) {
    const pstHandle<psCollection> made(create(number % kinds, in, order));
    for (const pstHandle<psObj>& object : objects) check(made->add(object), "cannot add");
    check(session.name(made, database, "collection") == 1, "cannot name");
  } else if (number > 2 * kinds) {
    check(pstHandle<psUnsortedArray>(new (in) psUnsortedArray(9000))->addLast(objects.front()), "cannot fill an array");
  } else {
    makeOthers(session, in, objects);
  }
  check(session.commit() == 1, "cannot commit");
  Records records;
  Engine& engine = SessionCore::current()->engine();
  const bool isRead = engine.begin(false) && engine.scan("", [&records](std::string_view key, std::string_view value) {
    return records.emplace(key, value).second;
  });
  engine.abort();
  check(isRead, "cannot read");
  return records;
}

void put(std::string& bytes, std::size_t offset, const void* value, std::size_t size) {
  if (offset < bytes.size()) std::memcpy(&bytes[offset], value, std::min(size, bytes.size() - offset));
}

// The records of a store, and their edits.
class Forger {
 public:
  explicit Forger(Records records) : records_(std::move(records)) {
    // Most edits are of pages, which hold the collections.
    for (const auto& record : records_) keys_.insert(keys_.end(), record.first[0] == 'P' ? 5 : 1, record.first);
  }

  void apply(const char* edit) {
    const auto kind = static_cast<unsigned char>(edit[0]) % 9;
    const std::string& key = keys_[static_cast<unsigned char>(edit[1]) % keys_.size()];
    const std::size_t offset = numberIn<std::uint16_t>(edit + 2);
    const auto number = numberIn<std::uint32_t>(edit + 4);
    const auto found = records_.find(key);
    if (found == records_.end()) return;
    if (kind == 0) return rename(key, offset, number);
    if (found->second.size() <= checksumSize) return;
    std::string payload = found->second.substr(checksumSize);
    change(payload, kind, offset % payload.size(), number);
    found->second.replace(checksumSize, std::string::npos, payload);
  }

  // The first chunk of a page depends on the checksums of the others.
  const Records& sealed() {
    for (const bool first : {false, true}) {
      for (auto& [key, value] : records_) {
        const bool isFirst = key[0] == 'P' && key.size() == 11 && key.compare(7, 4, std::string(4, '\0')) == 0;
        if (isFirst != first || value.size() <= checksumSize) continue;
        if (isFirst) sealHead(key, value);
        const std::uint64_t sum = ps::detail::chunkChecksum(key, std::string_view(value).substr(checksumSize));
        put(value, 0, &sum, checksumSize);
      }
    }
    return records_;
  }

 private:
  void change(std::string& payload, int kind, std::size_t offset, std::uint32_t number) {
    constexpr std::int32_t extremes[] = {0, 1, -1, 2, 31, 65535, 65536, 0x7FFFFFFF, -0x7FFFFFFF - 1};
    const std::size_t word = offset / 4 * 4;
    std::string bytes = payload.substr(word, 8);
    bytes.resize(8);
    // Of an identifier, another slot, page or container.
    const std::uint64_t near = numberIn<std::uint64_t>(bytes.data()) +
                               (std::uint64_t{number & 0xFF} << 16 * (number >> 8 & 3)) * (number >> 16 & 1 ? 1 : -1);
    const std::string& other = (number & 1) != 0 ? payload : records_[keys_[(number >> 1 & 0x7F) % keys_.size()]];
    if (kind == 1) put(payload, offset, &number, 1);
    if (kind == 2) payload[offset] = static_cast<char>(payload[offset] ^ (1 << number % 8));
    if (kind == 3) put(payload, word, &number, 4);
    if (kind == 4) put(payload, word, &near, sizeof near);
    if (kind == 5) put(payload, word, &extremes[number % std::size(extremes)], 4);
    if (kind == 6) payload.insert(word, std::string(number % 10 * 4, static_cast<char>(number >> 16)));
    if (kind == 7) payload.erase(word, number % 10 * 4);
    if (kind == 8 && !other.empty()) {
      const std::string copied = other.substr((number >> 8) / 4 * 4 % other.size(), 8);
      put(payload, word, copied.data(), copied.size());
    }
  }

  // Files the record under another key, or nowhere.
  void rename(std::string key, std::size_t offset, std::uint32_t number) {
    std::string value = std::move(records_[key]);
    records_.erase(key);
    if (number % 8 == 0) return;
    if (number % 8 == 1)
      key.resize(offset % 40 + 1, 'x');
    else
      key[offset % key.size()] = static_cast<char>(number >> 8);
    records_[key] = std::move(value);
  }

  void sealHead(const std::string& key, std::string& value) const {
    std::vector<std::uint64_t> others;
    for (auto next = records_.upper_bound(key); next != records_.end(); ++next) {
      if (next->first.compare(0, 7, key, 0, 7) != 0 || next->second.size() < checksumSize) break;
      others.push_back(numberIn<std::uint64_t>(next->second.data()));
    }
    const std::uint64_t tail = others.empty() ? 0 : XXH3_64bits(others.data(), others.size() * checksumSize);
    std::string record = value.substr(checksumSize);
    if (record.size() < sizeof(RecordHeader) + sizeof tail) return;
    const auto header = numberIn<RecordHeader>(record.data());
    if (header.headLength > record.size()) return;
    const std::size_t blocks = ps::detail::blocksOf(record.size() - header.headLength);
    if (header.size() + blocks * sizeof(std::uint32_t) > header.headLength) return;
    ps::detail::sealRecord(key, tail, record);
    value.replace(checksumSize, std::string::npos, record);
  }

  Records records_;
  std::vector<std::string> keys_;
};

void visit(psCollectionIterator& it, const Objects& sought) {
  while (it.hasNext()) static_cast<void>(it.next(pscNoLock));
  static_cast<void>(it.currentIndex());
  while (it.hasPrevious()) static_cast<void>(it.previous(pscNoLock));
  for (const int i : {0, 5, items - 1, 2000, -1}) static_cast<void>(it.goToIndex(i, pscNoLock));
  for (const pstHandle<psObj>& object : sought) static_cast<void>(it.goTo(object) && it.hasNext());
}

template <class Collection>
void readTyped(const pstHandle<psObj>& object) {
  const Collection collection(object.oid());
  int count = 0;
  for (auto it = collection.begin(); it != collection.end(); ++it) ++count;
  check(count == collection.size(), "a view has another size");
}

void readCollection(const pstHandle<psObj>& object, const Objects& sought) {
  const pstHandle<psCollection> collection(object);
  static_cast<void>(collection->isEmpty());
  static_cast<void>(collection->refresh(pscRead));
  for (const pstHandle<psObj>& other : sought) static_cast<void>(collection->contains(other));
  const bool isByNumber = pstHandle<psObj>(collection->comparator()).typeN() == ItemCompare::pstTypeN;
  for (std::int64_t n = 0; n < items && isByNumber; n += 3) static_cast<void>(collection->get(&n));
  for (psCollectionIterator* const it : {collection->iterator(), collection->valueIterator()}) {
    const std::unique_ptr<psCollectionIterator> owned(it);
    visit(*it, sought);
  }
  if (!collection->comparator().isNull()) return;
  const unsigned int type = object.typeN();
  if (type == psTreeList::pstTypeN) readTyped<List<psObj>>(object);
  if (type == psTreeSet::pstTypeN) readTyped<SortedSet<psObj>>(object);
  if (type == psTreeMap::pstTypeN) readTyped<SortedMap<psObj, psObj>>(object);
  if (type == psHashSet::pstTypeN) readTyped<HashSet<psObj>>(object);
  if (type == psHashMap::pstTypeN) readTyped<HashMap<psObj, psObj>>(object);
}

void readTree(const psBTree& tree) {
  static_cast<void>(tree.depth() + tree.size() + tree.maxNumberOfChildren());
  for (int i = 0; i < items; i += 3) static_cast<void>(tree.get(i));
  static_cast<void>(tree.first() == tree.last() || tree.previous() == tree.next() || tree.root().isNull());
}

void read(const pstHandle<psObj>& object, const Objects& sought) {
  if (object.open(pscRead) != 1) return;
  const unsigned int type = object.typeN();
  const auto isOf = [type](unsigned int wanted) { return ptmIsKindOf(type, wanted) != 0; };
  if (isOf(psBTree::pstTypeN)) readTree(*pstHandle<psBTree>(object));
  if (isOf(psCollection::pstTypeN)) readCollection(object, sought);
  if (isOf(TextItem::pstTypeN)) static_cast<void>(pstHandle<TextItem>(object)->text());
  if (isOf(psUnsortedArray::pstTypeN)) static_cast<void>(pstHandle<psUnsortedArray>(object)->find(object));
  if (!isOf(Described::pstTypeN)) return;
  const pstHandle<Described> described(object);
  for (unsigned int i = 0; i < described->more.size(); ++i) static_cast<void>(described->more[i].scale);
}

void readNames(psSession& session, const pstHandle<psObj>& scope) {
  session.names(scope, [&scope](const psFiling& filed) {
    pstHandle<psObj> found;
    static_cast<void>(filed.kind != psFiling::Kind::name || found.lookupObj(scope, filed.text.c_str(), pscNoOpen));
    return true;
  });
}

void readAll(psSession& session) {
  Objects objects;
  pstItr<psDBObj> database;
  for (database.scan(session.federation(), pscRead); database.next();) {
    readNames(session, database);
    pstItr<psContObj> container;
    for (container.scan(database, pscRead); container.next();) {
      readNames(session, container);
      pstItr<psObj> object;
      for (object.scan(container, pscNoOpen); object.next();) objects.emplace_back(object.oid());
    }
  }
  // What comparators take.
  Objects sought;
  std::copy_if(objects.begin(), objects.end(), std::back_inserter(sought),
               [](const pstHandle<psObj>& object) { return ptmIsKindOf(object.typeN(), Item::pstTypeN) != 0; });
  for (const pstHandle<psObj>& object : objects) {
    readNames(session, object);
    read(object, sought);
  }
}

void run(const Records& records) {
  psSession session;
  check(session.open("memory:") == 1, "cannot open");
  Engine& engine = SessionCore::current()->engine();
  Records before;
  check(engine.begin(true) &&
            engine.scan("", [&before](std::string_view key,
                                      std::string_view value) { return before.emplace(key, value).second; }),
        "cannot scan");
  for (const auto& record : before) check(engine.erase(record.first), "cannot erase");
  for (const auto& [key, value] : records) check(engine.put(key, value), "cannot put");
  check(engine.commit() == Engine::Commit::committed, "cannot commit");
  SessionCore::current()->cache().classes().afterAbort();  // it has read the classes of an empty store
  psVerifyReport report;
  if (session.verify(report) != 1) return;
  const bool isAllThere = std::none_of(report.notes.begin(), report.notes.end(),
                                       [](const psFinding& note) { return note.kind != psFindingKind::unowned; });
  check(session.begin(pscRead) == 1, "cannot begin");
  const ps::detail::RefusalWatch watch;
  try {
    readAll(session);
  } catch (const ps::Error& error) {
    check(!isAllThere, error.what());
  }
  check(!isAllThere || !watch.refused(), session.lastError());
}

}  // namespace
}  // namespace ps::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ps::test;
  constexpr std::size_t editSize = 8;
  static const std::vector<Records> stores = [] {
    std::vector<Records> made;
    for (std::size_t number = 0; number <= 2 * kinds + 1; ++number) made.push_back(makeRecords(number));
    return made;
  }();
  if (size == 0) return 0;
  Forger forger(stores[data[0] % stores.size()]);
  for (std::size_t at = 1; at + editSize <= size; at += editSize)
    forger.apply(reinterpret_cast<const char*>(data + at));
  run(forger.sealed());
  return 0;
}
