// Programs with different versions of one class work on one store. Each runs in a process of its own, and registers its
// version there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/psCollectionIterator.h"
#include "hash/psHashMap.h"
#include "psReorder.h"
#include "sorted/psTreeMap.h"
#include "store/psPersistentClass.h"
#include "store/psSession.h"
#include "store/pstItr.h"
#include "store/pstVArray.h"
#include "store/session/SessionCore.h"
#include "support/Process.h"
#include "support/RawStore.h"
#include "support/ScratchFolder.h"
#include "support/TempStore.h"

using ps::test::inProcess;
using ps::test::Process;

// Clang loses the pragmas of PS_FIELDS where it is an argument of another macro, as below.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace catalog {

constexpr int animals = 20401;  // all as in schema_writer.cpp
constexpr int packages = 20402;
constexpr int count = 700;

template <class T>
void introduce(const char* name, std::uint32_t version = 0) {
  static const ps::detail::ClassRegistration<T> registration(name, version);
}

std::string textIn(const pstVArray<char>& text) { return text.size() > 0 ? std::string(text.head(), text.size()) : ""; }

enum class Colour : short { red, green = -7 };
struct Place {
  int z = 9;
  int y = 5;
  double x = 6;
  PS_FIELDS(z, y, x)
  PS_STRUCT_VERSION(1)
};
struct Line {
  long note = 7;
  long quantity = 0;
  PS_FIELDS(note, quantity)
  PS_STRUCT_VERSION(1)
};
class Animal : public psObj {
  PS_PERSISTENT_CLASS(Animal, psObj, animals)
  PS_FIELDS(legs, age, tag)
 public:
  Animal() = default;
  int legs = 4;
  long age = 0;
  char tag[8] = "0123456";
};
class Package : public Animal {
  PS_PERSISTENT_CLASS(Package, Animal, packages)
  PS_FIELDS(next, bytes, PS_RENAMED(title, "label", "name"), more, size, weight, lines, flag, colour, small, code,
            places, extra)
 public:
  explicit Package(int i) : size(i) {}
  pstRef<Package> next;
  long bytes = 0;
  pstVArray<char> title;
  long more[6] = {7, 7, 7};
  long size = 0;
  double weight = 0;
  pstVArray<Line> lines;
  int flag = 0;
  Colour colour = Colour::red;
  unsigned short small = 0;
  char code[9] = "xxxxxxxx";
  Place places[3];
  pstVArray<long> extra;
};
void convert(const psOldObject& old, Package& now) {
  now.bytes = old.get<long>("kilobytes") * 1024 + (old.get<int>("places.y") == 2 && old.has("gone") ? 0 : 1);
  if (old.text("code") != "abcde" || old.get<double>("weight") != now.weight) now.bytes = -1;
}
void introduceClasses() {
  introduce<Animal>("Animal", 2);
  introduce<Package>("Package", 2);
}
void introduceAll() {
  introduceClasses();
  static const ps::detail::ConversionRegistration<Package> conversion(1, &convert);
}

struct Plain {
  int quantity;
  PS_FIELDS(quantity)
};
class Holder : public psObj {
  PS_PERSISTENT_CLASS(Holder, psObj, 20403)
  PS_FIELDS(plains)
 public:
  pstVArray<Plain> plains;
};

// What is wrong with an object that v1 made; "" when nothing is.
std::string complaint(const Package& p, int i, long age) {
  const auto wrong = [i](const char* what) { return std::string(what) + " of " + std::to_string(i); };
  if (p.legs != 4 || p.age != age || std::strcmp(p.tag, "cat") != 0) return wrong("base");
  if (p.size != -i || p.flag != (i % 2 == 0 ? 1 : 0) || p.weight != i / 2.0) return wrong("number");
  if (p.colour != (i % 3 == 0 ? Colour::green : Colour::red) || p.small != i % 256) return wrong("small number");
  if (std::memcmp(p.code, "abcde\0xx", 9) != 0 || p.more[2] != 7 || p.more[3] != 0) return wrong("fixed array");
  if (p.places[0].x != 1 || p.places[1].x != i || p.places[1].y != 2 || p.places[1].z != 9 || p.places[2].y != 5)
    return wrong("structure");
  if (textIn(p.title) != "name " + std::to_string(i) || p.extra.size() != 0) return wrong("array");
  if (p.lines.size() != static_cast<unsigned>(i % 4)) return wrong("array of structures");
  for (int j = 0; j < i % 4; ++j) {
    const Line& line = p.lines[static_cast<unsigned>(j)];
    if (line.note != 7 || line.quantity != i + j) return wrong("element");
  }
  return p.bytes == 1024L * i ? "" : wrong("conversion");
}

