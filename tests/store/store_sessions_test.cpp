#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "store/CurrentSession.h"
#include "store/StoreObjects.h"
#include "support/Process.h"
#include "support/Reports.h"
#include "support/ScratchFolder.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

// A store with a session in an update transaction, and an object whose number tells the stores apart. All stores have
// the same identifiers.
struct World {
  explicit World(std::int64_t n, const std::string& path = "") : number(n) {
    EXPECT_EQ(session.open(path.empty() ? folder.transientStore("store.ps") : path, unsynced()), 1)
        << session.lastError();
    EXPECT_EQ(session.begin(pscUpdate), 1) << session.lastError();
    in = session.container(session.database("world"), "objects");
    object = new (in) Flat(n);
    EXPECT_EQ(session.name(object, in, "flat"), 1) << session.lastError();
  }
  // The object, as whatever session is current sees it.
  static std::int64_t found(const pstHandle<psContObj>& in) {
    pstHandle<Flat> flat;
    return flat.lookupObj(in, "flat", pscRead) == 1 ? flat->number : -1;
  }

  ScratchFolder folder;
  psSession session;
  std::int64_t number;
  pstHandle<psContObj> in;
  pstHandle<Flat> object;
};

TEST(StoreSessions, OneIsCurrentAndScopesSwitch) {
  World first(1);
  World second(2);
  World third(3);
  ASSERT_EQ(first.object.oid(), third.object.oid());
  EXPECT_EQ(World::found(first.in), 3) << "the one opened last";
  {
    const CurrentSession outer(first.session);
    EXPECT_TRUE(outer);
    EXPECT_EQ(World::found(first.in), 1);
    {
      const CurrentSession inner(second.session);
      EXPECT_EQ(World::found(first.in), 2);
      ASSERT_EQ(second.session.commit(), 1);
      ASSERT_EQ(second.session.close(), 1);
      EXPECT_EQ(World::found(first.in), 1) << "the one before";
      EXPECT_FALSE(CurrentSession(second.session));
      EXPECT_EQ(second.session.makeCurrent(), 0);
    }
    EXPECT_EQ(World::found(first.in), 1);
  }
  EXPECT_EQ(World::found(first.in), 3);
  EXPECT_EQ(first.session.makeCurrent(), 1);
  ASSERT_EQ(third.session.close(), 1) << "not the current one";
  EXPECT_EQ(World::found(first.in), 1);
  ASSERT_EQ(first.session.close(), 1);
  EXPECT_EQ(World::found(first.in), -1);
  EXPECT_NE(first.session.lastError().find("no session is open"), std::string::npos);
}

TEST(StoreSessions, CallsWorkOnTheirOwnSession) {
  World first(1);
  World second(2);
  int asked = 0;
  first.session.openGuard([&asked](const psId&, psMode) { return ++asked > 0; });
  EXPECT_EQ(World::found(first.in), 2);
  EXPECT_EQ(asked, 0) << "the guard is the first session's";
  EXPECT_EQ(first.session.name(first.object, first.object, "self"), 1) << first.session.lastError();
  EXPECT_GT(asked, 0);
  EXPECT_EQ(first.session.rename(first.in, "flat", first.in, "moved"), 1) << first.session.lastError();
  first.session.openGuard(nullptr);
  EXPECT_EQ(World::found(first.in), 2) << "the second one is current still";
  EXPECT_FALSE(first.session.container(first.session.database("world"), "more").isNull());
  EXPECT_EQ(first.session.commit(), 1);
  EXPECT_TRUE(second.session.inUpdate());
  EXPECT_EQ(second.session.begin(pscRead), 0);
  EXPECT_EQ(second.session.abort(), 1);
  ASSERT_EQ(first.session.begin(pscRead), 1);
  ASSERT_EQ(second.session.begin(pscRead), 1);
  EXPECT_EQ(World::found(second.in), -1) << "the abort was the second one's";
  const auto isMoved = [&](const psFiling& filing) {
    const pstHandle<Flat> flat(filing.object);
    return filing.text != "moved" || flat->number != 1;  // the visitor runs in the listed session
  };
  EXPECT_EQ(first.session.names(first.in, [&](const psFiling& filing) { return asked = isMoved(filing) ? 0 : -1; }), 1);
  EXPECT_EQ(asked, -1);
}

