#include <gtest/gtest.h>
#include <lmdb.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <random>
#include <stdexcept>

#include "store/StoreObjects.h"
#include "store/engine/StoreKey.h"
#include "store/session/SessionCore.h"
#include "support/RawStore.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

using ps::detail::StoreKey;

// Owns another object, which a copy would share.
class Owner : public psObj {
  PS_PERSISTENT_CLASS(Owner, psObj, 20220)

 public:
  Owner() : part(new (this) Flat(1)) {}
  ~Owner() noexcept override {
    ++destructions;
    pstHandle<psObj> owned(part);
    psDelete(owned);
    pstHandle<psObj> self(this);
    again = psDelete(self);
  }
  // Deletes the object whose member is running; its bytes stay readable, though it is no object any more.
  __attribute__((no_sanitize("vptr"))) std::int64_t leave() {
    mark = 5;
    pstHandle<psObj> self(this);
    if (psDelete(self) != 1) return -1;
    return mark;
  }

  pstRef<psObj> part;
  std::int64_t mark = 0;

  static int destructions;
  static int again;
};
int Owner::destructions = 0;
int Owner::again = -1;

// Has storage when its constructor fails, by an error of the library that is thrown.
class Fragile : public Blob {
  PS_PERSISTENT_CLASS(Fragile, Blob, 20221)

 public:
  explicit Fragile(const std::string& content) : Blob(1, content) { bytes[9] = 'x'; }
};
PS_REGISTER_CLASS(Fragile)

class FragileContainer : public psContObj {
 public:
  FragileContainer() { throw std::runtime_error("no"); }
};

const char* noName() { throw std::runtime_error("no name"); }

// Forgets its own PS_PERSISTENT_CLASS.
class Nameless : public Flat {
 public:
  using Flat::Flat;
  std::int64_t more = 0;
};

// The same, where the size does not tell.
class Namesake : public Flat {
 public:
  using Flat::Flat;
  void psCopyInit() override { number = 0; }
};

// Has a base whose constructor makes handles to the object.
class Heir : public Owner {
  PS_PERSISTENT_CLASS(Heir, Owner, 20222)

 public:
  Heir() = default;
};
PS_REGISTER_CLASS(Heir)

// Classes of other programs: only a process of its own makes them known.
class Foreign : public psObj {
  PS_PERSISTENT_CLASS(Foreign, psObj, 20230)

 public:
  Foreign() = default;
  std::int64_t number = 77;
};
class Before : public psObj {
  PS_PERSISTENT_CLASS(Before, psObj, 20231)

 public:
  Before() = default;
  std::int64_t number = 78;
};
class After : public psObj {
  PS_PERSISTENT_CLASS(After, psObj, 20231)

 public:
  After() = default;
  std::int64_t number = 79;
  std::int64_t more = 80;
};

template <class T>
void introduce(const char* name, psRelocation relocation = psRelocation::allowed) {
  ps::detail::registerClass<T>(name, relocation);
  ptmAddToVTableInitList(&ps::detail::adoptPrototype<T>);
}
const bool ownerIntroduced = (introduce<Owner>("Owner", psRelocation::refused), true);

class StoreErrors : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(open(), 1) << session_.lastError(); }

  int open() { return session_.open(path_, unsynced()); }
  void begin(psMode mode = pscUpdate) { ASSERT_EQ(session_.begin(mode), 1) << session_.lastError(); }
  void commit() { ASSERT_EQ(session_.commit(), 1) << session_.lastError(); }
  pstHandle<psDBObj> database() { return session_.database("errors"); }
  pstHandle<psContObj> container(const char* name) { return session_.container(database(), name); }

  // That the last error says all this.
  void complains(std::initializer_list<const char*> parts) {
    const std::string text = session_.lastError();
    for (const char* part : parts)
      EXPECT_NE(text.find(part), std::string::npos) << "no \"" << part << "\" in: " << text;
  }

  void complains(psErrorKind kind, std::initializer_list<const char*> parts) {
    EXPECT_EQ(session_.lastErrorKind(), kind) << session_.lastError();
    complains(parts);
  }

  // Something to be still there afterwards.
  void furnish() {
    begin();
    ASSERT_NE(new (container("kept")) Blob(3, pattern(3, 20000)), nullptr);
    commit();
  }
  void isIntact() {
    if (session_.inTransaction()) session_.abort();
    ASSERT_EQ(session_.close(), 1);
    ASSERT_EQ(open(), 1) << session_.lastError();
    begin(pscRead);
    const std::vector<psId> ids = scanned<psObj>(container("kept"));
    ASSERT_EQ(ids.size(), 1U);
    EXPECT_TRUE(contentOf(ids[0]) == (Content{Blob::pstTypeN, 3, pattern(3, 20000), {}}));
    commit();
    begin();
    ASSERT_NE(new (container("more")) Flat(1), nullptr) << session_.lastError();
    commit();
  }

  ScratchFolder folder_;
  const std::string path_ = folder_.store("store.ps");
  psSession session_;
};