// Classes and structures that other tests change, as number 20410; each row of the table below writes an object of one
// and reads it as another.
constexpr int thing = 20410;
constexpr int base = 20411;
#define THING(Name, Base, fields, ...)     \
  struct Name : public Base {              \
    PS_PERSISTENT_CLASS(Name, Base, thing) \
   public:                                 \
    Name() = default;                      \
    __VA_ARGS__                            \
    fields                                 \
  };
THING(Int, psObj, PS_FIELDS(a, b), int a = 5; unsigned b = 6;)
THING(Undescribed, psObj, , int a = 5; unsigned b = 6;)
THING(Grown, psObj, , long a = 5; long b = 6;)
THING(Swapped, psObj, PS_FIELDS(b, a), unsigned b = 6; int a = 5;)
THING(Narrow, psObj, PS_FIELDS(a, b), short a = 5; unsigned b = 6;)
THING(Unsigned, psObj, PS_FIELDS(a, b), unsigned a = 5; unsigned b = 6;)
THING(Floats, psObj, PS_FIELDS(a, b), float a = 5; double b = 6;)
THING(Doubles, psObj, PS_FIELDS(a, b), double a = 5; double b = 6;)
THING(Texts, psObj, PS_FIELDS(a, b), pstVArray<char> a; unsigned b = 6;)
THING(Numbers, psObj, PS_FIELDS(a, b), pstVArray<int> a; unsigned b = 6;)
THING(Longs, psObj, PS_FIELDS(a, b), long a[2] = {300, 4}; long b = 6;)
THING(Long, psObj, PS_FIELDS(a, b), long a[1] = {}; long b = 6;)
THING(Forgotten, psObj, PS_FIELDS(a, b), short a = 5; short forgotten = 1; unsigned b = 6;)
struct Base1 : public psObj {
  PS_PERSISTENT_CLASS(Base1, psObj, base)
 public:
  Base1() = default;
  int x = 1;
};
struct Base2 : public psObj {
  PS_PERSISTENT_CLASS(Base2, psObj, base)
 public:
  Base2() = default;
  long x[2] = {1, 1};
};
struct Base3 : public psObj {
  PS_PERSISTENT_CLASS(Base3, psObj, base)
 public:
  Base3() = default;
  int x = 1;
  PS_FIELDS(x)
};
struct Other : public psObj {
  PS_PERSISTENT_CLASS(Other, psObj, 20412)
 public:
  Other() = default;
};
THING(OnBase1, Base1, PS_FIELDS(a), long a = 5;)
THING(OnBase2, Base2, PS_FIELDS(a), long a = 5;)
THING(OnBase3, Base3, PS_FIELDS(a), long a = 5;)
#undef THING

// A comparator that turns its order round from one version to the next. With lumps, elements are equal.
bool turned = false;
bool lumps = false;
class Order : public psCompare {
  PS_PERSISTENT_CLASS(Order, psCompare, 20413)
 public:
  Order() = default;
  static int keyOf(const pstHandle<psObj>& element) {
    const pstHandle<Int> number(element);
    if (number.open(pscRead) != 1) return 0;
    return (turned ? -number->a : number->a) / (lumps ? 2 : 1);
  }
  int compare(const pstHandle<psObj>& element, const void*& key) const override {
    return keyOf(element) - *static_cast<const int*>(key);
  }
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override {
    return keyOf(element) - keyOf(other);
  }
  int hash(const void*& key) const override { return *static_cast<const int*>(key) * 7; }
  int hash(const pstHandle<psObj>& element) const override { return keyOf(element) * 7; }
};

}  // namespace catalog

