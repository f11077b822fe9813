// Two sessions whose transactions overlap, step by step: where one order of the two cannot explain what both have seen,
// one of them is refused; where they share nothing, both are committed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "pstyped.h"
#include "store/CurrentSession.h"
#include "store/base/psChecked.h"
#include "support/AnyServer.h"
#include "support/Process.h"
#include "support/ScratchFolder.h"
#include "support/TempStore.h"
#include "support/Versioned.h"

namespace ps::test {
namespace {

using Set = SortedSet<Versioned, ByVersionedKey>;
using Map = SortedMap<Versioned, Versioned, ByVersionedKey>;
using HashedSet = HashSet<Versioned, ByVersionedKey>;
using Cell = Ref<Versioned>;

// Two sessions, and in a database of its own what a case is about.
class Scene {
 public:
  explicit Scene(const std::string& store) {
    for (psSession* const session : {&first, &second})
      EXPECT_EQ(session->open(store, unsynced()), 1) << session->lastError();
  }

  void build() {
    database_ = "scene " + std::to_string(++built_);
    asCommitted(first, &Scene::buildFirst);
    // So that each session has pages that it fills.
    asCommitted(second, [](Scene& s) {
      for (const auto& in : {s.home, s.left, s.right}) beginPage(in);
      s.z = make<Versioned>(s.left, 1, 1);
    });
    asCommitted(first, [](Scene& s) {
      for (const auto& in : {s.home, s.left, s.right}) make<Versioned>(in, 1, 1);
    });
  }

  // The two changes overlap. Returns how many of them were committed, -1 when one was refused for another reason.
  int overlap(const std::function<void(Scene&)>& one, const std::function<void(Scene&)>& other, bool isReversed) {
    require(first.begin(pscUpdate));
    require(second.begin(pscUpdate));
    as(first, one);
    as(second, other);
    psSession& early = isReversed ? second : first;
    psSession& late = isReversed ? first : second;
    return committed(early) + committed(late);
  }
  void as(psSession& session, const std::function<void(Scene&)>& act) {
    const CurrentSession here(session);
    current = &session;
    act(*this);
  }
  void asCommitted(psSession& session, const std::function<void(Scene&)>& act) {
    require(session.begin(pscUpdate));
    as(session, act);
    require(session.commit());
  }
  // Both know already what they are going to read.
  void warm(const std::function<void(Scene&)>& one, const std::function<void(Scene&)>& other) {
    for (psSession* const session : {&first, &second}) {
      require(session->begin(pscUpdate));
      as(*session, session == &first ? one : other);
      require(session->abort());
    }
  }

  pstHandle<psDBObj> database() const { return current->database(database_.c_str()); }
  pstHandle<psContObj> container(const char* name) const { return current->container(database(), name); }
  int membersOf(const pstHandle<psContObj>& in) {
    int count = 0;
    pstItr<Versioned> each;
    require(each.scan(in, pscRead));
    while (each.next()) ++count;
    return count;
  }
  int namesWith(const char* prefix) {
    int count = 0;
    require(current->names(
        home, [&count](const psFiling&) { return ++count > 0; }, prefix));
    return count;
  }
  void name(const char* text) { require(current->name(make<Versioned>(home, 0, 2).handle(), home, text)); }
  void require(int done) const { EXPECT_EQ(done, 1) << current->lastError(); }

  psSession first;
  psSession second;
  psSession* current = &first;
  pstHandle<psContObj> home, left, right, empty, full;
  Cell x, y, z;
  psId set, otherSet, hashed, map, list;

