// Nothing is left in memory: commits, aborts, failures, sessions that are opened and closed, stores that come and go.
// The same stretch of work is done again and again, and what the process has in use afterwards must not grow.

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include "StoreModel.h"
#include "Trial.h"
#include "store/base/psError.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

// What the heap keeps for each size of blocks counts as in use.
constexpr std::size_t heapTolerance = std::size_t{128} << 10;
constexpr std::size_t anonymousTolerance = std::size_t{4} << 20;

struct Memory {
  std::size_t heap = 0;
  std::size_t anonymous = 0;
};

Memory memoryNow() {
  Memory now;
  now.heap = ::mallinfo2().uordblks;
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word && word != "RssAnon:") {
  }
  status >> now.anonymous;
  now.anonymous <<= 10;
  return now;
}

// Takes one step of random work on a session, which it may open anew.
std::string step(Trial& trial, const std::string& path, std::unique_ptr<psSession>& session, StoreModel& model) {
  const std::uint64_t kind = trial.random(16);
  if (session == nullptr || kind == 0) {
    session = std::make_unique<psSession>();
    return session->open(path, unsynced(std::size_t{4} << 20)) == 1 ? "" : session->lastError();
  }
  if (kind < 4) {
    StoreModel vain = model;
    if (session->begin(pscUpdate) != 1 || !vain.advance(*session)) return session->lastError();
    return session->abort() == 1 ? "" : session->lastError();
  }
  if (kind < 6) {  // a change that the session's guard stops half way
    std::uint64_t opens = trial.random(200);
    session->openGuard([&opens](const psId&, psMode) { return opens > 0 && opens-- > 0; });
    session->throwErrors(true);
    StoreModel vain = model;
    try {
      if (session->begin(pscUpdate) == 1) static_cast<void>(vain.advance(*session));
    } catch (const psException&) {
    }
    session->throwErrors(false);
    session->openGuard(nullptr);
    return session->abort() == 1 ? "" : session->lastError();
  }
  if (kind < 9) return verifyEither(*session, model, false, kind == 8);
  if (kind == 9) {
    psSession other;
    return other.open(path, unsynced()) == 1 ? verifyEither(other, model, false, false) : other.lastError();
  }
  return commitNext(*session, model) ? "" : session->lastError();
}

int run(Trial& trial) {
  Memory first;
  for (std::uint64_t stretch = 0; trial.goesOn() || stretch < 4; ++stretch) {
    {
      const ScratchFolder folder;
      StoreModel model(trial.seed() + stretch % 2);
      std::unique_ptr<psSession> session;
      for (int i = 0; i < 600; ++i) trial.check(model.n(), step(trial, folder / "store.ps", session, model));
      trial.count("steps") += 600;
    }
    const Memory now = memoryNow();
    if (stretch < 3) {  // what is set up once, and what the heap keeps
      first = {std::max(first.heap, now.heap), std::max(first.anonymous, now.anonymous)};
      continue;
    }
    trial.count("bytes of heap") = now.heap;
    trial.count("anonymous KiB") = now.anonymous >> 10;
    const bool isBounded =
        now.heap <= first.heap + heapTolerance && now.anonymous <= first.anonymous + anonymousTolerance;
    if (!isBounded)
      trial.check(stretch, "memory grows from " + std::to_string(first.heap) + " bytes of heap and " +
                               std::to_string(first.anonymous) + " in all to " + std::to_string(now.heap) + " and " +
                               std::to_string(now.anonymous));
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("memory", argc, argv);
  return ps::test::run(trial);
}
