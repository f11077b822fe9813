#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "store/StoreObjects.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

struct Configuration {
  const char* name;
  bool file;
  unsigned int pageSize;
  std::size_t cacheLimit;
  std::size_t mostObjects;
  std::size_t usualBytes;  // of an array
  int steps;
  int stepsBetweenChecks;
  bool spills;  // then an abort may find no room in an image for what was deleted, and an address may change
};

std::ostream& operator<<(std::ostream& out, const Configuration& configuration) { return out << configuration.name; }

psId idOfBits(std::uint64_t bits) {
  psId id;
  std::memcpy(static_cast<void*>(&id), &bits, sizeof id);
  return id;
}

psId containerOf(const psId& id) { return psId(id.get_DB(), id.get_OC(), 0, 0); }

// What the store should hold, as the running transaction sees it.
struct State {
  std::map<psId, Content> objects;
  std::map<psId, std::string> containers;                       // with their names, "" for none
  std::map<std::pair<std::uint64_t, std::string>, psId> names;  // by scope; a digit first means a key
  std::set<psId> everUsed;                                      // objects and containers
};

struct Pinned {
  pstHandle<psObj> handle;
  const psObj* address;
};

class StoreModel : public ::testing::TestWithParam<Configuration> {
 protected:
  void SetUp() override {
    seed_ = seedOr(20240611);
    random_.seed(seed_);
    options_ = unsynced(GetParam().cacheLimit);
    options_.pageSize = GetParam().pageSize;
    path_ = GetParam().file ? folder_.store("store.ps") : folder_.transientStore("store.ps");
    ASSERT_EQ(session_.open(path_, options_), 1) << session_.lastError();
    begin();
    database_ = session_.database("model");
    for (int i = 0; i < 3; ++i) createContainer();
  }

