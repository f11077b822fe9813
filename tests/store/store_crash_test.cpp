#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

#include "StoreModel.h"
#include "store/StoreObjects.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

// A class that is set up late, so that the first session of the process is still at it when the second one comes.
class Late : public psObj {
  PS_PERSISTENT_CLASS(Late, psObj, 20210)

 public:
  Late() = default;
};
const int slow = ptmAddToVTableInitList([] { ::usleep(20000); });
PS_REGISTER_CLASS(Late)

// Two writers keep two objects equal; no reader ever sees them differ. Comes first, since the sessions that it opens at
// once must be the first of the process.
TEST(StoreSharing, SessionsOfSeveralThreadsWorkSideBySide) {
  constexpr int transactions = 150;
  EXPECT_EQ(slow, 1);
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  std::atomic<int> writing{2};
  std::atomic<int> opened{0};
  std::array<std::string, 4> complaints;

  const auto write = [&](psSession& session, int writer) {
    for (int i = 0; i < transactions; ++i) {
      if (session.begin(pscUpdate) != 1) return false;
      const pstHandle<psDBObj> database = session.database("threads");
      const pstHandle<psContObj> left = session.container(database, "left");
      const pstHandle<psContObj> right = session.container(database, "right");
      pstHandle<Blob> a;
      pstHandle<Blob> b;
      if (a.lookupObj(left, "total", pscUpdate) != 1) {
        a = new (left) Blob(0, "");
        b = new (right) Blob(0, "");
        if (new (right) Late == nullptr) return false;
        if (session.name(a, left, "total") != 1 || session.name(b, right, "total") != 1) return false;
      }
      if (b.lookupObj(right, "total", pscUpdate) != 1) return false;
      ++a->number;
      ++b->number;
      if (a->bytes.extend(static_cast<char>(writer)) != 1 || b->bytes.extend(static_cast<char>(writer)) != 1)
        return false;
      if ((i % 10 == 9 ? session.abort() : session.commit()) != 1) return false;
    }
    return true;
  };
  const auto read = [&](psSession& session, int) {
    std::int64_t seen = 0;
    bool last = false;
    while (!last) {
      last = writing == 0;
      if (session.begin(pscRead) != 1) return false;
      const pstHandle<psDBObj> database = session.database("threads");
      pstHandle<Blob> a;
      pstHandle<Blob> b;
      if (a.lookupObj(session.container(database, "left"), "total", pscRead) == 1) {
        if (b.lookupObj(session.container(database, "right"), "total", pscRead) != 1) return false;
        const Content content = contentOf(a);
        if (!(content == contentOf(b)) || content.number < seen) return false;
        seen = content.number;
        if (content.bytes.size() != static_cast<std::size_t>(seen)) return false;
      }
      if (session.commit() != 1) return false;
    }
    return seen == transactions * 2 * 9 / 10;
  };

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      // All at once: the first session of the process sets the classes up.
      for (++opened; opened < 4;) std::this_thread::yield();
      psSession session;
      const bool good = session.open(path, unsynced()) == 1 && (i < 2 ? write(session, i) : read(session, i));
      if (!good) complaints[static_cast<std::size_t>(i)] = "failed: " + session.lastError();
      if (i < 2) --writing;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& complaint : complaints) EXPECT_EQ(complaint, "");
}