namespace {

using namespace catalog;

class Schema : public testing::Test {
 protected:
  // Runs a program on the store: registers classes, opens and begins. The text is what it complains of.
  using Body = std::function<std::string(psSession&)>;
  std::string run(const std::function<void()>& introduceAll, psMode mode, const Body& body) const {
    return inProcess([&] {
      introduceAll();
      introduce<Other>("Other");
      psSession session;
      const bool begun =
          session.open(path_, ps::test::unsynced()) == 1 && (mode == pscNoOpen || session.begin(mode) == 1);
      return begun ? body(session) : std::to_string(static_cast<int>(session.lastErrorKind())) + session.lastError();
    });
  }
  static std::string commit(psSession& session) { return session.commit() == 1 ? "" : session.lastError(); }

  // Runs the program with version 1 of the classes; what it complains of.
  std::string runOld() const {
    const std::string command = std::string(SCHEMA_WRITER) + " '" + path_ + "' " + droppedFile_ + " 2>&1";
    FILE* const output = ::popen(command.c_str(), "r");
    std::string text;
    for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) text += static_cast<char>(c);
    return ::pclose(output) == 0 ? "" : text;
  }

  // The ages of all objects, from a scan; others than these are a complaint.
  static std::string readNew(psSession& session, const std::function<long(int)>& ageOf) {
    pstItr<Package> it;
    it.scan(session.container(session.database("shop"), "packages"), pscRead);
    int i = 0;
    for (; it.next(); ++i) {
      const std::string found = complaint(*it, i, ageOf(i));
      if (!found.empty() || (i > 0) != (it->next.isNull() == 0)) return found + " of the scan";
    }
    return i == count ? "" : std::to_string(i) + " objects, " + session.lastError();
  }

  ps::test::ScratchFolder folder_;
  std::string path_ = folder_.store("schema.ps");
  const std::string droppedFile_ = folder_ / "dropped";
};

long ageAsIs(int i) { return i; }
long ageChanged(int i) { return i % 100 == 7 ? i + 1000 : i; }

}  // namespace

TEST_F(Schema, ObjectsOfAnOlderVersionAreReadChangedAndUpgraded) {
  ASSERT_EQ(runOld(), "");
  EXPECT_EQ(run(&introduceAll, pscRead, [](psSession& s) { return readNew(s, ageAsIs); }), "");
  // One by one, in a read transaction, objects are laid out alone.
  EXPECT_EQ(run(&introduceAll, pscRead,
                [](psSession& s) {
                  const std::uint64_t pages = s.counters().pageReads;
                  pstItr<Package> it;
                  for (const int slot : {40, 3, 17, 1}) {
                    const pstHandle<Package> p(psId(1, 1, 1, static_cast<unsigned short>(slot)));
                    if (p.open(pscRead) != 1 && p.typeN() == packages) return s.lastError();
                    if (p.typeN() != packages) continue;
                    const std::string found = complaint(*p, -static_cast<int>(p->size), -p->size);
                    if (!found.empty()) return found;
                  }
                  return std::string(s.counters().pageReads > pages ? "" : "nothing was read");
                }),
            "");
  EXPECT_EQ(run(&introduceAll, pscUpdate,
                [](psSession& s) {
                  pstItr<Package> it;
                  it.scan(s.container(s.database("shop"), "packages"), pscRead);
                  it.next();
                  const pstHandle<Package> pinned(it.oid());
                  if (pinned.open(pscUpdate) != 1) return s.lastError();
                  const Package* const before = pinned.operator->();
                  pinned->age = 99;
                  static_cast<void>(pinned->lines.resize(5));
                  s.abort();
                  static_cast<void>(s.begin(pscUpdate));
                  if (pinned.operator->() != before) return std::string("moved by the abort");
                  if (const std::string found = complaint(*pinned, 0, 0); !found.empty()) return found + " after abort";
                  it.scan(s.container(s.database("shop"), "packages"), pscRead);
                  for (int i = 0; it.next(); ++i) {
                    if (ageChanged(i) == i) continue;
                    if (it.open(pscUpdate) != 1) return s.lastError();
                    it->age = ageChanged(i);
                  }
                  return commit(s);
                }),
            "");
  EXPECT_EQ(run(&introduceAll, pscRead, [](psSession& s) { return readNew(s, ageChanged); }), "");

  const std::string refused = runOld();
  EXPECT_NE(refused.find("is newer in the store than in this program"), std::string::npos) << refused;

  EXPECT_EQ(run(&introduceAll, pscNoOpen,
                [this](psSession& s) {
                  psUpgradeProgress last;
                  const auto note = [&last](const psUpgradeProgress& now) {
                    last = now;
                    return true;
                  };
                  if (s.upgrade([](const psUpgradeProgress&) { return false; }) != 0) return std::string("not stopped");
                  if (s.upgrade(note) != 1) return s.lastError();
                  if (last.done != last.containers || last.pagesRead == 0) return std::string("no progress was told");
                  if (s.upgrade(note) != 1 || last.pagesWritten != 0) return std::string("upgraded twice");
                  static_cast<void>(s.begin(pscRead));
                  std::ifstream dropped(droppedFile_);
                  for (std::uint64_t bits = 0; dropped >> bits;) {
                    psId id;
                    std::memcpy(static_cast<void*>(&id), &bits, sizeof id);
                    if (id.isValid()) return std::string("a dropped array is still there");
                  }
                  return readNew(s, ageChanged);
                }),
            "");
  // The functions of the older version are not needed any more.
  EXPECT_EQ(run(&introduceClasses, pscRead, [](psSession& s) { return readNew(s, ageChanged); }), "");
}

