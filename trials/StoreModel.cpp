#include "StoreModel.h"

#include <algorithm>
#include <memory>
#include <random>

#include "core/psCollectionIterator.h"
#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/StoreObjects.h"
#include "support/Faults.h"
#include "support/Item.h"

namespace ps::test {

namespace {

using Content = StoreModel::Content;

constexpr std::int64_t itemNumbers = 500;
constexpr int arrayNumbers = 10;
constexpr int sideNumbers = 8;
constexpr int nodeCapacity = 6;
constexpr std::array<const char*, StoreModel::collections> collectionNames = {"list", "sorted set", "sorted map",
                                                                              "hash set", "hash map"};

std::string arrayName(int k) { return "array " + std::to_string(k); }
std::string sideName(int k) { return "side " + std::to_string(k); }

bool isMap(int collection) { return collection == StoreModel::sortedMap || collection == StoreModel::hashMap; }

std::int64_t numberOf(const pstRef<psObj>& item) {
  const pstHandle<Item> handle(item);
  return handle.open(pscRead) == 1 ? handle->number() : -1;
}

// The objects that everything hangs on.
struct Roots {
  explicit Roots(psSession& session)
      : database(session.database("model")),
        sides(session.database("sides")),
        items(session.container(database, "items")),
        trees(session.container(database, "trees")) {}

  pstHandle<psCollection> collection(int which, psMode mode) const {
    pstHandle<psCollection> found;
    static_cast<void>(found.lookupObj(database, collectionNames[static_cast<std::size_t>(which)], mode));
    return found;
  }
  pstHandle<Item> item(std::int64_t number) const {
    pstHandle<Item> found;
    static_cast<void>(found.lookupObj(items, psKey(number), pscNoOpen));
    return found;
  }

  pstHandle<psDBObj> database;
  pstHandle<psDBObj> sides;
  pstHandle<psContObj> items;
  pstHandle<psContObj> trees;
};

// One transaction: each step changes the content and, if there is a session, the store alike.
class Change {
 public:
  Change(Content& content, psSession* session, std::uint64_t seed) : content_(content), session_(session) {
    random_.seed(seed + content.n * 0x9E3779B97F4A7C15U);
    if (session != nullptr) roots_ = std::make_unique<Roots>(*session);
  }

  bool run() {
    if (!number()) return false;
    const bool isLarge = content_.n % 50 == 49;
    const std::int64_t steps = content_.n == 1 ? 60 : isLarge ? 400 : 1 + below(8);
    for (std::int64_t i = 0; i < steps; ++i) {
      if (!step()) return false;
    }
    return true;
  }

 private:
  std::int64_t below(std::int64_t bound) {
    return static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(bound));
  }

  // Deletions are rarer than insertions, but take more.
  bool step() {
    const std::int64_t kind = below(32);
    if (kind < 2) return deleteItem(below(itemNumbers));
    if (kind < 4) return changeArray(static_cast<int>(below(arrayNumbers)));
    if (kind < 6) return changeSide(static_cast<int>(below(sideNumbers)));
    if (kind < 12) return changeList();
    if (kind == 12 && below(8) == 0) return make(static_cast<int>(below(StoreModel::collections)));
    return changeKeyed(static_cast<int>(1 + below(StoreModel::collections - 1)), below(itemNumbers));
  }

  // Writes n; the first transaction makes everything.
  bool number() {
    const auto n = static_cast<std::int64_t>(++content_.n);
    pstHandle<Flat> flat;
    if (n > 1) {
      if (session_ == nullptr) return true;
      if (flat.lookupObj(roots_->database, "n", pscUpdate) != 1) return false;
      flat->number = n;
      return true;
    }
    if (session_ != nullptr) {
      flat = new (roots_->items) Flat(n);
      const pstHandle<psCompare> comparator(new (roots_->trees) ItemCompare);
      if (flat.isNull() || session_->name(flat, roots_->database, "n") != 1) return false;
      if (comparator.isNull() || session_->name(comparator, roots_->database, "comparator") != 1) return false;
    }
    for (int which = 0; which < StoreModel::collections; ++which) {
      if (!make(which)) return false;
    }
    return true;
  }