TEST_F(StoreErrors, FilesThatAreNoStoreAreLeftAlone) {
  furnish();
  ASSERT_EQ(session_.close(), 1);
  const auto refuses = [this](const std::string& path, std::initializer_list<const char*> parts) {
    psSession other;
    EXPECT_EQ(other.open(path, unsynced()), 0);
    complains({path.c_str()});
    complains(parts);
    EXPECT_EQ(other.begin(pscRead), 0);
    complains(psErrorKind::usage, {"not open", "psSession::open"});
  };
  refuses(folder_ / "no/such/folder", {"directory", "Create it"});
  refuses("/proc/self/status/store", {"Check the path"});

  RawStore(folder_.store("other")).put("some key", "some value");
  refuses(folder_.store("other"), {"something other", "another path"});
  EXPECT_EQ(RawStore(folder_.store("other")).content().size(), 1U);

  const auto federation = [this](const std::string& format) {
    ps::detail::CatalogEntry entry;
    entry.header.type = psFDObj::pstTypeN;
    entry.name = format;
    entry.pageSize = 8192;
    entry.live = 1;
    entry.nextNumber = 2;
    RawStore(path_).put(StoreKey::federation(), entry.encode(StoreKey::federation()));
  };
  federation("pscollections 3");
  refuses(path_, {"\"pscollections 3\"", "newer"});
  federation(std::string(ps::detail::storeFormat));
  isIntact();
}

TEST_F(StoreErrors, TransactionsAreAskedForInOrder) {
  furnish();
  const psId id(1, 1, 1, 1);
  EXPECT_EQ(id.update(), 0);
  complains(psErrorKind::usage, {"outside a transaction", "begin"});
  EXPECT_TRUE(database().isNull());
  complains({"outside a transaction"});
  for (int (psSession::*end)() : {&psSession::commit, &psSession::abort}) {
    EXPECT_EQ((session_.*end)(), 0);
    complains({path_.c_str(), "outside a transaction"});
  }
  EXPECT_EQ(session_.open(folder_.store("second"), unsynced()), 0);
  complains(psErrorKind::usage, {"already open", "close it first"});
  begin(pscRead);
  EXPECT_EQ(session_.begin(pscUpdate), 0);
  complains(psErrorKind::usage, {"inside a read", "commit or abort"});
  EXPECT_EQ(session_.lastError(), session_.lastError());
  const pstHandle<psContObj> kept = container("kept");
  const pstHandle<Blob> blob(scanned<Blob>(kept).at(0));
  EXPECT_EQ(blob.open(pscRead), 1);
  const std::uint64_t refusals = ps::detail::refusalCount();
  EXPECT_EQ(blob.open(pscUpdate), 0);
  complains(psErrorKind::usage, {"read transaction", "object (1,1,1,1)", "begin(pscUpdate)"});
  EXPECT_EQ(ps::detail::refusalCount(), refusals + 1);
  EXPECT_EQ(blob.open(pscRead), 1);
  EXPECT_EQ(blob->psUpdate(), 0);
  EXPECT_EQ(blob->bytes.extend('x'), 0);
  EXPECT_EQ(pehSessionDataGetFunction()->number(), psteUpdateVArray.number);
  EXPECT_EQ(new (kept) Flat(1), nullptr);
  complains({"creating an object", "update transaction"});
  EXPECT_EQ(new (nullptr, 0, 1, 0, kept) psContObj, nullptr);
  EXPECT_TRUE(session_.container(database(), "new").isNull());
  pstHandle<psObj> victim(blob);
  EXPECT_EQ(psDelete(victim), 0);
  EXPECT_EQ(victim.move(kept), 0);
  pstHandle<psObj> twin(blob);
  EXPECT_TRUE(blob.copy(kept, twin).isNull());
  EXPECT_EQ(session_.name(blob, kept, "name"), 0);
  complains({"naming", "update transaction"});
  commit();
  begin();
  EXPECT_EQ(session_.begin(pscRead), 0);
  complains({"inside an update"});
  const std::string tooLong(401, 'n');
  EXPECT_TRUE(session_.database(tooLong.c_str()).isNull());
  complains(psErrorKind::usage, {"a database", "400 bytes", "401"});
  EXPECT_TRUE(session_.container(database(), tooLong.c_str()).isNull());
  complains(psErrorKind::usage, {"a container", "400 bytes"});
  isIntact();
}

TEST_F(StoreErrors, ForkedChildrenAreRefused) {
  furnish();
  begin();
  const pstHandle<Blob> blob(scanned<Blob>(container("kept")).at(0));
  ASSERT_EQ(blob.open(pscRead), 1);
  EXPECT_EQ(inProcess([&] {
              std::string faults;
              if (blob.open(pscRead) != 0) faults += "opened ";
              if (session_.lastError().find("parent") == std::string::npos) faults += session_.lastError();
              if (session_.commit() != 0 || session_.abort() != 0 || session_.begin(pscRead) != 0) faults += "went on ";
              if (new (blob) Flat(1) != nullptr || blob.isValid()) faults += "created ";
              if (session_.lastError().find("session of the child's own") == std::string::npos)
                faults += session_.lastError();
              if (session_.close() != 1) faults += "not closed ";
              psSession own;
              if (own.open(path_, unsynced()) != 1 || own.begin(pscRead) != 1) faults += own.lastError();
              if (!blob.isValid() || blob->number != 3) faults += "unreadable ";
              return faults;
            }),
            "");
  ASSERT_EQ(blob.update(), 1);
  blob->number = 4;
  commit();
  begin();
  ASSERT_EQ(blob.update(), 1);
  blob->number = 3;
  commit();
  isIntact();
}