TEST_F(Schema, AStoreThatIsKeptIsReadAndUpgraded) {
  ps::test::copyStore(PS_TEST_DATA "/described.ps", path_);
  EXPECT_EQ(run(&introduceAll, pscRead, [](psSession& s) { return readNew(s, ageAsIs); }), "");
  EXPECT_EQ(run(&introduceAll, pscNoOpen,
                [](psSession& s) {
                  if (s.upgrade() != 1 || s.begin(pscRead) != 1) return s.lastError();
                  return readNew(s, ageAsIs);
                }),
            "");
}

namespace {

// A class in a version, which a process registers.
struct Version {
  void (*introduce)();
  psObj* (*make)(const pstHandle<psContObj>&);
};
template <class T, std::uint32_t number>
constexpr Version version{[] {
                            if constexpr (!std::is_same_v<typename T::psBase, psObj>)
                              introduce<typename T::psBase>("Base");
                            introduce<T>("Thing", number);
                          },
                          [](const pstHandle<psContObj>& in) -> psObj* { return new (in) T; }};

// What is wrong with the object; "" when nothing is.
using Check = std::string (*)(const pstHandle<psObj>&);
template <class T, class IsRight>
std::string check(const pstHandle<psObj>& object, IsRight isRight) {
  const pstHandle<T> made(object);
  if (made.open(pscUpdate) != 1) return pehSessionDataGetFunction()->text();
  return isRight(*made) ? "" : "wrong";
}
std::string open(const pstHandle<psObj>& object) {
  return object.open(pscRead) == 1 ? "opened" : pehSessionDataGetFunction()->text();
}

void asksInVain(const psOldObject& old, Longs& now) { now.b = old.get<long>("c"); }
void asksForLess(const psOldObject& old, Longs& now) { now.b = old.get<signed char>("b") + old.get<bool>("a"); }
void throws(const psOldObject&, Longs&) { throw std::runtime_error("no idea"); }
void opens(const psOldObject&, Longs& now) { now.b = pstHandle<psObj>(psId(1, 1, 1, 1)).open(pscRead); }
template <void (*Convert)(const psOldObject&, Longs&)>
constexpr Version converting{[] {
                               version<Longs, 2>.introduce();
                               static const ps::detail::ConversionRegistration<Longs> registration(1, Convert);
                             },
                             nullptr};

struct Change {
  const char* name;
  Version before;
  Version after;
  Check check;                     // null: opening the store is refused
  std::vector<const char*> parts;  // of the complaint
};

const Change changes[] = {
    {"to floating",
     version<Int, 1>,
     version<Doubles, 2>,
     [](auto& o) { return check<Doubles>(o, [](auto& now) { return now.a == 5 && now.b == 6; }); },
     {}},
    {"moved",
     version<Int, 1>,
     version<Swapped, 2>,
     [](auto& o) { return check<Swapped>(o, [](auto& now) { return now.a == 5 && now.b == 6; }); },
     {}},
    {"one becomes two",
     version<Int, 1>,
     version<Longs, 2>,
     [](auto& o) { return check<Longs>(o, [](auto& now) { return now.a[0] == 5 && now.a[1] == 4 && now.b == 6; }); },
     {}},
    {"described later",
     version<Undescribed, 0>,
     version<Int, 0>,
     [](auto& o) { return check<Int>(o, [](auto& now) { return now.a == 5 && now.b == 6; }); },
     {}},
    {"base described later",
     version<OnBase1, 1>,
     version<OnBase3, 2>,
     [](auto& o) { return check<OnBase3>(o, [](auto& now) { return now.a == 5 && now.x == 1; }); },
     {}},
    {"same version", version<Int, 1>, version<Swapped, 1>, nullptr, {"same version", "Thing", "a: int32, b: uint32"}},
    {"narrowed", version<Int, 1>, version<Narrow, 2>, nullptr, {"\"a\" was int32 and is int16", "PS_CLASS_CONVERSION"}},
    {"without sign", version<Int, 1>, version<Unsigned, 2>, nullptr, {"was int32 and is uint32"}},
    {"not exact", version<Int, 1>, version<Floats, 2>, nullptr, {"was int32 and is float32"}},
    {"other kind", version<Int, 1>, version<Texts, 2>, nullptr, {"was int32 and is array of char"}},
    {"other elements", version<Texts, 1>, version<Numbers, 2>, nullptr, {"array of char and is array of int32"}},
    {"shrunk", version<Longs, 1>, version<Long, 2>, nullptr, {"can only grow"}},
    {"base", version<OnBase1, 1>, version<OnBase2, 2>, nullptr, {"20411", "has no description", "PS_FIELDS"}},
    {"forgotten", version<Int, 1>, version<Forgotten, 2>, nullptr, {"Thing", "offset 10", "PS_FIELDS"}},
    {"other name",
     version<Int, 1>,
     {[] { introduce<Int>("Other", 1); }, nullptr},
     nullptr,
     {"20410", "Thing", "Other"}},
    {"changed before described", version<Undescribed, 0>, version<Longs, 1>, &open, {"without a description"}},
    {"grown without a description", version<Undescribed, 0>, version<Grown, 0>, &open, {"without a description"}},
    {"asks in vain", version<Int, 1>, converting<asksInVain>, &open, {"the field \"c\", which was not there"}},
    {"asks for less", version<Longs, 1>, converting<asksForLess>, &open, {"\"a\"", "does not fit"}},
    {"throws", version<Int, 1>, converting<throws>, &open, {"(1,1,1,1)", "Thing", "no idea"}},
    {"opens", version<Int, 1>, converting<opens>, &open, {"opens, creates or changes"}},
};

}  // namespace