  // Makes a collection anew.
  bool make(int which) {
    const auto index = static_cast<std::size_t>(which);
    content_.keyed[index].clear();
    if (which == StoreModel::list) content_.list.clear();
    if (session_ == nullptr) return true;
    pstHandle<psCollection> old = roots_->collection(which, pscRead);
    if (!old.isNull() && psDelete(old) != 1) return false;
    pstHandle<psCompare> by;
    if (by.lookupObj(roots_->database, "comparator", pscRead) != 1) return false;
    pstHandle<psCollection> made;
    const pstHandle<psContObj>& in = roots_->trees;
    if (which == StoreModel::list) made = new (in) psTreeList(nodeCapacity);
    if (which == StoreModel::sortedSet) made = new (in) psTreeSet(by, nodeCapacity);
    if (which == StoreModel::sortedMap) made = new (in) psTreeMap(by, nodeCapacity);
    if (which == StoreModel::hashSet) made = new (in) psHashSet(by, nodeCapacity, 1);
    if (which == StoreModel::hashMap) made = new (in) psHashMap(by, nodeCapacity, 1);
    return !made.isNull() && !made->admin().isNull() &&
           session_->name(made, roots_->database, collectionNames[index]) == 1;
  }

  bool provideItem(std::int64_t number) {
    if (!content_.items.insert(number).second || session_ == nullptr) return true;
    const pstHandle<psObj> item(makeItem(roots_->items, number).id);
    return !item.isNull() && session_->key(item, roots_->items, psKey(number)) == 1;
  }

  bool deleteItem(std::int64_t number) {
    if (content_.items.erase(number) == 0) return true;
    auto& list = content_.list;
    for (auto at = list.begin(); (at = std::find(list.begin(), list.end(), number)) != list.end();) {
      const auto index = static_cast<int>(at - list.begin());
      list.erase(at);
      if (!inList([&](psTreeList& stored) { return stored.removeRange(index, index); })) return false;
    }
    for (int which = 1; which < StoreModel::collections; ++which) {
      auto& pairs = content_.keyed[static_cast<std::size_t>(which)];
      // A value that is deleted goes with its key.
      for (auto pair = pairs.begin(); pair != pairs.end();) {
        const bool goes = pair->first == number || pair->second == number;
        if (goes && !remove(which, pair->first)) return false;
        pair = goes ? pairs.erase(pair) : std::next(pair);
      }
    }
    return session_ == nullptr || psDelete(roots_->item(number)) == 1;
  }

  bool changeList() {
    auto& list = content_.list;
    const std::int64_t number = below(itemNumbers);
    const auto index = static_cast<int>(below(static_cast<std::int64_t>(list.size()) + 1));
    const bool isThere = index < static_cast<int>(list.size());
    const std::int64_t kind = below(list.size() > 200 ? 8 : 4);
    if (isThere && (kind == 0 || kind > 3)) {
      list.erase(list.begin() + index);
      return inList([&](psTreeList& stored) { return stored.removeRange(index, index); });
    }
    if (!provideItem(number)) return false;
    if (isThere && kind == 1) {
      list[static_cast<std::size_t>(index)] = number;
      return inList([&](psTreeList& stored) { return stored.set(index, roots_->item(number)); });
    }
    list.insert(list.begin() + index, number);
    return inList([&](psTreeList& stored) { return stored.add(index, roots_->item(number)); });
  }

  // Takes out what is there half of the time, and puts it in otherwise.
  bool changeKeyed(int which, std::int64_t key) {
    auto& pairs = content_.keyed[static_cast<std::size_t>(which)];
    const std::int64_t value = isMap(which) ? below(itemNumbers) : key;
    const bool goes = below(2) == 0;
    if (goes) return pairs.erase(key) == 0 || remove(which, key);
    if (!provideItem(key) || !provideItem(value)) return false;
    const bool isNew = pairs.find(key) == pairs.end();
    pairs[key] = value;
    if (session_ == nullptr) return true;
    const pstHandle<psCollection> in = roots_->collection(which, pscRead);
    const pstHandle<Item> element = roots_->item(key);
    if (in.isNull()) return false;
    if (which == StoreModel::sortedMap) return pstHandle<psTreeMap>(in)->put(element, roots_->item(value)) == 1;
    if (which == StoreModel::hashMap) return pstHandle<psHashMap>(in)->put(element, roots_->item(value));
    return in->add(element) == isNew;
  }

  bool remove(int which, std::int64_t key) {
    if (session_ == nullptr) return true;
    const pstHandle<psCollection> in = roots_->collection(which, pscRead);
    return !in.isNull() && in->remove(roots_->item(key));
  }