// Flipped bytes in the store's records are found. Other records stay usable, and nothing is made worse.
TEST_F(StoreErrors, FlippedBytesAreFound) {
  begin();
  const pstHandle<psContObj> a = container("a");
  const pstHandle<psContObj> b = container("b");
  const psId small = pstHandle<Blob>(new (a) Blob(1, pattern(1, 100))).oid();
  const psId large = pstHandle<Blob>(new (b) Blob(2, pattern(2, 100000))).oid();
  ASSERT_EQ(session_.name(small, a, "name"), 1);
  commit();
  ASSERT_EQ(session_.close(), 1);
  const Records content = RawStore(path_).content();
  const Content smallContent{Blob::pstTypeN, 1, pattern(1, 100), {}};
  const Content largeContent{Blob::pstTypeN, 2, pattern(2, 100000), {}};
  std::mt19937_64 random(seedOr(99));
  std::map<char, int> flips;
  const int stride = ScratchFolder::stepsOr(1, 5);

  for (const auto& [key, value] : content) {
    if (key[0] != 'F' && key[0] != 'P') continue;  // DamageIsARefusalAndNotAbsence meets the others
    for (int n = 0; n < 40 && !value.empty() && !HasFailure(); n += stride) {
      std::string damaged = value;
      const std::size_t byte =
          n < 8 ? std::min<std::size_t>(static_cast<std::size_t>(n), value.size() - 1) : random() % value.size();
      damaged[byte] = static_cast<char>(damaged[byte] ^ (1 << random() % 8));
      if (n == 30) damaged.resize(damaged.size() / 2);
      RawStore(path_).put(key, damaged);
      SCOPED_TRACE(std::string("kind ") + key[0] + ", byte " + std::to_string(byte));
      ++flips[key[0]];
      if (open() != 1) {
        EXPECT_EQ(key[0], 'F');
        complains(psErrorKind::damaged, {path_.c_str(), "damaged", "backup"});
      } else {
        begin();
        const Content nowSmall = contentOf(small);
        const Content nowLarge = contentOf(large);
        const bool hitsA = StoreKey::numberAt(key, 3) == 1;
        EXPECT_TRUE(small.isValid() && large.isValid());
        if (key[0] == 'P') {
          EXPECT_FALSE(nowSmall == smallContent && nowLarge == largeContent);
          EXPECT_TRUE(hitsA ? nowLarge == largeContent : nowSmall == smallContent);
          complains({"page ", hitsA ? "container (1,1)" : "container (1,2)", "checksum", "backup"});
          EXPECT_GT(ps::detail::refusalCount(), 0U);
          pstHandle<Blob> hit(hitsA ? small : large);
          if (hit.open(pscUpdate) == 1) {
            // The array's storage lies in a page of its own.
            EXPECT_EQ(hit->bytes.size(), 0U);
            EXPECT_TRUE(hit->bytes.iset(0, 'x') == 0 && session_.lastErrorKind() == psErrorKind::damaged);
            EXPECT_EQ(hit->bytes.extend('x'), 0);
            EXPECT_EQ(hit->bytes.resize(5), 0);
          } else {
            pstHandle<psObj> victim(hit);
            EXPECT_EQ(psDelete(victim), 0);
          }
        }
        EXPECT_EQ(session_.commit(), 1) << session_.lastError();
        ASSERT_EQ(session_.close(), 1);
      }
      RawStore(path_).put(key, value);
      EXPECT_TRUE(RawStore(path_).content() == content) << "the store wrote into what it could not read";
    }
  }
  EXPECT_GT(flips['P'], 100 / stride);

  // A chunk that is sound but of an older commit.
  ASSERT_EQ(open(), 1);
  begin();
  ASSERT_EQ(pstHandle<Blob>(large)->bytes.iset(99999, 'x'), 1);
  commit();
  ASSERT_EQ(session_.close(), 1);
  std::size_t stale = 0;
  for (const auto& [key, value] : RawStore(path_).content()) {
    // Among those that differ now the first chunk comes first; what follows is put back.
    if (key[0] == 'P' && value != content.at(key) && stale++ > 0) RawStore(path_).put(key, content.at(key));
  }
  EXPECT_EQ(stale, 2U);
  ASSERT_EQ(open(), 1);
  begin();
  EXPECT_TRUE(contentOf(small) == smallContent);
  EXPECT_EQ(contentOf(large).bytes, "");
  complains(psErrorKind::damaged, {"page ", "container (1,2)", "checksum"});
}