TEST_F(Schema, ArraysOfObjectsThatGetADescriptionGetOneToo) {
  ASSERT_EQ(runOld(), "");
  const auto introduceAll = [] { introduce<Holder>("Holder"); };
  const auto isDescribed = [](const psId& storage) {
    ps::detail::Page* page = nullptr;
    ps::detail::SessionCore::current()->cache().fetch(storage, page);
    return page->describedStorage.count(storage.get_slot()) != 0;
  };
  const auto storageOf = [](const Holder& holder) {
    psId storage;
    std::memcpy(static_cast<void*>(&storage), &holder.plains, sizeof storage);
    return storage;
  };
  const auto holders = [](psSession& s) { return s.container(s.database("shop"), "holders"); };
  EXPECT_EQ(run(introduceAll, pscUpdate,
                [&](psSession& s) {
                  pstItr<Holder> it;
                  it.scan(holders(s), pscRead);
                  it.next();
                  if (it->plains[0].quantity != 0 || isDescribed(storageOf(*it))) return std::string("at first");
                  return it.open(pscUpdate) == 1 ? commit(s) : s.lastError();
                }),
            "");
  EXPECT_EQ(run(introduceAll, pscNoOpen,
                [&](psSession& s) {
                  static_cast<void>(s.begin(pscRead));
                  pstItr<Holder> it;
                  it.scan(holders(s), pscRead);
                  if (!it.next() || !isDescribed(storageOf(*it))) return std::string("not described by an update");
                  s.abort();
                  if (s.upgrade() != 1) return s.lastError();
                  static_cast<void>(s.begin(pscRead));
                  it.scan(holders(s), pscRead);
                  int i = 0;
                  for (; it.next(); ++i) {
                    if (it->plains[0].quantity != i || !isDescribed(storageOf(*it))) return std::to_string(i);
                  }
                  return std::string(i == count ? "" : "not all");
                }),
            "");
}

