#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>
#include <random>

#include "network/Failover.h"
#include "network/Writers.h"
#include "support/Server.h"

namespace ps::test {
namespace {

constexpr std::size_t writerCount = 3;

// Commits that were acknowledged are there, whole, and those that were refused are not, whoever was killed. trials/ has
// the same for hours.
class KillTest : public ::testing::Test {
 protected:
  KillTest() { std::cout << "seed " << seed_ << std::endl; }

  void startAll(const std::string& path) {
    for (std::size_t writer = 0; writer < writerCount; ++writer) writers_.start(writer, path);
  }
  void sleepAWhile() { ::usleep(static_cast<useconds_t>(50000 + random_() % 200000)); }
  void expectWhole(const std::string& path) {
    EXPECT_TRUE(writers_.waitForCommits());
    writers_.stop();
    EXPECT_EQ(writers_.check(path, true), "");
    std::cout << writers_.acknowledged() << " acknowledged, " << writers_.refused() << " refused, "
              << writers_.undecided() << " undecided" << std::endl;
  }

  const std::uint64_t seed_ = seedOr(std::random_device()() % 1000000);
  std::mt19937_64 random_{seed_};
  Writers writers_;
};

TEST_F(KillTest, AServerIsKilledDuringCommits) {
  Server server;
  const std::string path = server.address() + "#killed";
  ASSERT_EQ(Writers::prepare(path), "");
  startAll(path);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(writers_.waitForCommits());
    sleepAWhile();
    server.kill();
    server.restart();
  }
  expectWhole(path);
  EXPECT_EQ(writers_.undecided(), 0U);
}

TEST_F(KillTest, AClientIsKilledDuringCommits) {
  Server server;
  const std::string path = server.address() + "#killed";
  ASSERT_EQ(Writers::prepare(path), "");
  startAll(path);
  EXPECT_TRUE(writers_.waitForCommits());
  for (int round = 0; round < 10; ++round) {
    const std::size_t victim = random_() % writerCount;
    ::usleep(static_cast<useconds_t>(random_() % 60000));
    writers_.kill(victim);
    writers_.start(victim, path);
  }
  expectWhole(path);
}

TEST_F(KillTest, ASynchronousStandbyTakesOver) {
  Failover pair;
  const std::string path = pair.address() + "#killed";
  ASSERT_EQ(Writers::prepare(path), "");
  startAll(path);
  EXPECT_TRUE(writers_.waitForCommits());
  sleepAWhile();
  pair.killPrimary();
  expectWhole(path);
  EXPECT_EQ(writers_.undecided(), 0U);
}

}  // namespace
}  // namespace ps::test