// Whichever record is damaged, operations that depend on it are refused, and not told that nothing is there.
TEST_F(StoreErrors, DamageIsARefusalAndNotAbsence) {
  furnish();
  begin();
  const psId data(1, 0, 0, 0);
  const pstHandle<psContObj> kept = container("kept");
  const pstHandle<psContObj> side = container("side");
  const psId small = pstHandle<Blob>(new (side) Blob(1, pattern(1, 100))).oid();
  const psId large = scanned<Blob>(kept).at(0);
  ASSERT_EQ(session_.name(small, side, "name"), 1);
  commit();
  ASSERT_EQ(session_.close(), 1);
  const Records content = RawStore(path_).content();

  const auto deletes = [](const psId& id) {
    pstHandle<psObj> victim(id);
    return psDelete(victim) == 1;
  };
  const auto yields = [](const psHandleBase& scope) {
    pstItr<psObj> found;
    found.scan(scope, pscRead);
    std::size_t count = 0;
    while (found.next()) ++count;
    return count;
  };
  const pstHandle<psDBObj> in(data);
  const struct {
    const char* kinds;  // of records whose damage this meets
    const char* what;
    std::function<bool()> succeeds;
  } ways[] = {
      {"DB", "database", [&] { return !database().isNull(); }},
      {"DB", "exist", [&] { return pstHandle<psDBObj>().exist(session_.federation(), "errors", pscNoOpen); }},
      {"DAC", "container", [&] { return !session_.container(in, "side").isNull(); }},
      {"DAC", "new container", [&] { return new ("side", 0, 1, 0, in) psContObj != nullptr; }},
      {"B", "new database",
       [&] {
         return !pstHandle<psDBObj>(new (session_.federation()) psDBObj("errors", 0, 0, nullptr, nullptr, 1, 0))
                     .isNull();
       }},
      {"D", "numbered", [&] { return !session_.container(in, nullptr, 7).isNull(); }},
      {"D", "name of database", [&] { return in.name() != nullptr; }},
      {"D", "class", [&] { return in.typeN() != 0; }},
      {"D", "databases", [&] { return yields(session_.federation()) == 1; }},
      {"DC", "containers", [&] { return yields(in) == 2; }},
      {"DC", "delete database", [&] { return deletes(data); }},
      {"C", "objects", [&] { return yields(side) == 1; }},
      {"C", "name of container", [&] { return side.name() != nullptr; }},
      {"C", "refresh", [&] { return side.refreshOpen(pscRead, nullptr, 0) == 1; }},
      {"C", "create", [&] { return new (side) Flat(1) != nullptr; }},
      {"CNR", "delete container", [&] { return deletes(side); }},
      {"CNR", "delete object", [&] { return deletes(small); }},
      {"NR", "look-up", [&] { return pstHandle<Blob>().lookupObj(side, "name", pscRead) == 1; }},
      {"NR", "name", [&] { return session_.name(small, side, "name") == 1; }},
      {"NR", "move", [&] { return pstHandle<psObj>(small).move(kept) == 1; }},
      {"P", "size", [&] { return pstHandle<Blob>(large)->bytes.size() != 0; }},
      {"P", "element", [&] { return pstOpenVArray(&pstHandle<Blob>(large)->bytes) != nullptr; }},
  };
  std::mt19937_64 random(seedOr(7));
  for (const auto& [key, value] : content) {
    // Of "kept", another record of each kind, and the page with the array's storage; the object itself is sound.
    const bool ofKept = (key[0] == 'C' || key[0] == 'P') && StoreKey::numberAt(key, 3) == 1;
    const bool storage = key[0] == 'P' && ofKept && StoreKey::numberAt(key, 5) == 2;
    if (key[0] == 'F' || key == std::string(1, 'A') + std::string("\0\1kept", 6) || (key[0] == 'C' && ofKept) ||
        (key[0] == 'P' && !storage))
      continue;
    for (int n = 0; n < ScratchFolder::stepsOr(6, 2); ++n) {
      std::string damaged = value;
      if (n == 0 || value.empty()) {
        damaged += 'x';
      } else {
        damaged[random() % value.size()] ^= static_cast<char>(1 << random() % 8);
      }
      storage&& n == 1 ? RawStore(path_).erase(key) : RawStore(path_).put(key, damaged);
      const auto file = RawStore(path_).content();
      for (const auto& way : ways) {
        if (std::string(way.kinds).find(key[0]) == std::string::npos) continue;
        SCOPED_TRACE(std::string("kind ") + key[0] + ", " + way.what + ", damage " + std::to_string(n));
        ASSERT_EQ(open(), 1) << session_.lastError();
        begin();
        EXPECT_FALSE(way.succeeds());
        complains({"backup"});
        EXPECT_GT(session_.counters().refusals, 0U);
        EXPECT_GT(ps::detail::refusalCount(), 0U);
        EXPECT_TRUE(in.isValid() && side.isValid() && small.isValid() && large.isValid());
        commit();
        ASSERT_EQ(session_.close(), 1);
        auto now = RawStore(path_).content();
        now["F"] = file.at("F");  // where a number may have been used up
        ASSERT_TRUE(now == file) << "something was changed";
      }
    }
    RawStore(path_).put(key, value);
  }
  ASSERT_EQ(open(), 1);
  isIntact();
}