 private:
  void buildFirst() {
    home = container("home");
    left = container("left");
    right = container("right");
    empty = container("empty");
    full = container("full");
    x = make<Versioned>(left, 0, 1);
    y = make<Versioned>(right, 0, 1);
    beginPage(full);
    for (const char* const name : {"left", "full"}) EXPECT_FALSE(Place(database(), name).isNull());
    Set elements = Set::create(home, 4);
    const auto otherHome = container("other");
    Set otherElements = Set::create(otherHome, 4);
    HashedSet hashedElements = HashedSet::create(home, 5);
    Map pairs = Map::create(home, 4);
    for (int key = 0; key < 1000; key += 25) {
      elements.insert(make<Versioned>(home, key, 1));
      otherElements.insert(make<Versioned>(otherHome, key, 1));
      hashedElements.insert(make<Versioned>(home, key, 1));
      pairs.put(make<Versioned>(home, key, 1), make<Versioned>(home, key, 1));
    }
    elements.insert(make<Versioned>(home, 510, 1));  // which moves
    set = elements.id();
    hashed = hashedElements.id();
    map = pairs.id();
    otherSet = otherElements.id();
    list = List<Versioned>::create(container("list"), 4).id();
    List<Versioned>(list).push_back(x);
  }
  // Fills what others have begun: the next object there takes another page.
  static void beginPage(const pstHandle<psContObj>& in) {
    const Cell first = make<Versioned>(in, 0, 1);
    Cell last = first;
    while (last.id().get_page() == first.id().get_page()) last = make<Versioned>(in, 0, 1);
    destroy(last);
  }
  static int committed(psSession& session) {
    if (session.commit() == 1) return 1;
    return session.lastErrorKind() == psErrorKind::conflict ? 0 : -1000;
  }

