// Connections that are cut, at messages some steps apart from a random one on. The environment variable
// PSCOLLECTIONS_CUTS divides the steps: 9 cuts updates, commits and openings at every message.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "StoreModel.h"
#include "support/Proxy.h"
#include "support/Server.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

using From = Proxy::From;

// A store behind a proxy that cuts the connection while a session works. Whatever is cut off fails with a kind that
// says so; no answer is wrong; and after an abort the session goes on.
class CutTest : public ::testing::Test {
 protected:
  using Cuts = std::deque<Proxy::Cut>;

  CutTest() { std::cout << "seed " << seed_ << std::endl; }

  std::string path(const std::string& name) const { return proxy_.address() + "#" + name; }
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

  // An update transaction, with cuts from its beginning on or from its commit on.
  void update(psSession& session, const Cuts& atBegin, const Cuts& atCommit) {
    proxy_.cut(atBegin);
    if (session.begin(pscUpdate) != 1) return expectLost(session, "begin");
    StoreModel next = model_;
    if (!next.advance(session)) {  // then the transaction is void
      EXPECT_EQ(session.commit(), 0);
      return expectLost(session, "a change");
    }
    if (!atCommit.empty()) proxy_.cut(atCommit);
    if (session.commit() == 1)
      model_ = std::move(next);
    else
      expectLost(session, "commit");
    EXPECT_FALSE(session.inTransaction());
  }

  // A read transaction, which reports what it cannot read.
  void read(psSession& session, const Cuts& cuts) {
    proxy_.cut(cuts);
    if (session.begin(pscRead) != 1) return expectLost(session, "begin");
    const std::uint64_t refusals = session.counters().refusals;
    const std::string complaint = model_.verify(session, false);
    // What hangs on something that was refused is not refused once more.
    const bool isReported = complaint.empty() || session.counters().refusals != refusals;
    EXPECT_TRUE(isReported) << complaint;
    if (!complaint.empty()) expectLost(session, "a read");
    EXPECT_EQ(session.commit(), 1);
  }

  // The session goes on, and the store is what the model says.
  void expectWhole(psSession& session) {
    proxy_.cut({});
    if (below(10) == 0) {
      EXPECT_EQ(verifyEither(session, model_, false, false), "");
    }
    EXPECT_TRUE(commitNext(session, model_)) << session.lastError();
  }

  static std::uint64_t stepOr(std::uint64_t usual) {
    const char* const divisor = std::getenv("PSCOLLECTIONS_CUTS");
    return divisor == nullptr ? usual : std::max<std::uint64_t>(1, usual / std::strtoull(divisor, nullptr, 10));
  }

  // Calls cut with one number after the other, until nothing is left to be cut.
  template <class Cut>
  void sweep(psSession& session, std::uint64_t usual, const Cut& cut) {
    const std::uint64_t step = stepOr(usual);
    constexpr int mostMisses = 3;  // a transaction may be shorter than the one before it
    for (std::uint64_t k = 1 + below(step), misses = 0; misses < mostMisses && !HasFailure(); k += step) {
      cut(k);
      misses = proxy_.cutsLeft() == 0 ? 0 : misses + 1;
      expectWhole(session);
    }
  }

  // The store as another session sees it, which has read nothing before.
  void expectWholeAfterwards(const std::string& name) {
    proxy_.cut({});
    EXPECT_EQ(verifyFile(path(name), model_, false, true), "");
    for (const auto& [what, count] : refused_) std::cout << count << " times refused: " << what << std::endl;
  }

  void expectLost(const psSession& session, const std::string& what) {
    ++refused_[what];
    const psErrorKind kind = session.lastErrorKind();
    EXPECT_TRUE(kind == psErrorKind::unreachable || kind == psErrorKind::conflict)
        << what << ": " << session.lastError() << ' ' << static_cast<int>(kind);
  }

  const std::uint64_t seed_ = seedOr(std::random_device()() % 1000000);
  std::mt19937_64 random_{seed_};
  Server server_;
  Proxy proxy_{server_.socketFolder()};
  StoreModel model_{seed_};
  std::map<std::string, int> refused_;
};

TEST_F(CutTest, MessagesOfReadsAndChanges) {
  psSession session;
  ASSERT_EQ(session.open(path("work")), 1) << session.lastError();
  ASSERT_TRUE(commitNext(session, model_)) << session.lastError();
  for (const From from : {From::client, From::server}) {
    sweep(session, 9, [&](std::uint64_t k) { update(session, {{from, k}}, {}); });
    sweep(session, 499, [&](std::uint64_t k) {
      psSession fresh;
      ASSERT_EQ(fresh.open(path("work")), 1) << fresh.lastError();
      read(fresh, {{from, k}});
    });
  }
  EXPECT_GT(refused_["a change"], 0);
  EXPECT_GT(refused_["a read"], 0);
  expectWholeAfterwards("work");
}