TEST_F(StoreErrors, AFullMapVoidsTheTransactionAlone) {
  if (ScratchFolder::isOnServer()) GTEST_SKIP() << "a file alone has a largest size";
  furnish();
  ASSERT_EQ(session_.close(), 1);
  psSessionOptions options = unsynced(0);
  options.mapSize = std::size_t{1} << 20;
  for (const std::size_t size : {std::size_t{1000}, std::size_t{100000}}) {
    ASSERT_EQ(session_.open(path_, options), 1) << session_.lastError();
    begin();
    const pstHandle<psContObj> kept = container("kept");
    for (int n = 0; n < 20000000 / static_cast<int>(size) && session_.lastError().empty(); ++n)
      new (kept) Blob(n, pattern(1, size));
    EXPECT_EQ(session_.commit(), 0);
    complains(psErrorKind::full, {path_.c_str(), "full", "1048576", "mapSize"});
    EXPECT_FALSE(session_.inTransaction());
    ASSERT_EQ(session_.close(), 1);
  }
  ASSERT_EQ(open(), 1);
  isIntact();
}

TEST_F(StoreErrors, ObjectsOfClassesThatThisProgramDoesNotHaveAreKept) {
  furnish();
  ASSERT_EQ(session_.close(), 1);
  EXPECT_EQ(inProcess([this] {
              introduce<Foreign>("Foreign");
              introduce<Before>("Account");
              if (open() != 1 || session_.begin(pscUpdate) != 1) return session_.lastError();
              const pstHandle<psObj> in(container("shared"));
              const pstHandle<psObj> foreign(new (in) Foreign);
              const bool good = session_.name(foreign, in, "foreign") == 1 &&
                                new (in) Before != nullptr&& new (in) Flat(5) != nullptr&& session_.commit() == 1;
              return good ? std::string() : session_.lastError();
            }),
            "");
  ptmRegisterClass(After::pstTypeN, "Account", psObj::pstTypeN, sizeof(After), psRelocation::allowed);
  ptmAddToVTableInitList(&ps::detail::adoptPrototype<After>);
  ASSERT_EQ(open(), 1) << session_.lastError();
  begin();
  const std::vector<psId> ids = scanned<psObj>(container("shared"));
  ASSERT_EQ(ids.size(), 3U);
  const std::initializer_list<const char*> unknown = {"(1,2,1,1)", "class number 20230", "PS_REGISTER_CLASS"};
  const std::string sizes[] = {std::to_string(sizeof(Before)) + " bytes", "has " + std::to_string(sizeof(After))};
  const std::initializer_list<const char*> changed = {"(1,2,1,2)",      "Account",        "20231",
                                                      sizes[0].c_str(), sizes[1].c_str(), "new number"};
  for (std::size_t i = 0; i < 2; ++i) {
    pstHandle<psObj> object(ids[i]);
    EXPECT_TRUE(object.isValid());
    EXPECT_EQ(object.typeN(), i == 0 ? Foreign::pstTypeN : Before::pstTypeN);
    for (const psMode mode : {pscRead, pscUpdate}) {
      EXPECT_EQ(object.open(mode), 0);
      complains(psErrorKind::unknownClass, i == 0 ? unknown : changed);
    }
    EXPECT_EQ(psDelete(object), 0);
    EXPECT_EQ(object.move(container("kept")), 0);
  }
  const std::uint64_t refusals = session_.counters().refusals;
  pstHandle<Flat> named;
  EXPECT_EQ(named.lookupObj(container("shared"), "foreign", pscRead), 0);
  complains(psErrorKind::unknownClass, unknown);
  EXPECT_EQ(session_.counters().refusals, refusals + 1);
  EXPECT_EQ(new (container("shared")) Foreign, nullptr);
  complains(psErrorKind::unknownClass, {"20230", "not registered"});
  // Their page is written again around them.
  ASSERT_EQ(ids[2].update(), 1);
  pstHandle<Flat>(ids[2])->number = 6;
  EXPECT_NE(new (container("shared")) Flat(7), nullptr);
  commit();
  ASSERT_EQ(session_.close(), 1);
  EXPECT_EQ(inProcess([&] {
              introduce<Foreign>("Foreign");
              const bool good = open() == 1 && session_.begin(pscRead) == 1 &&
                                pstHandle<Foreign>(ids[0])->number == 77 && pstHandle<Flat>(ids[2])->number == 6;
              return good ? std::string() : "lost: " + session_.lastError();
            }),
            "");
  ASSERT_EQ(open(), 1);
  isIntact();
}

TEST_F(StoreErrors, ClassesAreRegisteredOnce) {
  begin();
  const pstHandle<psContObj> in = container("in");
  EXPECT_EQ(new (in) Nameless(1), nullptr);
  complains({"Flat", "PS_PERSISTENT_CLASS"});
  pehSessionDataGetFunction()->clear();
  ps::detail::registerClass<Flat>("Flat", psRelocation::allowed);
  EXPECT_EQ(session_.lastError(), "") << "the same class, from a second library";
  ptmRegisterClass(Flat::pstTypeN, "Other", psObj::pstTypeN, 64, psRelocation::allowed);
  complains({"20200", "Flat", "Other", "another number"});
  EXPECT_NE(new (in) Flat(1), nullptr);
}

