// Writers commit to a store on a server while a server is killed and started again, writers are killed, connections are
// cut, or a synchronous standby takes over from a server that is killed. Then the store holds what the writers were
// told: nothing that was acknowledged is lost, nothing that was refused is there, and nothing is there by half.

#include <unistd.h>

#include <functional>
#include <iostream>
#include <string>

#include "Trial.h"
#include "network/Failover.h"
#include "network/Writers.h"
#include "support/Proxy.h"
#include "support/Server.h"

namespace ps::test {
namespace {

constexpr std::size_t writerCount = 3;

// Some rounds with one store.
class Rounds {
 public:
  explicit Rounds(Trial& trial) : trial_(trial) {}
  ~Rounds() {
    trial_.count("acknowledged") += writers_.acknowledged();
    trial_.count("refused") += writers_.refused();
    trial_.count("undecided") += writers_.undecided();
  }

  void killServers() {
    Server server;
    onOne(server.address(), [&] {
      server.kill();
      ++trial_.count("servers killed");
      sleepUpTo(300);
      server.restart();
    });
  }

  void killWriters() {
    const Server server;
    const std::string path = server.address() + store;
    onOne(server.address(), [&] {
      for (std::uint64_t i = trial_.random(4); i < 4; ++i) {
        const std::size_t victim = trial_.random(writerCount);
        writers_.kill(victim);
        ++trial_.count("writers killed");
        writers_.start(victim, path);
        sleepUpTo(60);
      }
    });
  }

  void cutConnections() {
    const Server server;
    Proxy proxy(server.socketFolder());
    onOne(proxy.address(), [&] {
      std::deque<Proxy::Cut> cuts;
      while (cuts.size() < 20) {
        const auto from = trial_.random(2) == 0 ? Proxy::From::client : Proxy::From::server;
        cuts.push_back({from, 1 + trial_.random(trial_.random(2) == 0 ? 200 : 2000)});
      }
      proxy.cut(cuts);
      while (proxy.cutsLeft() > 0) ::usleep(1000);
      trial_.count("cuts") += cuts.size();
    });
  }

  void failOver() {
    Failover pair;
    check(Writers::prepare(pair.address() + store));
    for (int round = 0; round < rounds && trial_.goesOn(); ++round) {
      startAll(pair.address() + store);
      sleepUpTo(500);
      pair.killPrimary();
      ++trial_.count("standbys promoted");
      endRound(pair.address() + store);
      pair.attach();
    }
  }

 private:
  static constexpr int rounds = 5;
  static constexpr const char* store = "#writers";

  void onOne(const std::string& server, const std::function<void()>& disturb) {
    check(Writers::prepare(server + store));
    for (int round = 0; round < rounds && trial_.goesOn(); ++round) {
      startAll(server + store);
      sleepUpTo(500);
      disturb();
      endRound(server + store);
    }
  }

  void startAll(const std::string& path) {
    for (std::size_t writer = 0; writer < writerCount; ++writer) writers_.start(writer, path);
    await();
  }
  // The writers are at work again. Every other time they stay so while the store is checked.
  void endRound(const std::string& path) {
    await();
    if (trial_.random(2) == 0) check(writers_.check(path, false));
    writers_.stop();
    check(writers_.check(path, true));
    ++trial_.count("rounds");
  }

  void await() { check(writers_.waitForCommits() ? "" : "a writer comes to no commit"); }
  void check(const std::string& complaint) { trial_.check(writers_.acknowledged(), complaint); }
  void sleepUpTo(std::uint64_t milliseconds) { ::usleep(static_cast<useconds_t>(trial_.random(milliseconds * 1000))); }

  Trial& trial_;
  Writers writers_;
};

int run(Trial& trial) {
  constexpr void (Rounds::*kinds[])() = {&Rounds::killServers, &Rounds::failOver, &Rounds::killWriters,
                                         &Rounds::cutConnections};
  for (std::uint64_t i = trial.random(4); trial.goesOn(); ++i) {
    Rounds some(trial);
    (some.*kinds[i % 4])();
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("network", argc, argv);
  return ps::test::run(trial);
}