// Also those by which the session finds out, on a new connection, what has become of its commit.
TEST_F(CutTest, MessagesOfCommits) {
  psSession session;
  ASSERT_EQ(session.open(path("commit")), 1) << session.lastError();
  ASSERT_TRUE(commitNext(session, model_)) << session.lastError();
  for (const From from : {From::client, From::server}) {
    sweep(session, 2, [&](std::uint64_t k) { update(session, {}, {{from, k}}); });
    // Nothing of the commit is sent, or it is carried out and its answer lost.
    for (const From first : {From::client, From::server})
      sweep(session, 9, [&](std::uint64_t k) { update(session, {}, {{first, 1}, {from, k}}); });
  }
  EXPECT_GT(refused_["commit"], 0);
  expectWholeAfterwards("commit");
}

// Nothing that cannot be read is taken for damage, and there is no copy unless it is whole.
TEST_F(CutTest, MessagesOfVerificationsAndBackups) {
  const ScratchFolder folder;
  psSession session;
  ASSERT_EQ(session.open(path("whole")), 1) << session.lastError();
  ASSERT_TRUE(commitNext(session, model_)) << session.lastError();
  for (const From from : {From::client, From::server}) {
    sweep(session, 151, [&](std::uint64_t k) {
      proxy_.cut({{from, k}});
      psVerifyReport report;
      if (session.verify(report) != 1) expectLost(session, "verify");
      for (const psFinding& fault : report.faults) ADD_FAILURE() << fault.text;
    });
    sweep(session, 53, [&](std::uint64_t k) {
      const std::string copy = folder / (std::to_string(static_cast<int>(from)) + '-' + std::to_string(k));
      proxy_.cut({{from, k}});
      const bool isDone = session.backup(copy) == 1;
      if (!isDone) expectLost(session, "backup");
      EXPECT_EQ(::access(copy.c_str(), F_OK) == 0, isDone);
      if (isDone) {
        EXPECT_EQ(verifyFile(copy, model_, false, false), "");
      }
    });
  }
  EXPECT_GT(refused_["verify"], 0);
  EXPECT_GT(refused_["backup"], 0);
  expectWholeAfterwards("whole");
}

// The first session of a store makes it.
TEST_F(CutTest, MessagesOfOpening) {
  for (const From from : {From::client, From::server}) {
    const std::uint64_t step = stepOr(5);
    bool isCut = true;
    for (std::uint64_t k = 1 + below(step); isCut && !HasFailure(); k += step) {
      const std::string store = path("new " + std::to_string(k) + (from == From::client ? "c" : "s"));
      psSession session;
      proxy_.cut({{from, k}});
      if (session.open(store) != 1) {
        expectLost(session, "open");
        ASSERT_EQ(session.open(store), 1) << session.lastError();
      }
      isCut = proxy_.cutsLeft() == 0;
      proxy_.cut({});
      ASSERT_EQ(session.begin(pscUpdate), 1) << session.lastError();
      EXPECT_FALSE(session.database("new").isNull());
      EXPECT_EQ(session.commit(), 1) << session.lastError();
    }
  }
  EXPECT_GT(refused_["open"], 0);
}

// What others did while a session was cut off is there when it comes back: nothing that it has in memory counts.
TEST_F(CutTest, ASessionComesBackToWhatIsThere) {
  psSession session;
  ASSERT_EQ(session.open(path("back")), 1) << session.lastError();
  for (int round = 0; round < 10 && !HasFailure(); ++round) {
    ASSERT_TRUE(commitNext(session, model_)) << session.lastError();
    EXPECT_EQ(verifyEither(session, model_, false, false), "");
    std::thread([&] {
      psSession other;
      ASSERT_EQ(other.open(server_.address() + "#back"), 1) << other.lastError();
      ASSERT_TRUE(commitNext(other, model_)) << other.lastError();
    }).join();
    if (round % 2 == 0)
      server_.sql(
          "select pg_terminate_backend(pid) from pg_stat_activity where pid <> pg_backend_pid()"
          " and application_name like 'pscollections%'");
    else
      proxy_.cut({{From::client, 1}});
    EXPECT_EQ(verifyEither(session, model_, false, false), "");
  }
}

}  // namespace
}  // namespace ps::test