TEST_F(StoreErrors, AClassWithoutANumberOfItsOwnIsFound) {
  const auto complainsOfBoth = [this] { complains({"Namesake", "Flat", "20200", "PS_PERSISTENT_CLASS"}); };
  furnish();
  begin();
  EXPECT_NE(pstHandle<Heir>(new (container("in")) Heir)->part, pstRef<psObj>());
  EXPECT_EQ(session_.lastError(), "") << "in its base's constructor an object is of the base";
  const Flat* const made = new (container("in")) Namesake(1);
  EXPECT_TRUE(pstHandle<Flat>(made).isNull());
  complainsOfBoth();
  pehSessionDataGetFunction()->clear();
  EXPECT_EQ(session_.commit(), 0);
  complainsOfBoth();
  isIntact();

  // In a page that would leave the cache meanwhile.
  ASSERT_EQ(session_.close(), 1);
  ASSERT_EQ(session_.open(path_, unsynced(0)), 1);
  begin();
  new (container("in")) Namesake(2);
  for (std::uint64_t n = 0; n < 2000; ++n) new (container("bricks")) Brick(n);
  EXPECT_GT(session_.counters().pageWrites, 100U);
  EXPECT_LT(session_.counters().residentBytes, std::size_t{5} << 20);
  EXPECT_EQ(session_.commit(), 0);
  complainsOfBoth();
  isIntact();
}

// While libraries load nobody reads messages: the first open repeats this one.
TEST(StoreClasses, ARefusedNumberFailsTheFirstOpen) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::pair<unsigned int, const char*> refused[] = {
      {Blob::pstTypeN, "20201 is claimed by both Blob and Intruder"},
      {9999, "Intruder has the number 9999.*from 10000"},
      {0x80004E20U, "Intruder has the number 2147503648"}};
  for (const auto& [number, complaint] : refused) {
    EXPECT_EXIT(
        {
          ptmRegisterClass(number, "Intruder", psObj::pstTypeN, 64, psRelocation::allowed);
          psSession session;
          static_cast<void>(session.open("memory:"));
          std::fputs(session.lastError().c_str(), stderr);
          std::_Exit(session.begin(pscRead));
        },
        ::testing::ExitedWithCode(0), complaint);
  }
}

TEST_F(StoreErrors, NumbersDoNotWrap) {
  constexpr unsigned int most = 65535;
  furnish();
  begin();
  const pstHandle<psDBObj> crowded = session_.database("crowded");
  EXPECT_TRUE(session_.container(crowded, "zero", 0).isNull());
  ASSERT_FALSE(session_.container(crowded, "chosen", 40000).isNull()) << session_.lastError();
  EXPECT_TRUE(session_.container(crowded, nullptr, 40000).isNull());
  complains({"crowded", "40000", "already"});
  for (unsigned int n = 1; n < most; ++n) {
    const pstHandle<psContObj> made = n < 40000 ? session_.container(crowded, nullptr, static_cast<unsigned short>(n))
                                                : session_.container(crowded, nullptr);
    ASSERT_FALSE(made.isNull()) << n << session_.lastError();
    ASSERT_EQ(made.oid(), psId(2, static_cast<unsigned short>(n < 40000 ? n : n + 1), 0, 0));
  }
  EXPECT_EQ(new (nullptr, 0, 1, 0, crowded) psContObj, nullptr);
  complains(psErrorKind::full, {"crowded", "65,535 containers", "another database"});
  EXPECT_TRUE(session_.container(crowded, "too much").isNull());
  pstHandle<psObj> gone(psId(2, 777, 0, 0));
  ASSERT_EQ(psDelete(gone), 1);
  EXPECT_EQ(session_.container(crowded, "again").oid(), gone.oid());
  EXPECT_TRUE(session_.container(crowded, "too much").isNull());
  ASSERT_EQ(session_.abort(), 1);

  // A container whose every page number is taken.
  begin();
  const psId pages = container("pages").oid();
  commit();
  ASSERT_EQ(session_.close(), 1);
  const auto pageKey = [&pages](unsigned int n) {
    return StoreKey::chunk(psId(pages.get_DB(), pages.get_OC(), static_cast<unsigned short>(n), 0), 0);
  };
  {
    RawStore raw(path_);
    for (unsigned int n = 1; n <= most; ++n) raw.put(pageKey(n), "taken");
  }
  ASSERT_EQ(open(), 1);
  begin();
  const auto fill = [&pages] {
    ps::detail::SessionCore::current()->directory().containerOf(pages)->nextNumber = most + 1;
  };
  fill();
  EXPECT_EQ(new (pages) Flat(1), nullptr);
  complains(psErrorKind::full, {"container (1,2)", "full", "65,535 pages", "another container"});
  ASSERT_EQ(session_.abort(), 1);
  ASSERT_EQ(session_.close(), 1);
  RawStore(path_).erase(pageKey(3000));
  ASSERT_EQ(open(), 1);
  begin();
  fill();
  EXPECT_EQ(pstHandle<Flat>(new (pages) Flat(1)).oid(), psId(1, 2, 3000, 1)) << session_.lastError();
  isIntact();
}