  int built_ = 0;
  std::string database_;
};

void touch(const Cell& cell) { ++edit(cell)->version; }
int countOf(const Set& set, int from, int to) {
  return set.index_of(set.lower_bound(to)) - set.index_of(set.lower_bound(from));
}
void insert(Scene& scene, const psId& set, int key) { Set(set).insert(make<Versioned>(scene.home, key, 2)); }

using Act = std::function<void(Scene&)>;

struct Case {
  const char* name;
  Act one, other;
  int commits;              // of the two, when the first ends first
  int reversed;             // when the second ends first
  bool isOfWrites = false;  // both change the same, so that nobody's reading is needed to notice it
};

std::vector<Case> cases() {
  return {
      {"lost update", [](Scene& s) { touch(s.x); }, [](Scene& s) { touch(s.x); }, 1, 1, true},
      {"write skew over two objects",
       [](Scene& s) {
         if (s.x->version == 1) touch(s.y);
       },
       [](Scene& s) {
         if (s.y->version == 1) touch(s.x);
       },
       1, 1},
      {"write skew over two trees",
       [](Scene& s) {
         if (Set(s.set).contains(200)) Set(s.otherSet).erase(200);
       },
       [](Scene& s) {
         if (Set(s.otherSet).contains(200)) Set(s.set).erase(200);
       },
       1, 1},
      {"write skew over a hash table",
       [](Scene& s) {
         if (HashedSet(s.hashed).contains(200)) HashedSet(s.hashed).erase(900);
       },
       [](Scene& s) {
         if (HashedSet(s.hashed).contains(900)) HashedSet(s.hashed).erase(200);
       },
       1, 1},
      {"crosswise replacement in a map",
       [](Scene& s) {
         if ((*Map(s.map).get(100))->version == 1) Map(s.map).put(Map(s.map).find(800)->key_ref(), s.x);
       },
       [](Scene& s) {
         if ((*Map(s.map).get(800))->version == 1) Map(s.map).put(Map(s.map).find(100)->key_ref(), s.x);
       },
       1, 1},
      {"phantoms in ranges",
       [](Scene& s) {
         if (countOf(Set(s.set), 50, 300) == 10) insert(s, s.otherSet, 105);
       },
       [](Scene& s) {
         if (countOf(Set(s.otherSet), 50, 300) == 10) insert(s, s.set, 105);
       },
       1, 1},
      {"phantom by name", [](Scene& s) { s.namesWith("a") == 0 ? s.name("b1") : void(); },
       [](Scene& s) { s.namesWith("b") == 0 ? s.name("a1") : void(); }, 1, 1},
      {"absent names",
       [](Scene& s) {
         pstHandle<Versioned> found;
         if (found.lookupObj(s.home, "c", pscRead) != 1) s.name("d");
       },
       [](Scene& s) {
         pstHandle<Versioned> found;
         if (found.lookupObj(s.home, "d", pscRead) != 1) s.name("c");
       },
       1, 1},
      {"phantom in a container",
       [](Scene& s) {
         if (s.membersOf(s.left) > 1) make<Versioned>(s.right, 5, 2);
       },
       [](Scene& s) {
         if (s.membersOf(s.right) > 1) make<Versioned>(s.left, 5, 2);
       },
       1, 1},
      {"phantom in an empty container",
       [](Scene& s) {
         if (s.membersOf(s.empty) == 0) touch(s.x);
       },
       [](Scene& s) {
         if (s.x->version == 1) make<Versioned>(s.empty, 5, 2);
       },
       1, 1},
      {"phantom in a new page",
       [](Scene& s) {
         if (s.membersOf(s.full) > 0) touch(s.x);
       },
       [](Scene& s) {
         if (s.x->version == 1) make<Versioned>(s.full, 5, 2);
       },
       1, 1},
      {"a count, and creation in a new page",
       [](Scene& s) {
         if (Place(s.database(), "full").count() > 0) touch(s.x);
       },
       [](Scene& s) {
         if (s.x->version == 1) make<Versioned>(s.full, 5, 2);
       },
       1, 1},
      {"the last but one, by a scan",
       [](Scene& s) {
         if (s.membersOf(s.left) > 1) destroy(s.x);
       },
       [](Scene& s) {
         if (s.membersOf(s.left) > 1) destroy(s.z);
       },
       1, 1},
      {"the last but one, by the count",
       [](Scene& s) {
         if (Place(s.database(), "left").count() > 1) destroy(s.x);
       },
       [](Scene& s) {
         if (Place(s.database(), "left").count() > 1) destroy(s.z);
       },
       1, 1},
      {"addition of the same to a tree", [](Scene& s) { insert(s, s.set, 55); }, [](Scene& s) { insert(s, s.set, 55); },
       1, 1, true},
      {"addition of the same to a hash table",
       [](Scene& s) { HashedSet(s.hashed).insert(make<Versioned>(s.home, 55, 2)); },
       [](Scene& s) { HashedSet(s.hashed).insert(make<Versioned>(s.home, 55, 2)); }, 1, 1, true},
      {"the same name", [](Scene& s) { s.name("same"); }, [](Scene& s) { s.name("same"); }, 1, 1, true},
      {"the same container", [](Scene& s) { s.container("same"); }, [](Scene& s) { s.container("same"); }, 1, 1, true},
      {"an element that moves, and whoever counts",
       [](Scene& s) {
         const Cell moved = *Set(s.set).get(510);
         Set(s.set).erase(510);
         Set(s.otherSet).insert(moved);
       },
       [](Scene& s) {
         const int found = Set(s.set).contains(510) + Set(s.otherSet).contains(510);
         EXPECT_EQ(found, 1);
         touch(s.y);
       },
       1, 2},
      {"a list, and whoever reads its end", [](Scene& s) { List<Versioned>(s.list).push_back(s.x); },
       [](Scene& s) {
         List<Versioned>(s.list).back();
         touch(s.y);
       },
       1, 2},
      {"deletion of a container in which another creates",
       [](Scene& s) {
         pstHandle<psContObj> gone = s.left;
         s.require(psDelete(gone));
       },
       [](Scene& s) { make<Versioned>(s.left, 5, 2); }, 1, 1, true},
      // These share nothing.
      {"two objects", [](Scene& s) { touch(s.x); }, [](Scene& s) { touch(s.y); }, 2, 2},
      {"two collections", [](Scene& s) { Set(s.set).erase(100); }, [](Scene& s) { Set(s.otherSet).erase(100); }, 2, 2},
      {"two names", [](Scene& s) { s.name("one"); }, [](Scene& s) { s.name("other"); }, 2, 2},
      {"creation in one container", [](Scene& s) { make<Versioned>(s.left, 5, 2); },
       [](Scene& s) { make<Versioned>(s.left, 6, 2); }, 2, 2},
      {"a scan of one container and creation in another",
       [](Scene& s) {
         s.membersOf(s.left);
         make<Versioned>(s.home, 5, 2);
       },
       [](Scene& s) { make<Versioned>(s.right, 6, 2); }, 2, 2},
  };
}

class Serializable : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const AnyServer server; }
  void SetUp() override {
    if (detail::isChecked) GTEST_SKIP() << "both sessions are of one thread, and hold handles in turn";
  }
};