TEST_F(Schema, EachRuleHoldsAndWhatNoRuleCoversIsRefused) {
  for (const Change& change : changes) {
    SCOPED_TRACE(change.name);
    const ps::test::ScratchFolder folder;
    path_ = folder.store("store.ps");
    const auto make = [&change](psSession& s) {
      const pstHandle<psContObj> in = s.container(s.database("d"), "c");
      return change.before.make(in) != nullptr ? commit(s) : s.lastError();
    };
    ASSERT_EQ(run(change.before.introduce, pscUpdate, make), "");
    const std::string complaint = run(change.after.introduce, pscUpdate, [&change](psSession& s) {
      const pstHandle<psObj> object(psId(1, 1, 1, 1));
      const std::string found = change.check != nullptr ? change.check(object) : "the store was opened";
      // What cannot be read is written back as it was.
      const bool isKept = new (s.container(s.database("d"), "c")) Other != nullptr&& s.commit() == 1;
      if (!isKept) return s.lastError();
      // Nor is its layout forgotten. Where a function fails, the older program is refused from then on.
      if (change.after.make != nullptr) static_cast<void>(s.upgrade());
      return found;
    });
    EXPECT_EQ(complaint.empty(), change.parts.empty()) << complaint;
    for (const char* const part : change.parts) EXPECT_NE(complaint.find(part), std::string::npos) << complaint;
    if (change.parts.empty()) continue;
    EXPECT_EQ(
        run(change.before.introduce, pscRead,
            [](psSession& s) { return pstHandle<psObj>(psId(1, 1, 1, 1)).open(pscRead) == 1 ? "" : s.lastError(); }),
        "");
  }
}

TEST_F(Schema, FieldsOfASizeThatTheirKindCannotHaveAreNoDescription) {
  ps::detail::ClassShape shape;
  shape.size = 72;
  shape.levels.push_back({thing, 1, {}});
  ps::detail::FieldShape& field = shape.levels[0].fields.emplace_back();
  field.offset = sizeof(void*);
  const auto sizes = [&](ps::FieldKind kind) {
    std::string sound;
    field.kind = kind;
    for (field.size = 1; field.size <= 64; ++field.size) {
      if (ps::detail::ClassShape().decode(shape.encode(), thing)) sound += std::to_string(field.size) + " ";
    }
    return sound;
  };
  EXPECT_EQ(sizes(ps::FieldKind::boolean), "1 ");
  EXPECT_EQ(sizes(ps::FieldKind::signedInteger), "1 2 4 8 ");
  EXPECT_EQ(sizes(ps::FieldKind::floating), "4 8 ");
  EXPECT_EQ(sizes(ps::FieldKind::reference), "8 ");
}