TEST_F(StoreErrors, WhatAConstructorLeavesUnmadeIsGone) {
  begin();
  const pstHandle<psContObj> in = container("in");
  session_.defaultPlacement(in);
  session_.throwErrors(true);
  EXPECT_THROW(new Fragile("abc"), psException);
  EXPECT_THROW(new (in) Fragile("abc"), psException);
  EXPECT_THROW(new (in.oid()) Fragile("abc"), psException);
  EXPECT_THROW(new (pstRef<psObj>(in)) Fragile("abc"), psException);
  EXPECT_THROW(new (&*in) Fragile("abc"), psException);
  EXPECT_THROW(new (in, "text") Fragile("abc"), psException);
  EXPECT_THROW(new (in) Blob(1, noName()), std::runtime_error) << "an argument that throws";
  session_.throwErrors(false);
  EXPECT_EQ(ps::detail::SessionCore::current()->directory().containerOf(in.oid())->live, 0U);
  EXPECT_THROW(new (nullptr, 0, 1, 0, in.oid()) FragileContainer, std::runtime_error);
  EXPECT_THROW(new (nullptr, 0, 1, 0, in) FragileContainer, std::runtime_error);
  EXPECT_THROW(new (session_.federation()) psDBObj(noName(), 0, 0, nullptr, nullptr, 1, 0), std::runtime_error);
  const pstHandle<psObj> kept(new (in) Fragile("0123456789"));
  EXPECT_EQ(scanned<psObj>(in), std::vector<psId>{kept.oid()});
  EXPECT_EQ(scanned<psObj>(pstHandle<psContObj>(database())), std::vector<psId>{in.oid()});
  EXPECT_EQ(scanned<psObj>(pstHandle<psContObj>(session_.federation())).size(), 1U);
  // Its constructor throws in a transaction that is over.
  EXPECT_THROW(new (in) Blob(1, (session_.abort(), noName())), std::runtime_error);
  begin();
  ASSERT_NE(new (container("in")) Blob(1, "x"), nullptr);
  commit();
}

TEST_F(StoreErrors, DeletionByAddressIsWholeOrNone) {
  furnish();
  begin();
  const pstHandle<psContObj> in = container("in");
  const pstHandle<Blob> blob(new (in) Blob(1, "abc"));
  ASSERT_EQ(session_.name(blob, in, "blob"), 1);
  commit();
  begin(pscRead);
  delete blob.operator->();
  complains({"deleting an object", "update transaction"});
  delete in.operator->();
  EXPECT_TRUE(contentOf(blob) == (Content{Blob::pstTypeN, 1, "abc", {}}));
  EXPECT_EQ(blob->psGetTypeN(), Blob::pstTypeN);
  EXPECT_EQ(in->psGetTypeN(), psContObj::pstTypeN);
  commit();
  begin();
  delete blob.operator->();
  EXPECT_FALSE(blob.isValid());
  EXPECT_EQ(pstHandle<psObj>().lookupObj(in, "blob", pscRead), 0);
  ASSERT_EQ(session_.abort(), 1);
  begin();
  EXPECT_TRUE(contentOf(blob) == (Content{Blob::pstTypeN, 1, "abc", {}}));
  delete blob.operator->();
  commit();
  begin();
  EXPECT_EQ(scanned<psObj>(in).size(), 0U);
  pstHandle<psContObj> other = container("other");
  delete other.operator->();
  EXPECT_FALSE(other.isValid());
  delete ::new Linked(1, "outside the store");
  commit();
  ASSERT_EQ(session_.close(), 1);
  for (const auto& [key, value] : RawStore(path_).content())
    EXPECT_FALSE(key[0] == 'P' && StoreKey::numberAt(key, 3) != 1) << "something is left in its page";
  ASSERT_EQ(open(), 1);
  isIntact();
}