  std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }
  bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }

  psId anyContainer() {
    return std::next(state_.containers.begin(), static_cast<long>(below(state_.containers.size())))->first;
  }
  psId anyObject() {
    if (state_.objects.empty()) return psId();
    return std::next(state_.objects.begin(), static_cast<long>(below(state_.objects.size())))->first;
  }
  psId anyPlace() { return chance(50) || state_.objects.empty() ? anyContainer() : anyObject(); }
  psId anyUsed() {
    const auto from = state_.everUsed.lower_bound(
        psId(1, static_cast<unsigned short>(below(12)), static_cast<unsigned short>(below(40)), 1));
    return from == state_.everUsed.end() ? anyContainer() : *from;
  }
  // Sizes around nothing, some bytes, a page, and many pages.
  std::size_t anySize() {
    if (chance(10)) return 0;
    if (chance(4)) return below(100 << 10);
    return chance(10) ? GetParam().pageSize + below(64) - 32 : below(2 * GetParam().usualBytes);
  }

  void begin() { ASSERT_EQ(session_.begin(pscUpdate), 1) << session_.lastError(); }

  void note(const psId& id) {
    EXPECT_TRUE(state_.everUsed.insert(id).second) << "given out again: " << ps::detail::orderOf(id);
  }

  void createContainer() {
    const std::string name = chance(70) ? "c" + std::to_string(below(100)) : "";  // perhaps of one that was deleted
    for (const auto& [id, taken] : state_.containers) {
      if (!name.empty() && taken == name) return;
    }
    const pstHandle<psContObj> made =
        name.empty() || chance(50)
            ? pstHandle<psContObj>(new (name.empty() ? nullptr : name.c_str(), 0, 1, 0, database_) psGCContObj)
            : session_.container(database_, name.c_str());
    ASSERT_FALSE(made.isNull()) << session_.lastError();
    note(made.oid());
    state_.containers[made.oid()] = name;
  }

  void create() {
    const psId near = anyPlace();
    const auto number = static_cast<std::int64_t>(random_());
    pstHandle<psObj> made;
    Content content;
    content.number = number;
    if (chance(30)) {
      const pstHandle<Flat> flat(chance(50) ? new (near) Flat(number) : new (pstHandle<psObj>(near)) Flat(number));
      ASSERT_FALSE(flat.isNull()) << session_.lastError();
      flat->other = anyUsed();
      content.links = {flat->other.oid()};
      made = flat;
    } else {
      content.bytes = pattern(random_(), anySize());
      made = chance(50) ? new (near) Blob(number, content.bytes) : new (near, "") Linked(number, content.bytes);
      ASSERT_FALSE(made.isNull()) << session_.lastError();
    }
    content.typeN = made->psGetTypeN();
    note(made.oid());
    EXPECT_EQ(containerOf(made.oid()), containerOf(near));
    state_.objects[made.oid()] = content;
  }

  void changeField() {
    const psId id = anyObject();
    Content& content = state_.objects[id];
    content.number = static_cast<std::int64_t>(random_());
    if (content.typeN == Flat::pstTypeN) {
      pstHandle<Flat> flat(id);
      ASSERT_EQ(chance(50) ? flat.update() : flat->psUpdate(), 1) << session_.lastError();
      flat->number = content.number;
      flat->other = anyUsed();
      content.links = {flat->other.oid()};
    } else {
      const pstHandle<Blob> blob(id);
      ASSERT_EQ(blob->psUpdate(), 1) << session_.lastError();
      blob->number = content.number;
    }
  }

  void changeArray() {
    const psId id = anyObject();
    Content& content = state_.objects[id];
    if (content.typeN == Flat::pstTypeN) return;
    const pstHandle<Blob> object(id);
    ASSERT_EQ(object.open(chance(50) ? pscRead : pscUpdate), 1) << session_.lastError();
    if (content.typeN == Linked::pstTypeN && chance(50))
      return changeLinks(static_cast<Linked&>(*object), content.links);
    pstVArray<char>& bytes = object->bytes;
    std::string& model = content.bytes;
    switch (below(4)) {
      case 0:
        model.resize(anySize());
        EXPECT_EQ(bytes.resize(static_cast<unsigned int>(model.size())), 1) << session_.lastError();
        break;
      case 1:
        for (std::size_t n = below(300); n > 0; --n) {
          const char c = model.empty() || chance(50) ? static_cast<char>(random_()) : model.front();
          // The first element, given where it stands: extend copies it before the array moves.
          const bool own = !model.empty() && c == model.front();
          EXPECT_EQ(own ? bytes.extend(bytes[0]) : bytes.extend(c), 1) << session_.lastError();
          model.push_back(c);
        }
        break;
      case 2:
        if (model.empty()) return;
        for (std::size_t n = below(10); n > 0; --n) {
          const std::size_t i = below(model.size());
          model[i] = static_cast<char>(random_());
          EXPECT_EQ(bytes.iset(static_cast<unsigned int>(i), model[i]), 1) << session_.lastError();
        }
        break;
      default:
        ASSERT_EQ(bytes.update(), 1) << session_.lastError();
        model = pattern(random_(), model.size());
        std::copy(model.begin(), model.end(), bytes.head());
    }
    ASSERT_EQ(bytes.size(), model.size());
  }

  void changeLinks(Linked& object, std::vector<psId>& model) {
    if (chance(20)) {
      model.resize(below(600));
      EXPECT_EQ(object.links.resize(static_cast<unsigned int>(model.size())), 1) << session_.lastError();
    } else if (model.empty() || chance(60)) {
      model.push_back(anyUsed());
      EXPECT_EQ(object.links.extend(pstRef<psObj>(model.back())), 1) << session_.lastError();
    } else {
      const std::size_t i = below(model.size());
      model[i] = anyUsed();
      EXPECT_EQ(object.links.iset(static_cast<unsigned int>(i), model[i]), 1) << session_.lastError();
    }
  }

  void forget(const psId& id) {
    state_.objects.erase(id);
    for (auto name = state_.names.begin(); name != state_.names.end();) {
      name = name->second == id || name->first.first == id.bits() ? state_.names.erase(name) : std::next(name);
    }
  }

  void remove() {
    const psId id = anyObject();
    pstHandle<psObj> object(id);
    if (chance(50)) static_cast<void>(object.open(chance(50) ? pscRead : pscUpdate));
    ASSERT_EQ(psDelete(object), 1) << session_.lastError();
    EXPECT_EQ(object.oid(), id);
    forget(id);
  }

  void removeContainer() {
    if (state_.containers.size() < 3) return;
    pstHandle<psObj> container(anyContainer());
    const psId id = container.oid();
    ASSERT_EQ(psDelete(container), 1) << session_.lastError();
    state_.containers.erase(id);
    std::vector<psId> members{id};
    for (const auto& [object, content] : state_.objects) {
      if (containerOf(object) == id) members.push_back(object);
    }
    for (const psId& member : members) forget(member);
    containerRemoved_ = true;
  }

  void copy() {
    const psId id = anyObject();
    const pstHandle<psObj> original(id);
    pstHandle<psObj> made;
    original.copy(anyPlace(), made);
    ASSERT_FALSE(made.isNull()) << session_.lastError();
    note(made.oid());
    state_.objects[made.oid()] = state_.objects[id];
  }

  void move() {
    const psId id = anyObject();
    pstHandle<psObj> object(id);
    ASSERT_EQ(object.move(anyPlace()), 1) << session_.lastError();
    const psId moved = object.oid();
    note(moved);
    state_.objects[moved] = state_.objects[id];
    std::vector<std::pair<std::string, psId>> rescoped;
    for (auto& [key, named] : state_.names) {
      if (named == id) named = moved;
      if (key.first == id.bits()) rescoped.emplace_back(key.second, named);
    }
    forget(id);
    for (const auto& [name, named] : rescoped) state_.names[{moved.bits(), name}] = named;
  }

  psId anyScope() { return chance(20) ? database_.oid() : anyPlace(); }
  std::string anyName() { return (chance(40) ? "" : "n") + std::to_string(static_cast<int>(below(30)) - 5); }
  static bool isKey(const std::string& name) { return name[0] != 'n'; }
  static psKey keyOf(const std::string& name) { return psKey(std::stoi(name)); }

  // A scope and a name or key, mostly one that is taken there.
  std::pair<psId, std::string> anyFiling() {
    if (state_.names.empty() || chance(20)) return {anyScope(), anyName()};
    const auto& filed = std::next(state_.names.begin(), static_cast<long>(below(state_.names.size())))->first;
    return {idOfBits(filed.first), filed.second};
  }

  void unfile() {
    const auto [scope, name] = anyFiling();
    const int done = isKey(name) ? session_.unkey(scope, keyOf(name)) : session_.unname(scope, name.c_str());
    EXPECT_EQ(done, state_.names.erase({scope.bits(), name})) << session_.lastError();
  }

  void refile() {
    const auto [scope, name] = anyFiling();
    const psId newScope = chance(50) ? scope : anyScope();
    const std::string newName = isKey(name) ? std::to_string(below(20)) : "n" + std::to_string(below(20));
    const int done = isKey(name) ? session_.rekey(scope, keyOf(name), newScope, keyOf(newName))
                                 : session_.rename(scope, name.c_str(), newScope, newName.c_str());
    const auto old = state_.names.find({scope.bits(), name});
    const bool isSame = scope == newScope && name == newName;
    const bool possible = old != state_.names.end() && (isSame || state_.names.count({newScope.bits(), newName}) == 0);
    EXPECT_EQ(done, possible ? 1 : 0) << session_.lastError();
    if (!possible) return;
    const psId object = old->second;
    state_.names.erase(old);
    state_.names[{newScope.bits(), newName}] = object;
  }

  // What is filed in a scope is listed as the model has it: names in the order of their bytes, then numbers in theirs.
  void checkListing(const psId& scope) {
    const std::string prefix = chance(50) ? "n" : "n1";
    std::vector<std::pair<std::string, psId>> names;
    std::map<int, psId> keys;
    for (const auto& [filed, object] : state_.names) {
      if (filed.first != scope.bits()) continue;
      if (isKey(filed.second))
        keys[std::stoi(filed.second)] = object;
      else
        names.emplace_back(filed.second, object);
    }
    std::vector<std::pair<std::string, psId>> wanted = names;
    for (const auto& [number, object] : keys) wanted.emplace_back(std::to_string(number), object);
    std::vector<std::pair<std::string, psId>> found;
    const auto collect = [&found](const psFiling& filing) {
      EXPECT_EQ(filing.kind == psFiling::Kind::number, isKey(filing.text));
      found.emplace_back(filing.text, filing.object.oid());
      return true;
    };
    EXPECT_EQ(session_.names(scope, collect), 1) << session_.lastError();
    EXPECT_EQ(found, wanted);
    const auto isOther = [&](const auto& name) { return name.first.compare(0, prefix.size(), prefix) != 0; };
    names.erase(std::remove_if(names.begin(), names.end(), isOther), names.end());
    found.clear();
    EXPECT_EQ(session_.names(scope, collect, prefix.c_str()), 1) << session_.lastError();
    EXPECT_EQ(found, names);
  }

  void file() {
    const psId object = chance(90) ? anyObject() : anyContainer();
    const psId scope = anyScope();
    const std::string name = anyName();
    const bool taken = state_.names.count({scope.bits(), name}) != 0;
    const int done =
        isKey(name) ? session_.key(object, scope, keyOf(name)) : session_.name(object, scope, name.c_str());
    EXPECT_EQ(done, taken ? 0 : 1) << session_.lastError();
    if (!taken) state_.names[{scope.bits(), name}] = object;
  }

  void pinOrUnpin() {
    if (pinned_.size() > 12) {
      pinned_.erase(pinned_.begin() + static_cast<long>(below(pinned_.size())));
      return;
    }
    const pstHandle<psObj> handle(anyObject());
    ASSERT_EQ(handle.open(chance(50) ? pscRead : pscUpdate), 1) << session_.lastError();
    pinned_.push_back({handle, &*handle});
  }

  void commit() {
    spilled_ += session_.counters().pageWrites - written_;
    ASSERT_EQ(session_.commit(), 1) << session_.lastError();
    committed_ = state_;
    containerRemoved_ = false;
    written_ = session_.counters().pageWrites;
    if (chance(30)) {
      ASSERT_EQ(session_.begin(pscRead), 1) << session_.lastError();
      check();
      ASSERT_EQ(session_.commit(), 1);
    }
    begin();
  }

  void abort() {
    ASSERT_EQ(session_.abort(), 1) << session_.lastError();
    // What the transaction created or moved is gone, and with a deleted container went its images.
    const auto lost = [this](const Pinned& pinned) {
      return containerRemoved_ || committed_.objects.count(pinned.handle.oid()) == 0;
    };
    for (const Pinned& pinned : pinned_) EXPECT_NE(ps::detail::frameOfObject(pinned.address)->pageId, psId());
    pinned_.erase(std::remove_if(pinned_.begin(), pinned_.end(), lost), pinned_.end());
    state_ = committed_;
    containerRemoved_ = false;
    begin();
    // Image and content in place, and translated anew where not.
    checkPinned();
  }

  void reopen() {
    if (!GetParam().file) return;
    commit();
    ASSERT_EQ(session_.close(), 1);
    ASSERT_EQ(session_.open(path_, options_), 1) << session_.lastError();
    written_ = 0;
    openContainers_.clear();
    pinned_.clear();  // the last handles to the closed session's images
    begin();
  }

  void checkPinned() {
    for (std::size_t i = 0; i < pinned_.size();) {
      Pinned& pinned = pinned_[i];
      const auto known = state_.objects.find(pinned.handle.oid());
      EXPECT_EQ(pinned.handle.isValid(), known != state_.objects.end());
      if (known == state_.objects.end()) {
        EXPECT_EQ(pinned.handle.open(pscRead), 0);
        pinned_.erase(pinned_.begin() + static_cast<long>(i));
        continue;
      }
      if (GetParam().spills) {
        pinned.address = pinned.handle.operator->();
      }
      EXPECT_EQ(pinned.handle.operator->(), pinned.address);
      EXPECT_EQ(pinned.address->psOid(), pinned.handle.oid());
      EXPECT_EQ(contentOf(pinned.handle), known->second);
      ++i;
    }
  }

  template <class T>
  void checkScan(const psId& container) {
    std::vector<psId> wanted;
    for (const auto& [id, content] : state_.objects) {
      if (containerOf(id) == container && ptmIsKindOf(content.typeN, T::pstTypeN) != 0) wanted.push_back(id);
    }
    EXPECT_EQ(scanned<T>(container), wanted);
  }

  void checkObjects() {
    for (const auto& [id, content] : state_.objects) {
      const pstHandle<psObj> object(id);
      ASSERT_TRUE(object.isValid());
      ASSERT_EQ(object.typeN(), content.typeN);
      ASSERT_EQ(object.containedIn().oid(), containerOf(id));
      const Content found = contentOf(object);
      ASSERT_TRUE(found == content) << "object " << ps::detail::orderOf(id) << " of class " << content.typeN
                                    << ": number " << found.number << " for " << content.number << ", bytes "
                                    << found.bytes.size() << " for " << content.bytes.size() << ", links "
                                    << found.links.size() << " for " << content.links.size();
    }
  }

  void checkDead() {
    for (int i = 0; i < 10; ++i) {
      const psId id = anyUsed();
      if (id.get_page() == 0 || state_.objects.count(id) != 0) continue;
      const pstHandle<psObj> object(id);
      EXPECT_FALSE(object.isValid());
      EXPECT_EQ(object.typeN(), 0U);
      EXPECT_EQ(object.open(pscRead), 0);
      EXPECT_EQ(object.operator->(), nullptr);
      for (int n = 0; n < 20; ++n)
        EXPECT_EQ(pstHandle<psObj>().lookupObj(id, ("n" + std::to_string(n)).c_str(), pscNoOpen), 0);
    }
  }

  void checkNames() {
    for (const auto& [key, id] : state_.names) {
      const psId scope = idOfBits(key.first);
      pstRef<psObj> found;
      const bool keyed = isKey(key.second);
      EXPECT_EQ(keyed ? found.lookupObj(scope, keyOf(key.second), pscRead)
                      : found.lookupObj(scope, key.second.c_str(), pscRead),
                1);
      EXPECT_EQ(found, id);
      const unsigned int typeN = pstHandle<psObj>(id).typeN();
      pstHandle<Blob> blob(id);
      EXPECT_EQ(keyed ? blob.lookupObj(scope, keyOf(key.second), pscNoOpen)
                      : blob.lookupObj(scope, key.second.c_str(), pscNoOpen),
                ptmIsKindOf(typeN, Blob::pstTypeN));
      EXPECT_EQ(blob.isNull(), ptmIsKindOf(typeN, Blob::pstTypeN) == 0);
    }
    for (int i = 0; i < 20; ++i) {
      const psId scope = anyScope();
      const std::string name = "n" + std::to_string(i);
      pstHandle<psObj> found(scope);
      const int done = found.lookupObj(scope, name.c_str(), pscNoOpen);
      EXPECT_EQ(done == 1, state_.names.count({scope.bits(), name}) != 0);
    }
    for (int i = 0; i < 5; ++i) checkListing(anyFiling().first);
  }

  void check() {
    std::vector<psId> containers;
    for (const auto& [id, name] : state_.containers) {
      containers.push_back(id);
      const pstHandle<psContObj> container(id);
      ASSERT_TRUE(container.isValid());
      ASSERT_EQ(container.open(pscRead), 1);
      openContainers_[id] = container;  // an abort must not leave an open one as it was
      EXPECT_STREQ(container.name(), name.empty() ? nullptr : name.c_str());
      if (!name.empty()) {
        EXPECT_EQ(session_.container(database_, name.c_str()), container);
      }
      checkScan<psObj>(id);
      checkScan<Blob>(id);
      checkScan<Linked>(id);
      checkScan<Flat>(id);
    }
    std::vector<psId> found;
    pstItr<psContObj> container;
    container.scan(database_, pscRead);
    while (container.next()) found.push_back(container.oid());
    EXPECT_EQ(found, containers);
    checkObjects();
    checkDead();
    checkNames();
    checkPinned();
  }

  void step() {
    const std::size_t dice = below(1000);
    if (state_.objects.size() < GetParam().mostObjects && (dice < 250 || state_.objects.empty())) return create();
    if (state_.objects.empty()) return;
    if (dice < 400) return changeField();
    if (dice < 650) return changeArray();
    if (dice < 740) return remove();
    if (dice < 790) return copy();
    if (dice < 840) return move();
    if (dice < 880) return file();
    if (dice < 890) return unfile();
    if (dice < 900) return refile();
    if (dice < 940) return pinOrUnpin();
    if (dice < 950) return createContainer();
    if (dice < 953) return removeContainer();
    if (GetParam().spills && chance(70)) return;  // longer transactions
    if (dice < 977) return commit();
    if (dice < 993) return abort();
    if (dice < 996) return reopen();
  }

  std::uint64_t seed_ = 0;
  std::mt19937_64 random_;
  ScratchFolder folder_;
  std::string path_;
  psSessionOptions options_;
  psSession session_;
  pstHandle<psDBObj> database_;
  State state_;
  State committed_;
  std::vector<Pinned> pinned_;
  std::map<psId, pstHandle<psContObj>> openContainers_;
  bool containerRemoved_ = false;  // in this transaction
  std::uint64_t written_ = 0;      // pages, when the transaction began
  std::uint64_t spilled_ = 0;      // pages written before their transaction's end
};

