// Writers and readers in several processes: a serial order explains all that they have seen. And the checker finds what
// has none.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/AnyServer.h"
#include "support/HistoryWorld.h"
#include "support/Process.h"
#include "support/ScratchFolder.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

constexpr std::uint32_t x = 1;
constexpr std::uint32_t y = 2;

HistoryEvent read(std::uint32_t datum, std::uint64_t version) { return {datum, 0, version, 0}; }
HistoryEvent write(std::uint32_t datum, std::uint64_t seen, std::uint64_t made) { return {datum, 1, seen, made}; }
HistoryTransaction during(std::uint64_t from, std::uint64_t to, std::uint64_t number, std::vector<HistoryEvent> events,
                          bool isCommitted = true) {
  return {number, from, from + 1, to - 1, to, isCommitted, std::move(events)};
}
// The first anomaly, "" when there is none.
std::string anomalyOf(const std::vector<HistoryTransaction>& history) {
  const HistoryVerdict verdict = checkHistory(history);
  return verdict.anomalies.empty() ? "" : verdict.anomalies.front();
}

TEST(HistoryChecker, NamesTheAnomaly) {
  const HistoryTransaction first = during(0, 5, 1, {write(x, 0, 1), write(y, 0, 1)});
  const struct {
    const char* name;
    std::vector<HistoryTransaction> others;
    const char* anomaly;
  } cases[] = {
      {"one after the other", {during(10, 20, 2, {write(x, 1, 2)}), during(30, 40, 3, {read(x, 2), read(y, 1)})}, ""},
      {"a reader beside a writer", {during(10, 20, 2, {write(x, 1, 2)}), during(12, 25, 3, {read(x, 1)})}, ""},
      {"lost update", {during(10, 20, 2, {write(x, 1, 2)}), during(10, 20, 3, {write(x, 1, 3)})}, "lost update"},
      {"write skew",
       {during(10, 20, 2, {read(x, 1), write(y, 1, 2)}), during(10, 20, 3, {read(y, 1), write(x, 1, 3)})},
       "a cycle"},
      {"phantoms",
       {during(10, 20, 2, {read(7, 0), write(8, 0, 2)}), during(10, 20, 3, {read(8, 0), write(7, 0, 3)})},
       "a cycle"},
      {"a mixture",
       {during(10, 20, 2, {write(x, 1, 2), write(y, 1, 2)}), during(10, 20, 3, {read(x, 1), read(y, 2)})},
       "a cycle"},
      {"two readers, two orders",
       {during(10, 30, 2, {write(x, 1, 2)}), during(10, 30, 3, {write(y, 1, 3)}),
        during(10, 30, 4, {read(x, 2), read(y, 1)}), during(10, 30, 5, {read(x, 1), read(y, 3)})},
       "a cycle"},
      {"later than what ended", {during(10, 20, 2, {write(x, 1, 2)}), during(30, 40, 3, {read(x, 1)})}, "a cycle"},
      {"what was aborted", {during(10, 20, 2, {write(x, 1, 2)}, false), during(30, 40, 3, {read(x, 2)})}, "aborted"},
      {"what nobody wrote", {during(10, 20, 2, {read(x, 9)})}, "nobody made"},
      {"added twice", {during(10, 20, 2, {write(7, 0, 2)}), during(12, 22, 3, {write(7, 0, 3)})}, "both added"},
      {"removed, and added again",
       {during(10, 20, 2, {write(x, 1, 0)}), during(22, 28, 3, {read(x, 0)}), during(30, 40, 4, {write(x, 0, 4)}),
        during(50, 60, 5, {read(x, 4)})},
       ""},
      {"removed in time",
       {during(10, 60, 2, {read(7, 0), write(x, 1, 2)}), during(20, 30, 3, {read(x, 1), write(7, 0, 3)}),
        during(32, 40, 4, {write(7, 3, 0)})},
       ""},
      {"removed too late",
       {during(10, 40, 2, {read(7, 0), write(x, 1, 2)}), during(20, 30, 3, {read(x, 1), write(7, 0, 3)}),
        during(50, 60, 4, {write(7, 3, 0)})},
       "a cycle"},
      {"not seen", {during(10, 20, 2, {write(7, 0, 2)}), during(30, 40, 3, {read(7, 0)})}, "a cycle"},
  };
  for (const auto& each : cases) {
    std::vector<HistoryTransaction> history = each.others;
    history.push_back(first);
    const std::string anomaly = anomalyOf(history);
    EXPECT_TRUE(*each.anomaly == '\0' ? anomaly.empty() : anomaly.find(each.anomaly) != std::string::npos)
        << each.name << ": " << anomaly;
  }
}

// Transactions in one order, and what they read is known. With any other version in one place there is no order.
TEST(HistoryChecker, FindsAnyWrongVersion) {
  std::mt19937_64 random(seedOr(1));
  for (int round = 0; round < 200; ++round) {
    constexpr std::uint32_t data = 5;
    std::uint64_t versions[data] = {};
    std::vector<HistoryTransaction> history;
    std::vector<std::pair<std::size_t, std::size_t>> readings;
    for (std::uint64_t number = 1; number <= 60; ++number) {
      std::vector<HistoryEvent> events;
      for (std::uint32_t datum = random() % 2; datum < data; datum += 1 + random() % 3) {
        const bool isRead = random() % 2 == 0;
        const std::uint64_t made = versions[datum] != 0 && random() % 3 == 0 ? 0 : number;
        events.push_back(isRead ? read(datum, versions[datum]) : write(datum, versions[datum], made));
        if (isRead) readings.emplace_back(history.size(), events.size() - 1);
        if (!isRead) versions[datum] = made;
      }
      history.push_back(during(10 * number, 10 * number + 9, number, events));
    }
    ASSERT_EQ(anomalyOf(history), "");
    const auto [transaction, event] = readings[random() % readings.size()];
    HistoryEvent& wrong = history[transaction].events[event];
    wrong.seen = wrong.seen != 0 && random() % 2 == 0 ? 0 : wrong.seen + 1 + random() % 20;
    EXPECT_NE(anomalyOf(history), "") << "round " << round << ", transaction " << transaction + 1;
  }
}

class History : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const AnyServer server; }
};

TEST_F(History, HasASerialOrder) {
  const ScratchFolder folder;
  const std::uint64_t commits = 2000;
  const HistoryVerdict verdict = runHistory(folder.store("history"), commits, 60, seedOr(1));
  for (const std::string& anomaly : verdict.anomalies) ADD_FAILURE() << anomaly;
  EXPECT_GE(verdict.commits, commits / 2);  // some have written nothing
  EXPECT_GT(verdict.reads, 0U);
  EXPECT_LT(verdict.undecided, verdict.reads);
}

// With a plug-in that compares at a commit only what is replaced.
TEST_F(History, HasNoneWithoutValidation) {
  const ScratchFolder folder;
  const std::string anomalies = inProcess([&folder] {
    ::setenv("PSCOLLECTIONS_PLUGINS", PS_UNVALIDATED, 1);
    std::string text;
    for (const std::string& anomaly : runHistory(folder.store("history"), 1000, 60, seedOr(1)).anomalies)
      text += anomaly + '\n';
    return text;
  });
  EXPECT_NE(anomalies, "") << anomalies;
}

}  // namespace
}  // namespace ps::test