// Walks and handles of one session keep their place while others work, read pages and end.
TEST(StoreSessions, CopyFromOneStoreToAnother) {
  const ScratchFolder folder;
  {
    World made(1, folder.store("from.ps"));
    for (int i = 0; i < 3000; ++i)
      ASSERT_NE(new (made.in) Blob(i, pattern(static_cast<std::uint64_t>(i), 3000)), nullptr);
    ASSERT_EQ(made.session.commit(), 1);
  }
  psSession source;
  ASSERT_EQ(source.open(folder.store("from.ps"), unsynced(4 << 20)), 1) << source.lastError();
  ASSERT_EQ(source.begin(pscRead), 1);
  const pstHandle<psContObj> in = source.container(source.database("world"), "objects");
  auto target = std::make_unique<World>(2, folder.store("to.ps"));
  ASSERT_EQ(source.makeCurrent(), 1);
  pstItr<Blob> read;
  ASSERT_EQ(read.scan(in, pscRead), 1);
  pstHandle<Blob> last;
  const Blob* address = nullptr;
  for (int i = 0; read.next(); ++i) {
    const std::string bytes(read->bytes.head(), read->bytes.size());
    const std::int64_t number = read->number;
    const CurrentSession here(target->session);
    last = new (target->in) Blob(number, bytes);
    ASSERT_FALSE(last.isNull()) << target->session.lastError();
    if (i % 500 == 499) {
      ASSERT_EQ(target->session.commit(), 1);
      ASSERT_EQ(target->session.begin(pscUpdate), 1);
    }
  }
  {
    const CurrentSession here(target->session);
    EXPECT_EQ(scanned<Blob>(target->in).size(), 3000U);
    for (const psId& id : scanned<Blob>(target->in)) {
      const Content content = contentOf(pstHandle<psObj>(id));
      ASSERT_EQ(content.bytes, pattern(static_cast<std::uint64_t>(content.number), 3000));
    }
    address = &*last;
  }
  target.reset();
  EXPECT_EQ(address->number, 2999) << "pinned";
  EXPECT_EQ(scanned<Blob>(in).size(), 3000U);
}

TEST(StoreSessions, OfOneStoreReadTogetherAndUpdateInTurn) {
  if (ScratchFolder::isOnServer()) GTEST_SKIP() << "on a server updates run side by side";
  const ScratchFolder folder;
  World first(1, folder.store("store.ps"));
  ASSERT_EQ(first.session.commit(), 1);
  psSession second;
  ASSERT_EQ(second.open(folder.store("store.ps"), unsynced()), 1) << second.lastError();
  ASSERT_EQ(first.session.begin(pscUpdate), 1);
  ASSERT_EQ(second.begin(pscRead), 1);
  {
    const CurrentSession here(first.session);
    ASSERT_EQ(first.object.update(), 1);
    first.object->number = 10;
  }
  EXPECT_EQ(World::found(first.in), 1) << "a snapshot";
  ASSERT_EQ(second.commit(), 1);
  EXPECT_EQ(second.begin(pscUpdate), 0) << "would wait for itself";
  EXPECT_EQ(second.lastErrorKind(), psErrorKind::usage);
  EXPECT_NE(second.lastError().find("wait for itself"), std::string::npos) << second.lastError();
  ASSERT_EQ(first.session.commit(), 1);
  ASSERT_EQ(second.begin(pscUpdate), 1) << second.lastError();
  EXPECT_EQ(World::found(first.in), 10);
}

TEST(StoreSessions, UpdateSideBySideOnAServerAndTheSecondConflicts) {
  if (!ScratchFolder::isOnServer()) GTEST_SKIP() << "in a file updates run in turn";
  const ScratchFolder folder;
  World first(1, folder.store("store.ps"));
  ASSERT_EQ(first.session.commit(), 1);
  psSession second;
  ASSERT_EQ(second.open(folder.store("store.ps"), unsynced()), 1) << second.lastError();
  ASSERT_EQ(first.session.begin(pscUpdate), 1);
  ASSERT_EQ(second.begin(pscUpdate), 1) << second.lastError();
  const auto add = [&first](psSession& session) {
    const CurrentSession here(session);
    ASSERT_EQ(first.object.update(), 1) << session.lastError();
    ++first.object->number;
  };
  add(second);
  add(first.session);
  ASSERT_EQ(first.session.commit(), 1) << first.session.lastError();
  EXPECT_EQ(second.commit(), 0);
  EXPECT_EQ(second.lastErrorKind(), psErrorKind::conflict) << second.lastError();
  ASSERT_EQ(second.begin(pscUpdate), 1) << second.lastError();
  add(second);
  EXPECT_EQ(World::found(first.in), 3) << "of all that was committed nothing is lost";
  ASSERT_EQ(second.commit(), 1) << second.lastError();
}