// What is read of a layout, whatever it says, is all that it says.
TEST_F(Schema, KeysOfAnOrderAreReadAsTheyAreStoredOrNotAtAll) {
  ps::detail::ClassShape shape;
  shape.size = 8;
  shape.alignment = 8;
  shape.base = 4013;
  shape.levels = {{thing, 0, {}}, {4013, 0, {}}};
  const std::size_t withoutKeys = shape.encode().size() + 2 + 10;  // with the base class
  shape.order = {thing, {{"size", ps::KeyKind::signedNumber, 4, true}, {"", ps::KeyKind::text, 0, false}}};
  const std::string sound = shape.encode();
  ps::detail::ClassShape read;
  ASSERT_TRUE(read.decode(sound, thing));
  EXPECT_EQ(read.encode(), sound);
  EXPECT_EQ(read.order.keys.at(0).field, "size");
  EXPECT_FALSE(ps::detail::relate(read, ps::detail::ClassShape{8, 8, 4013, {{thing, 0, {}}}, {}}).isOlder);
  EXPECT_FALSE(read.decode(sound, ps::detail::storageType));
  for (std::size_t length = 0; length < sound.size(); ++length) {
    // The fields of the class end 12 bytes before the keys.
    const bool endsBetween = length == withoutKeys || length + 12 == withoutKeys;
    EXPECT_EQ(read.decode(sound.substr(0, length), thing), endsBetween) << length;
  }
  int refused = 0;
  for (std::size_t at = 0; at < sound.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      std::string forged = sound;
      forged[at] = static_cast<char>(value);
      if (read.decode(forged, thing))
        EXPECT_EQ(read.encode(), forged) << at;
      else
        ++refused;
    }
  }
  EXPECT_GT(refused, 1000);
}

TEST_F(Schema, AProgramThatIsOlderThanTheStoreIsRefusedWhenItNextBegins) {
  Process old([this](const Process::Channel& channel) {
    version<Int, 1>.introduce();
    psSession session;
    if (session.open(path_, ps::test::unsynced()) != 1 || session.begin(pscRead) != 1 || session.commit() != 1)
      return 1;
    channel.send();
    if (!channel.receive()) return 2;
    if (session.begin(pscRead) == 1 || session.begin(pscUpdate) == 1) return 3;
    return session.lastErrorKind() == psErrorKind::schema ? 0 : 4;
  });
  ASSERT_TRUE(old.channel().receive());
  const auto write = [](psSession& s) {
    return new (s.container(s.database("d"), "c")) Longs != nullptr ? commit(s) : s.lastError();
  };
  EXPECT_EQ(run(version<Longs, 2>.introduce, pscUpdate, write), "");
  old.channel().send();
  EXPECT_EQ(old.wait(), 0);
}

// Also one that could add to a container that an upgrade is done with.
TEST_F(Schema, AProgramThatIsOlderIsRefusedOnceAnUpgradeHasBegun) {
  Process old([this](const Process::Channel& channel) {
    version<Int, 1>.introduce();
    psSession session;
    if (session.open(path_, ps::test::unsynced()) != 1 || session.begin(pscUpdate) != 1) return 1;
    const pstHandle<psContObj> first = session.container(session.database("d"), "first");
    if (new (session.container(session.database("d"), "second")) Int == nullptr || session.commit() != 1) return 2;
    channel.send();
    if (!channel.receive()) return 3;
    const bool isAdded = session.begin(pscUpdate) == 1 && new (first) Int != nullptr&& session.commit() == 1;
    channel.send(isAdded ? 1 : 0);
    return isAdded ? 4 : 0;
  });
  ASSERT_TRUE(old.channel().receive());
  EXPECT_EQ(run(version<Longs, 2>.introduce, pscNoOpen,
                [&old](psSession& s) {
                  const auto tell = [&old](const psUpgradeProgress& progress) {
                    if (progress.done != 1) return true;
                    old.channel().send();
                    return old.channel().receive();
                  };
                  return s.upgrade(tell) == 1 ? "" : s.lastError();
                }),
            "");
  EXPECT_EQ(old.wait(), 0);
}