  bool changeArray(int k) {
    std::string& content = content_.arrays[k];
    const std::int64_t kind = below(content.empty() ? 2 : 6);
    if (kind > 3) {
      const std::int64_t at = below(static_cast<std::int64_t>(content.size()));
      content[static_cast<std::size_t>(at)] ^= 1;
      const pstHandle<Blob> blob = array(k);
      return session_ == nullptr || (!blob.isNull() && blob->bytes.iset(static_cast<unsigned int>(at),
                                                                        content[static_cast<std::size_t>(at)]) == 1);
    }
    if (kind == 3) {
      content_.arrays.erase(k);
      return session_ == nullptr || psDelete(array(k)) == 1;
    }
    const bool isNew = content.empty();
    content = pattern(random_(), static_cast<std::size_t>(1 + below(below(12) == 0 ? 400000 : 3000)));
    if (session_ == nullptr) return true;
    if (!isNew) {
      const pstHandle<Blob> blob = array(k);
      return !blob.isNull() && blob->fill(content) == 1;
    }
    const pstHandle<Blob> blob(new (roots_->items) Blob(k, content));
    return !blob.isNull() && blob->bytes.size() == content.size() &&
           session_->name(blob, roots_->database, arrayName(k).c_str()) == 1;
  }

  pstHandle<Blob> array(int k) const {
    pstHandle<Blob> blob;
    if (session_ != nullptr) static_cast<void>(blob.lookupObj(roots_->database, arrayName(k).c_str(), pscUpdate));
    return blob;
  }

  bool changeSide(int k) {
    const auto count = static_cast<int>(below(20));
    const bool goes = content_.sides.erase(k) > 0;
    if (!goes) content_.sides[k] = count;
    if (session_ == nullptr) return true;
    const pstHandle<psContObj> side = session_->container(roots_->sides, sideName(k).c_str());
    if (goes) return psDelete(side) == 1;
    for (int i = 0; i < count; ++i) {
      if (new (side) Flat(k * 1000 + i) == nullptr) return false;
    }
    return !side.isNull();
  }

  // Whether the change succeeds, if there is a session.
  template <class ChangeList>
  bool inList(const ChangeList& change) const {
    if (session_ == nullptr) return true;
    const pstHandle<psTreeList> stored = roots_->collection(StoreModel::list, pscRead);
    return !stored.isNull() && change(*stored) == 1;
  }

  Content& content_;
  psSession* session_;
  std::unique_ptr<Roots> roots_;
  std::mt19937_64 random_;
};

// Collects what differs.
class Comparison {
 public:
  Comparison(const Content& content, psSession& session) : content_(content), session_(session), roots_(session) {}

  std::string run(bool isThorough) {
    part([&] { compareItems(); });
    part([&] { compareList(isThorough); });
    for (int which = 1; which < StoreModel::collections; ++which) part([&] { compareKeyed(which, isThorough); });
    for (int k = 0; k < arrayNumbers; ++k) part([&] { compareArray(k); });
    part([&] { compareSides(); });
    if (isThorough) part([&] { complaint_ += orphansOf(session_); });
    return complaint_;
  }

 private:
  // Part of the comparison: the store reports what it cannot read, or else the part is right.
  template <class Compare>
  void part(const Compare& compare) {
    const std::uint64_t refusals = session_.counters().refusals;
    std::string earlier;
    earlier.swap(complaint_);
    compare();
    if (!complaint_.empty() && session_.counters().refusals == refusals) complaint_ += StoreModel::unreported;
    complaint_.insert(0, earlier);
  }
  void expect(bool isRight, const std::string& what) {
    if (!isRight && complaint_.size() < 300) complaint_ += what + "; ";
  }

  void compareItems() {
    std::set<std::int64_t> found;
    pstItr<Item> item;
    for (item.scan(roots_.items, pscRead); item.next();) {
      expect(found.insert(item->number()).second, "an item is there twice");
      if (item.typeN() != TextItem::pstTypeN) continue;
      const std::string text = static_cast<const TextItem&>(*item).text();
      expect(text == std::to_string(item->number()), "the text of item " + std::to_string(item->number()));
    }
    expect(found == content_.items, "the items");
    for (const std::int64_t number : content_.items)
      expect(numberOf(roots_.item(number)) == number, "the item filed as " + std::to_string(number));
  }

  void compareList(bool isThorough) {
    const pstHandle<psTreeList> list = roots_.collection(StoreModel::list, pscRead);
    if (list.isNull()) return expect(false, "no list");
    std::vector<std::int64_t> found;
    const std::unique_ptr<psCollectionIterator> iterator(list->iterator());
    while (iterator->hasNext() && found.size() <= content_.list.size())
      found.push_back(numberOf(iterator->next(pscNoLock)));
    expect(found == content_.list, "the list");
    expect(list->size() == static_cast<int>(content_.list.size()), "the size of the list");
    if (isThorough) complaint_ += faultsOf(list);
  }