TEST(StoreSessions, AreToldOfALongReader) {
  const ScratchFolder folder;
  Process ofAnotherStore([&folder](const Process::Channel& channel) {
    World other(2, folder.store("other.ps"));
    if (other.session.commit() != 1 || other.session.begin(pscRead) != 1) return 1;
    channel.send();
    return channel.receive() ? 0 : 1;
  });
  ASSERT_TRUE(ofAnotherStore.channel().receive());
  World writer(1, folder.store("store.ps"));
  ASSERT_EQ(writer.session.commit(), 1);
  psSession reader;
  ASSERT_EQ(reader.open(folder.store("store.ps")), 1);
  ASSERT_EQ(reader.begin(pscRead), 1);
  std::vector<psReader> told;
  const double seconds = ScratchFolder::stepsOr(1e9, 0.0);  // what readers keep of a server's is not known
  for (int i = 0; i < 4; ++i) {
    writer.session.watchReaders(seconds, 0, [&told](const psReader& oldest) { told.push_back(oldest); });
    const CurrentSession here(writer.session);
    ASSERT_EQ(writer.session.begin(pscUpdate), 1);
    ASSERT_EQ(writer.object.update(), 1);
    ++writer.object->number;
    ASSERT_EQ(writer.session.commit(), 1);
  }
  ASSERT_FALSE(told.empty());
  EXPECT_EQ(told.back().process, ::getpid());
  EXPECT_EQ(told.back().pinnedBytes > told.front().pinnedBytes, !ScratchFolder::isOnServer());
  EXPECT_EQ(writer.session.counters().oldestReader.pinnedBytes, told.back().pinnedBytes);
  ASSERT_EQ(reader.commit(), 1);
  // A server need not be waited for at the end of a read transaction.
  for (int left = ScratchFolder::stepsOr(1, 500); left > 0; --left) {
    EXPECT_EQ(writer.session.readers(told), 1);
    if (told.empty()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(told.empty());
  ofAnotherStore.channel().send();
  EXPECT_EQ(ofAnotherStore.wait(), 0);
}

TEST(StoreSessions, EndWithTheirThread) {
  const ScratchFolder folder;
  psSession outlives;
  psSession other;
  const auto isFree = [&](const char* name) {
    psSession session;
    return session.open(folder.store(name), unsynced()) == 1 && session.begin(pscUpdate) == 1 && session.abort() == 1;
  };
  std::thread([&] {
    ASSERT_EQ(outlives.open(folder.store("one.ps"), unsynced()), 1);
    ASSERT_EQ(other.open(folder.store("two.ps"), unsynced()), 1);
    ASSERT_EQ(outlives.begin(pscUpdate), 1);
    ASSERT_EQ(other.begin(pscUpdate), 1);
  }).join();
  EXPECT_TRUE(isFree("one.ps") && isFree("two.ps"));
  EXPECT_EQ(outlives.begin(pscRead), 0);

  // Destroyed elsewhere while another session is current: its update must not keep this thread from its own.
  auto lost = std::make_unique<World>(1, folder.store("three.ps"));
  World current(2);
  psSession again;
  ASSERT_EQ(again.open(folder.store("three.ps"), unsynced()), 1);
  ASSERT_EQ(current.session.makeCurrent(), 1);
  {
    lost->object.close();
    lost->in.close();
    psSession* const session = &lost->session;
    std::thread([session] { session->~psSession(); }).join();
    new (session) psSession;
  }
  ASSERT_EQ(again.begin(pscUpdate), 1) << again.lastError();
  EXPECT_NE(again.lastError().find("destroyed on another thread"), std::string::npos) << again.lastError();
  EXPECT_TRUE(again.database("world").isNull() || !pstHandle<psObj>(current.object.oid()).isNull());
  EXPECT_EQ(World::found(current.in), 2) << "the current one is so still";
}

TEST(StoreSessions, AreAllForeignInAForkedChild) {
  const ScratchFolder folder;
  World first(1, folder.store("first.ps"));
  World second(2, folder.store("second.ps"));
  EXPECT_EQ(inProcess([&] {
              std::string faults;
              for (World* const world : {&second, &first}) {
                const CurrentSession here(world->session);
                if (world->object.open(pscRead) != 0) faults += "opened ";
                if (world->session.commit() != 0 || world->session.begin(pscRead) != 0) faults += "went on ";
                const std::string message = world->session.lastError();
                if (message.find("session of the child's own") == std::string::npos) faults += message;
              }
              World own(3, folder.store("own.ps"));
              if (World::found(own.in) != 3 || own.session.commit() != 1) faults += own.session.lastError();
              for (World* const world : {&first, &second}) faults += world->session.close() == 1 ? "" : "not closed ";
              return faults;
            }),
            "");
  for (World* const world : {&first, &second}) {
    const CurrentSession here(world->session);
    EXPECT_EQ(World::found(world->in), world->number);
    EXPECT_EQ(world->session.commit(), 1) << world->session.lastError();
  }
}

TEST(StoreSessions, OfAnotherSessionAreReported) {
  if (!ps::detail::isChecked) GTEST_SKIP() << "this build checks nothing";
  World first(1);
  World second(2);
  const Reports reports;
  {
    const CurrentSession here(first.session);
    static_cast<void>(first.object.open(pscRead));
    EXPECT_EQ(first.object->number, 1);
  }
  EXPECT_EQ(Reports::take(), "");
  const Flat* const object = second.object.operator->();
  EXPECT_EQ(first.object->number, 2) << "the object of that identifier in the current store";
  Reports::expect("used while another session of its thread is current");
  const CurrentSession here(first.session);
  object->psOid();
  Reports::expect("object (1,1,1,1) is used while another session of its thread is current");
  second.object.close();
  first.object.close();
  EXPECT_EQ(Reports::take(), "") << "a handle may be closed under any session";
}

}  // namespace
}  // namespace ps::test