TEST_F(Schema, CollectionsOfAnOlderComparatorAreWalkedAndOrderedAnew) {
  constexpr int n = 300;
  const auto introduceOrder = [] {
    version<Int, 1>.introduce();
    introduce<Order>("Order", turned ? 2 : 1);
  };
  static const char* const names[] = {"tree set", "tree map", "hash set", "hash map"};
  const auto write = [](psSession& s) {
    const pstHandle<psContObj> in = s.container(s.database("d"), "c");
    pstHandle<psCompare> order(new (in) Order);
    const pstHandle<psTreeSet> set(new (in) psTreeSet(order, 8));
    const pstHandle<psTreeMap> map(new (in) psTreeMap(order, 8));
    const pstHandle<psHashSet> hashSet(new (in) psHashSet(order, 7, 1));
    const pstHandle<psHashMap> hashMap(new (in) psHashMap(order, 7, 1));
    for (int i = 1; i <= n; ++i) {
      const pstHandle<Int> made(new (in) Int);
      made->a = i * 37 % (n + 1);
      if (!set->add(made) || map->put(made, made) != 1 || !hashSet->add(made) || !hashMap->put(made, made))
        return s.lastError() + " add";
    }
    static_cast<void>(s.name(set, in, names[0]));
    static_cast<void>(s.name(map, in, names[1]));
    static_cast<void>(s.name(hashSet, in, names[2]));
    static_cast<void>(s.name(hashMap, in, names[3]));
    return commit(s);
  };
  ASSERT_EQ(run(introduceOrder, pscUpdate, write), "");
  turned = true;
  const auto look = [](const pstHandle<psCollection>& c, int key) {
    return c->contains(static_cast<const void*>(&key));
  };
  EXPECT_EQ(run(introduceOrder, pscUpdate,
                [look](psSession& s) {
                  const pstHandle<psContObj> in = s.container(s.database("d"), "c");
                  for (const char* const name : names) {
                    pstHandle<psCollection> c;
                    if (c.lookupObj(in, name, pscUpdate) != 1) return s.lastError();
                    const int size = c->size();
                    const std::unique_ptr<psCollectionIterator> it(c->keyIterator());
                    int walked = 0;
                    while (it->hasNext() && !it->next(pscNoLock).isNull()) ++walked;
                    if (size != n || walked != n) return name + (": walked " + std::to_string(walked));
                    pehSessionDataGetFunction()->clear();
                    if (look(c, 5)) return std::string(name) + ": found";
                    c->add(new (in) Int);
                    if (s.lastErrorKind() != psErrorKind::schema || c->size() != n)
                      return std::string(name) + ": not refused";
                  }
                  s.abort();
                  lumps = true;
                  for (const char* const name : names) {
                    const bool isSorted = std::strstr(name, "tree") != nullptr;
                    pstHandle<psCollection> c;
                    static_cast<void>(s.begin(pscUpdate));
                    if (c.lookupObj(in, name, pscUpdate) != 1) return s.lastError();
                    if (ps::reorder(c) != 0 || s.lastErrorKind() != psErrorKind::schema) return std::string("lumps");
                    if (isSorted && c->size() != n) return std::string("changed");
                    if (s.commit() != (isSorted ? 1 : 0)) return std::string(name) + ": half of it was committed";
                  }
                  lumps = false;
                  static_cast<void>(s.begin(pscUpdate));
                  for (const char* const name : names) {
                    pstHandle<psCollection> c;
                    if (c.lookupObj(in, name, pscUpdate) != 1 || ps::reorder(c) != 1)
                      return s.lastError() + " of " + name;
                  }
                  return commit(s);
                }),
            "");
  EXPECT_EQ(run(introduceOrder, pscRead,
                [look](psSession& s) {
                  const pstHandle<psContObj> in = s.container(s.database("d"), "c");
                  for (const char* const name : names) {
                    pstHandle<psCollection> c;
                    if (c.lookupObj(in, name, pscRead) != 1) return s.lastError();
                    for (int i = 0; i <= n; ++i)
                      if (look(c, -i) != (i != 0)) return name + (" lacks " + std::to_string(i)) + s.lastError();
                    const std::unique_ptr<psCollectionIterator> it(c->keyIterator());
                    while (it->hasNext())
                      if (const pstHandle<psObj> key(it->next(pscNoLock));
                          std::strcmp(name, "tree map") == 0 && it->currentValue() != key)
                        return std::string("another value");
                  }
                  return std::string();
                }),
            "");
}
