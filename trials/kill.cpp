// A process that commits is killed at a random moment. Then the store is after its last transaction that was
// acknowledged, or after the next one. Every other time a third process has the store open meanwhile and looks first.

#include <unistd.h>

#include <iostream>
#include <memory>

#include "StoreModel.h"
#include "Trial.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

// The transactions from n + 1 on, each reported when it is committed.
int write(const Process::Channel& channel, const std::string& path, StoreModel model, std::uint64_t variant) {
  psSession session;
  psSessionOptions options = unsynced(std::size_t{4} << 20);
  options.sync = variant % 2 == 0;
  if (session.open(path, options) != 1) return 1;
  for (std::uint64_t i = variant;; ++i) {
    if (i % 8 == 0) {  // one that is given up
      StoreModel vain = model;
      if (session.begin(pscUpdate) != 1 || !vain.advance(session) || session.abort() != 1) return 2;
    }
    if (!commitNext(session, model)) return 3;
    channel.send(model.n());
  }
}

// Has the store open; whenever it is asked, it tells whether the store is after transaction n or n + 1.
int watch(const Process::Channel& channel, const std::string& path, StoreModel model) {
  psSession session;
  if (session.open(path, unsynced()) != 1) return 1;
  channel.send();
  std::uint64_t n = 0;
  while (channel.receive(&n)) {
    model.advanceTo(n);
    const std::string complaint = verifyEither(session, model, true, false);
    if (!complaint.empty()) std::cerr << "beside the killed process: " << complaint << '\n';
    // The dead process's lock must not keep others out.
    const bool isFree = session.begin(pscUpdate) == 1 && session.abort() == 1;
    channel.send(complaint.empty() && isFree ? 1 : 0);
  }
  return 0;
}

int run(Trial& trial) {
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  StoreModel model(trial.seed());
  while (trial.goesOn()) {
    const bool isWatched = trial.random(2) == 0;
    std::unique_ptr<Process> watcher;
    if (isWatched) {
      watcher = std::make_unique<Process>([&](const auto& channel) { return watch(channel, path, model); });
      if (!watcher->channel().receive()) trial.check(model.n(), "the watcher cannot open the store");
    }
    const std::uint64_t variant = trial.random(64);
    std::uint64_t n = model.n();
    {
      Process writer([&](const auto& channel) { return write(channel, path, model, variant); });
      // On a busy machine few writers would come to commit otherwise.
      if (trial.random(2) == 0) writer.channel().receive(&n);
      ::usleep(static_cast<useconds_t>(trial.random(trial.random(4) == 0 ? 3000 : 20000)));
      if (writer.kill() != -1) trial.check(n, "the writer gave up");
      while (writer.channel().receive(&n)) ++trial.count("commits");
    }
    ++trial.count("kills");
    model.advanceTo(n);
    if (isWatched) {
      std::uint64_t isRight = 0;
      watcher->channel().send(n);
      if (!watcher->channel().receive(&isRight) || isRight != 1) trial.check(n, "the watcher complains");
      watcher.reset();
    }
    trial.check(n, verifyFile(path, model, true, trial.random(8) == 0));
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("kill", argc, argv);
  return ps::test::run(trial);
}