TEST_P(StoreModel, HoldsWhatTheModelHolds) {
  std::cout << "PSCOLLECTIONS_SEED=" << seed_ << '\n';
  commit();
  const int steps = ScratchFolder::stepsOr(GetParam().steps, GetParam().steps / 30);
  for (int i = 1; i <= steps && !HasFailure(); ++i) {
    step();
    if (i % GetParam().stepsBetweenChecks == 0) check();
  }
  commit();
  reopen();
  check();
  // Else this run has tested less than it says. A short one, on a server, spills little.
  EXPECT_TRUE(ScratchFolder::isOnServer() || GetParam().spills == (spilled_ > 100)) << spilled_;
}

constexpr Configuration configurations[] = {
    {"Memory", false, 8192, 64 << 20, 150, 200, 20000, 25, false},
    {"File", true, 8192, 64 << 20, 150, 200, 20000, 25, false},
    {"FileOfSmallPages", true, 4096, 64 << 20, 150, 600, 12000, 25, false},
    {"FileOfLargePagesSpilling", true, 32768, 4 << 20, 1200, 20000, 12000, 200, true},
    {"FileSpilling", true, 8192, 4 << 20, 1500, 10000, 15000, 200, true},
};

INSTANTIATE_TEST_SUITE_P(Stores, StoreModel, ::testing::ValuesIn(configurations),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace ps::test