TEST_F(Serializable, TransactionsThatOverlap) {
  const ScratchFolder folder;
  Scene scene(folder.store("scene"));
  for (const Case& each : cases()) {
    for (const bool isWarm : {false, true}) {
      for (const bool isReversed : {false, true}) {
        SCOPED_TRACE(std::string(each.name) + (isWarm ? ", warm" : ", cold") + (isReversed ? ", reversed" : ""));
        scene.build();
        if (isWarm) scene.warm(each.one, each.other);
        EXPECT_EQ(scene.overlap(each.one, each.other, isReversed), isReversed ? each.reversed : each.commits);
      }
    }
  }
  psVerifyReport report;
  EXPECT_EQ(scene.first.verify(report), 1) << scene.first.lastError();
}

// With a plug-in that compares at a commit only what is replaced, whatever was merely read goes unnoticed.
TEST_F(Serializable, WithoutValidationAnomaliesAreThere) {
  const ScratchFolder folder;
  const std::string unnoticed = inProcess([&folder] {
    ::setenv("PSCOLLECTIONS_PLUGINS", PS_UNVALIDATED, 1);
    std::string names = "\n";
    Scene scene(folder.store("scene"));
    for (const Case& each : cases()) {
      scene.build();
      if (scene.overlap(each.one, each.other, true) > each.reversed) names += std::string(each.name) + '\n';
    }
    return names;
  });
  for (const Case& each : cases()) {
    const bool isOfReads = each.reversed == 1 && !each.isOfWrites;
    const bool isUnnoticed = unnoticed.find('\n' + std::string(each.name) + '\n') != std::string::npos;
    EXPECT_EQ(isUnnoticed, isOfReads) << each.name;
  }
}

// A snapshot is not a mixture, however much of it was known before.
TEST_F(Serializable, ReadTransactionsSeeOneState) {
  const ScratchFolder folder;
  Scene scene(folder.store("scene"));
  scene.build();
  const auto places = [&scene] { return Set(scene.set).contains(510) + Set(scene.otherSet).contains(510); };
  int members = 0;
  scene.asCommitted(scene.first, [&members](Scene& s) { members = s.membersOf(s.left); });
  for (int round = 0; round < 4; ++round) {
    const bool isThere = round % 2 == 0;
    scene.require(scene.second.begin(pscRead));
    std::uint64_t before = 0;
    bool wasThere = false;
    scene.as(scene.second, [&](Scene& s) {
      before = s.x->version;
      wasThere = Set(s.set).contains(510);
    });
    EXPECT_EQ(wasThere, isThere);
    scene.require(scene.first.begin(pscUpdate));
    scene.as(scene.first, [&](Scene& s) {
      touch(s.x);
      touch(s.y);
      Set from(isThere ? s.set : s.otherSet);
      Set to(isThere ? s.otherSet : s.set);
      const Cell moved = *from.get(510);
      from.erase(510);
      to.insert(moved);
      make<Versioned>(s.left, 5, 2);
    });
    scene.require(scene.first.commit());
    scene.as(scene.second, [&](Scene& s) {
      EXPECT_EQ(s.y->version, before);
      EXPECT_EQ(places(), 1);
      EXPECT_EQ(Set(s.otherSet).contains(510), !isThere);
      EXPECT_EQ(s.membersOf(s.left), members + round);
    });
    scene.require(scene.second.commit());
  }
}

}  // namespace
}  // namespace ps::test