TEST_F(StoreErrors, DeletionHappensOnce) {
  begin();
  const pstHandle<psContObj> in = container("in");
  Owner::destructions = 0;
  // From inside the destructor, through a second open handle, and through a handle that was closed.
  pstHandle<psObj> first(new (in) Owner);
  pstHandle<psObj> second(first);
  const psId part = pstHandle<Owner>(first)->part.oid();
  EXPECT_EQ(psDelete(first), 1);
  EXPECT_EQ(Owner::again, 0);
  EXPECT_FALSE(part.isValid());
  EXPECT_EQ(psDelete(second), 0);
  EXPECT_EQ(psDelete(first), 0);
  EXPECT_EQ(Owner::destructions, 1);

  pstHandle<Owner> leaving(new (in) Owner);
  EXPECT_EQ(leaving->leave(), 5);
  EXPECT_FALSE(leaving.isValid());
  EXPECT_EQ(scanned<psObj>(in).size(), 0U);
  commit();
  begin();
  EXPECT_EQ(leaving.open(pscRead), 0);

  const pstHandle<Owner> owner(new (in) Owner);
  pstHandle<psObj> moved(owner);
  EXPECT_EQ(moved.move(in), 0);
  complains({"moved", "Owner", "owns"});
  EXPECT_TRUE(owner.copy(in).isNull());
  complains({"copied", "Owner", "owns"});
  EXPECT_EQ(scanned<psObj>(in).size(), 2U);
  pstHandle<psObj> federation = session_.federation();
  EXPECT_EQ(psDelete(federation), 0);
  complains({"federation", "delete its databases"});
  pstHandle<psObj> whole = database();
  EXPECT_EQ(psDelete(whole), 1);
  EXPECT_FALSE(owner.isValid() || in.isValid());
  EXPECT_FALSE(pstHandle<psDBObj>().exist(session_.federation(), "errors", pscNoOpen));
  EXPECT_EQ(Owner::destructions, 2);
}

TEST_F(StoreErrors, ErrorsAreThrownWhereThatIsAskedFor) {
  begin();
  const pstHandle<Linked> object(new (container("in")) Linked(1));
  pstVArray<pstRef<psObj>>& links = object->links;
  const auto signals = [this](const psError& error, const std::string& operation, const std::string& numbers) {
    EXPECT_EQ(pehSessionDataGetFunction()->number(), error.number);
    EXPECT_EQ(pehSessionDataGetFunction()->level(), pscError);
    EXPECT_EQ(pehSessionDataGetFunction()->operation, operation);
    complains({operation.c_str(), numbers.c_str()});
  };
  const pstRef<psObj> self(object);
  EXPECT_EQ(&links[4], povDummyArrayPtr);
  signals(psteVArraySizeZero, "psVArray(type)::operator[]", "index 4");
  links[4] = self;
  EXPECT_TRUE(links[4].isNull()) << "the dummy element is null each time";
  EXPECT_EQ(links.iset(5, self), 0);
  signals(psteVArraySizeZero, "psVArray(type)::set()", "index 5");
  ASSERT_EQ(links.resize(3), 1);
  EXPECT_STREQ(pehSessionDataGetFunction()->operation, "psVArray(type)::resize()");
  EXPECT_TRUE(links[3].isNull());
  signals(psteVArrayBound, "psVArray(type)::operator[]", "largest valid index 2, index 3");
  ASSERT_EQ(links.extend(self), 1);
  EXPECT_STREQ(pehSessionDataGetFunction()->operation, "psVArray(type)::extend()");

  session_.throwErrors(true);
  const auto numberThrown = [](auto&& action) {
    try {
      action();
    } catch (const psException& exception) {
      EXPECT_EQ(exception.what(), pehSessionDataGetFunction()->text());
      EXPECT_EQ(exception.kind(), psErrorKind::usage);
      return exception.number();
    }
    return 0;
  };
  EXPECT_EQ(numberThrown([&] { links[9] = self; }), psteVArrayBound.number);
  EXPECT_EQ(numberThrown([&] { static_cast<void>(links.iset(9, self)); }), psteVArrayBound.number);
  EXPECT_EQ(numberThrown([&] { static_cast<void>(session_.begin(pscRead)); }), psteStore.number);
  EXPECT_EQ(numberThrown([&] { static_cast<void>(session_.name(object, object, "")); }), psteStore.number);
  EXPECT_EQ(numberThrown([&] { EXPECT_EQ(psId(1, 1, 9, 9).update(), 0); }), 0) << "it does not exist";
  const pstHandle<psObj> nowhere;
  EXPECT_EQ(numberThrown([&] { pstHandle<Flat>(new (nowhere) Flat(1)); }), psteStore.number);
  EXPECT_EQ(numberThrown([&] { pstHandle<Flat>(static_cast<Flat*>(nullptr)); }), 0);
  EXPECT_EQ(numberThrown([&] { EXPECT_EQ(new (nowhere) Flat(1), nullptr); }), 0);
  EXPECT_EQ(pstHandle<psObj>(object.oid()).open(pscRead), 1);
  EXPECT_EQ(numberThrown([&] { pstHandle<Flat>(static_cast<Flat*>(nullptr)); }), 0) << "the program has gone on";
  EXPECT_EQ(
      numberThrown([&] { pstHandle<psDBObj>(new (session_.federation()) psDBObj("", 0, 0, nullptr, nullptr, 1, 0)); }),
      psteStore.number);
  EXPECT_EQ(numberThrown([&] { EXPECT_EQ(session_.name(object, object, "fine"), 1); }), 0);
  commit();
  EXPECT_EQ(numberThrown([&] { static_cast<void>(session_.commit()); }), psteStore.number);
  EXPECT_EQ(numberThrown([&] { static_cast<void>(pstHandle<psObj>(object.oid()).open(pscRead)); }), psteStore.number);
  session_.throwErrors(false);
  EXPECT_EQ(session_.commit(), 0);
}

}  // namespace
}  // namespace ps::test