// Threads are in the middle of opening and closing sessions whenever the process forks.
TEST(StoreSharing, AChildForkedBesideBusyThreadsOpensItsOwnSession) {
#ifdef PS_TEST_SANITIZED
  GTEST_SKIP() << "the sanitizer's heap does not hold its own locks across a fork, as the system's does";
#endif
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  const auto use = [](const std::string& name) {
    psSession session;
    return session.open(name, unsynced()) == 1 && session.begin(pscUpdate) == 1 &&
           !session.container(session.database("forks"), "in").isNull() && session.commit() == 1;
  };
  ASSERT_TRUE(use(path));
  std::atomic<bool> over{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = folder / std::to_string(i);
      while (!over) EXPECT_TRUE(use(i % 2 == 0 ? "memory:" : name));
    });
  }
  for (int i = 0; i < 40 && !::testing::Test::HasFailure(); ++i) {
    Process child([&](const Process::Channel&) {
      ::alarm(20);
      return use(path) && use("memory:") ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0) << "fork " << i;
  }
  over = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(StoreSharing, ASessionThatGoesOnAnotherThreadIsClosedByItsOwn) {
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  const auto begun = [&path](psSession& session) {
    EXPECT_EQ(session.open(path, unsynced()), 1) << session.lastError();
    EXPECT_EQ(session.begin(pscUpdate), 1) << session.lastError();
    pstHandle<Flat> made(new (session.container(session.database("threads"), "in")) Flat(7));
    EXPECT_FALSE(made.isNull()) << session.lastError();
    return made;
  };
  const auto isFreeAndEmpty = [&path] {
    psSession session;
    EXPECT_EQ(session.open(path, unsynced()), 1) << session.lastError();
    EXPECT_EQ(session.begin(pscUpdate), 1) << session.lastError();
    EXPECT_FALSE(pstHandle<psDBObj>().exist(session.federation(), "threads", pscNoOpen)) << "not aborted";
    return session.abort() == 1;
  };

  auto session = std::make_unique<psSession>();
  pstHandle<Flat> made = begun(*session);
  std::thread([&] {
    EXPECT_EQ(session->close(), 0);
    EXPECT_NE(session->lastError().find("thread that opened it"), std::string::npos) << session->lastError();
  }).join();
  EXPECT_TRUE(session->inUpdate() && made.isValid());
  std::thread([&] { session.reset(); }).join();
  EXPECT_EQ(made->number, 7);
  EXPECT_FALSE(made.isValid());
  EXPECT_EQ(pstHandle<Flat>(made.oid()).update(), 0);
  EXPECT_NE(pehSessionDataGetFunction()->text().find("destroyed on another thread"), std::string::npos);
  std::thread([&] { EXPECT_TRUE(isFreeAndEmpty()); }).join();
  EXPECT_TRUE(isFreeAndEmpty()) << "this thread cannot open another";

  // Without a use in between.
  session = std::make_unique<psSession>();
  begun(*session);
  std::thread([&] { session.reset(); }).join();
  EXPECT_TRUE(isFreeAndEmpty());

  // The thread ends first.
  session = std::make_unique<psSession>();
  std::thread([&] { made = begun(*session); }).join();
  EXPECT_TRUE(isFreeAndEmpty());
  EXPECT_FALSE(session->inTransaction());
  EXPECT_EQ(session->begin(pscRead), 0);
  EXPECT_EQ(session->close(), 1);
  EXPECT_EQ(session->open(path, unsynced()), 1) << session->lastError();
}

TEST(StoreCrash, CommittedTransactionsSurviveAKilledProcess) {
  const std::uint64_t seed = seedOr(4711);
  std::cout << "PSCOLLECTIONS_SEED=" << seed << '\n';
  std::mt19937_64 random(seed);
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  StoreModel model(seed);
  for (int round = 0; round < 60 && !::testing::Test::HasFailure(); ++round) {
    psSessionOptions options = unsynced();
    options.sync = round % 3 == 0;
    Process writer([&](const Process::Channel& channel) {
      psSession session;
      if (session.open(path, options) != 1) return 1;
      while (commitNext(session, model)) channel.send(model.n());
      return 2;
    });
    std::uint64_t last = 0;
    ASSERT_TRUE(writer.channel().receive(&last));
    ::usleep(static_cast<useconds_t>(random() % 15000));
    EXPECT_EQ(writer.kill(), -1) << "the writer gave up";
    while (writer.channel().receive(&last)) {
    }
    model.advanceTo(last);
    EXPECT_EQ(verifyFile(path, model, true, round % 4 == 0), "");
  }
  EXPECT_GT(model.n(), 60U);
}

// The writer lives in another process and does the next step whenever it is told to.
TEST(StoreSharing, AReaderKeepsItsSnapshotAndThenSeesTheChange) {
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  Process writer([&path](const Process::Channel& channel) {
    psSession session;
    bool good = session.open(path, unsynced()) == 1 && session.begin(pscUpdate) == 1;
    const pstHandle<psDBObj> database = session.database("shared");
    const pstHandle<psContObj> stays = session.container(database, "stays");
    pstHandle<psContObj> goes = session.container(database, "goes");
    const pstHandle<Blob> blob(new (stays) Blob(1, pattern(1, 50000)));
    for (std::uint64_t n = 0; n < 100; ++n) good = good && new (stays) Brick(n) != nullptr;
    good = good && new (goes) Flat(1) != nullptr&& session.commit() == 1;
    channel.send();

    good = good && channel.receive() && session.begin(pscUpdate) == 1 && blob.update() == 1 && psDelete(goes) == 1;
    if (good) {
      blob->number = 2;
      // In the middle of its second chunk.
      good = blob->bytes.iset(40000, 'x') == 1;
    }
    const pstHandle<psContObj> comes = session.container(database, "comes");
    good = good && new (comes) Flat(2) != nullptr&& session.commit() == 1;
    channel.send();
    return good && channel.receive() ? 0 : 1;
  });
  ASSERT_TRUE(writer.channel().receive());

  psSession session;
  ASSERT_EQ(session.open(path, unsynced()), 1) << session.lastError();
  ASSERT_EQ(session.begin(pscRead), 1);
  const pstHandle<psDBObj> database = session.database("shared");
  const pstHandle<psContObj> stays = session.container(database, "stays");
  const pstHandle<psContObj> goes = session.container(database, "goes");
  const pstHandle<Blob> blob(scanned<Blob>(stays).front());
  const std::vector<psId> bricks = scanned<Brick>(stays);
  ASSERT_EQ(blob.open(pscRead), 1);
  const pstHandle<Brick> brick(bricks[10]);
  ASSERT_EQ(brick.open(pscRead), 1);
  const Brick* const unchanged = &*brick;
  unsigned char changed = 9;
  EXPECT_EQ(goes.refreshOpen(pscRead, &changed, 0), 1);
  EXPECT_EQ(changed, 0);

  writer.channel().send();
  ASSERT_TRUE(writer.channel().receive());
  // The snapshot: what is in memory, and what is read only now.
  EXPECT_EQ(blob->number, 1);
  EXPECT_EQ(contentOf(blob).bytes, pattern(1, 50000));
  EXPECT_TRUE(goes.isValid());
  EXPECT_EQ(contentOf(scanned<psObj>(goes).at(0)).number, 1);
  EXPECT_TRUE(session.container(database, "comes").isNull());
  for (std::size_t n = 0; n < bricks.size(); ++n) EXPECT_TRUE(pstHandle<Brick>(bricks[n])->is(n));
  ASSERT_EQ(session.commit(), 1);

  ASSERT_EQ(session.begin(pscRead), 1);
  const std::uint64_t reads = session.counters().pageReads;
  EXPECT_EQ(blob->number, 2);
  std::string bytes = pattern(1, 50000);
  bytes[40000] = 'x';
  EXPECT_EQ(contentOf(blob).bytes, bytes);
  EXPECT_FALSE(goes.isValid());
  EXPECT_EQ(goes.open(pscRead), 0);
  EXPECT_EQ(goes.refreshOpen(pscRead, nullptr, 0), 0);
  EXPECT_TRUE(session.container(database, "goes").isNull());
  const pstHandle<psContObj> comes = session.container(database, "comes");
  EXPECT_EQ(contentOf(scanned<Flat>(comes).at(0)).number, 2);
  for (std::size_t n = 0; n < bricks.size(); ++n) EXPECT_TRUE(pstHandle<Brick>(bricks[n])->is(n));
  EXPECT_EQ(&*brick, unchanged);
  EXPECT_LE(session.counters().pageReads, reads + 4) << "what did not change stays in memory";
  EXPECT_EQ(stays.refreshOpen(pscRead, &changed, 0), 1);
  ASSERT_EQ(session.commit(), 1);
  writer.channel().send();
  EXPECT_EQ(writer.wait(), 0);
}

}  // namespace
}  // namespace ps::test