  void compareKeyed(int which, bool isThorough) {
    const auto index = static_cast<std::size_t>(which);
    const std::string name = collectionNames[index];
    const auto& expected = content_.keyed[index];
    const pstHandle<psCollection> in = roots_.collection(which, pscRead);
    if (in.isNull()) return expect(false, "no " + name);
    std::vector<std::pair<std::int64_t, std::int64_t>> found;
    const std::unique_ptr<psCollectionIterator> keys(in->keyIterator());
    const std::unique_ptr<psCollectionIterator> values(in->valueIterator());
    while (keys->hasNext() && found.size() <= expected.size())
      found.emplace_back(numberOf(keys->next(pscNoLock)), numberOf(values->next(pscNoLock)));
    const bool isHash = which == StoreModel::hashSet || which == StoreModel::hashMap;
    if (isHash) std::sort(found.begin(), found.end());
    expect(std::equal(found.begin(), found.end(), expected.begin(), expected.end(),
                      [](const auto& a, const auto& b) { return a.first == b.first && a.second == b.second; }),
           "the pairs of the " + name);
    expect(in->size() == static_cast<int>(expected.size()), "the size of the " + name);
    for (std::int64_t number = 0; number < itemNumbers; number += 7) {
      const auto wanted = expected.find(number);
      const pstRef<psObj> got = in->get(static_cast<const void*>(&number));
      expect(wanted == expected.end() ? got.isNull() : numberOf(got) == wanted->second, "a look-up in the " + name);
    }
    if (isThorough) complaint_ += isHash ? faultsOf(pstHandle<psHashSet>(in)) : faultsOf(pstHandle<psBTree>(in));
  }

  void compareArray(int k) {
    const auto expected = content_.arrays.find(k);
    pstHandle<Blob> blob;
    const bool isThere = blob.lookupObj(roots_.database, arrayName(k).c_str(), pscRead) == 1;
    if (expected == content_.arrays.end()) return expect(!isThere, arrayName(k) + " is there");
    expect(isThere && contentOf(blob).bytes == expected->second, arrayName(k));
  }

  void compareSides() {
    std::map<std::string, int> found;
    pstItr<psContObj> side;
    for (side.scan(roots_.sides, pscRead); side.next();) {
      const char* const name = side.name();
      pstItr<Flat> flat;
      int& count = found[name != nullptr ? name : ""];
      for (flat.scan(side, pscRead); flat.next(); ++count) expect(flat->number % 1000 == count, "an object of a side");
    }
    std::map<std::string, int> expected;
    for (const auto& [k, count] : content_.sides) expected[sideName(k)] = count;
    expect(found == expected, "the containers that come and go");
  }

  const Content& content_;
  psSession& session_;
  Roots roots_;
  std::string complaint_;
};

}  // namespace

bool StoreModel::advance(psSession& session) { return Change(content_, &session, seed_).run(); }

void StoreModel::advanceTo(std::uint64_t n) {
  while (content_.n < n) Change(content_, nullptr, seed_).run();
}

std::int64_t StoreModel::numberIn(psSession& session) {
  const std::uint64_t refusals = session.counters().refusals;
  pstHandle<psDBObj> database;
  const bool isThere = database.exist(session.federation(), "model", pscNoOpen);
  pstHandle<Flat> flat;
  if (isThere && flat.lookupObj(database, "n", pscRead) == 1) return flat->number;
  return !isThere && session.counters().refusals == refusals ? 0 : -1;
}

std::string StoreModel::verify(psSession& session, bool isThorough) const {
  const std::int64_t found = numberIn(session);
  if (found != static_cast<std::int64_t>(n()))
    return "the store is after transaction " + std::to_string(found) + ", not " + std::to_string(n()) +
           (found < 0 ? "" : unreported);
  return found == 0 ? "" : Comparison(content_, session).run(isThorough);
}

bool commitNext(psSession& session, StoreModel& model) {
  if (session.begin(pscUpdate) != 1) return false;
  StoreModel next = model;
  if (!next.advance(session)) {
    session.abort();
    return false;
  }
  if (session.commit() != 1) return false;
  model = std::move(next);
  return true;
}

std::string verifyEither(psSession& session, StoreModel& model, bool mayBeNext, bool isThorough) {
  if (session.begin(pscRead) != 1) return session.lastError();
  const bool isNext = mayBeNext && StoreModel::numberIn(session) == static_cast<std::int64_t>(model.n() + 1);
  if (isNext) model.advanceTo(model.n() + 1);
  std::string complaint = model.verify(session, isThorough);
  if (!complaint.empty() && !session.lastError().empty()) complaint += " (" + session.lastError() + ")";
  if (session.commit() != 1) complaint += session.lastError();
  return complaint;
}

std::string verifyFile(const std::string& path, StoreModel& model, bool mayBeNext, bool isThorough) {
  psSession session;
  psSessionOptions options = unsynced();
  if (isThorough) options.verify = psVerify::all;
  if (session.open(path, options) != 1) return session.lastError();
  return verifyEither(session, model, mayBeNext, isThorough);
}

}  // namespace ps::test
