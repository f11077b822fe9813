// Readers and writers in several processes, each with several threads, of which any is killed at any moment. Every
// reader's snapshot is what the model says, also after a while, and no older than what was acknowledged before it
// began.
//
// Under a sanitizer all threads are in one process, and nobody is killed.

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

#include "StoreModel.h"
#include "Trial.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

// In memory that all processes share.
struct Shared {
  std::atomic<std::uint64_t> acknowledged{0};
  std::atomic<std::uint64_t> commits{0};
  std::atomic<std::uint64_t> snapshots{0};
  std::atomic<bool> isOver{false};
};

// A thread that reads or writes, in one session after the other.
class Worker {
 public:
  Worker(std::string path, Shared& shared, StoreModel model, std::uint64_t seed)
      : path_(std::move(path)), shared_(shared), model_(std::move(model)), random_(seed), isWriter_(below(3) == 0) {}

  // The complaint, "" when there is none.
  std::string run() {
    std::string complaint;
    while (!shared_.isOver && complaint.empty()) {
      psSession session;
      psSessionOptions options = unsynced(std::size_t{4} << 20);
      if (below(2) == 0) options.busyTimeout = static_cast<int>(below(20));
      if (session.open(path_, options) != 1) {  // a new store is begun by an update
        if (session.lastErrorKind() == psErrorKind::busy) continue;
        return "open: " + session.lastError();
      }
      for (std::uint64_t i = below(30); i > 0 && !shared_.isOver && complaint.empty(); --i)
        complaint = isWriter_ ? write(session) : read(session);
    }
    return complaint;
  }

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

  // Brings the model to what the session's transaction sees, which is no older than what was acknowledged before.
  std::string follow(psSession& session, std::uint64_t acknowledged) {
    const std::int64_t found = StoreModel::numberIn(session);
    if (found < static_cast<std::int64_t>(std::max(acknowledged, model_.n())))
      return "after transaction " + std::to_string(acknowledged) + " a session sees " + std::to_string(found);
    model_.advanceTo(static_cast<std::uint64_t>(found));
    return "";
  }

  std::string write(psSession& session) {
    if (session.begin(pscUpdate) != 1)
      return session.lastErrorKind() == psErrorKind::busy ? "" : "begin: " + session.lastError();
    std::string complaint = follow(session, shared_.acknowledged);
    if (!complaint.empty()) return complaint;
    StoreModel next = model_;
    if (!next.advance(session)) return "a change: " + session.lastError();
    if (below(10) == 0) return session.abort() == 1 ? "" : "abort: " + session.lastError();
    if (session.commit() != 1) return "commit: " + session.lastError();
    model_ = std::move(next);
    ++shared_.commits;
    std::uint64_t last = shared_.acknowledged;
    while (last < model_.n() && !shared_.acknowledged.compare_exchange_weak(last, model_.n())) {
    }
    return "";
  }

  std::string read(psSession& session) {
    const std::uint64_t acknowledged = shared_.acknowledged;
    if (session.begin(pscRead) != 1) return "begin: " + session.lastError();
    std::string complaint = follow(session, acknowledged);
    for (std::uint64_t looks = below(10) == 0 ? 8 : 1; looks > 0 && complaint.empty(); --looks) {
      complaint = model_.verify(session, below(8) == 0);
      ++shared_.snapshots;
      if (looks > 1) ::usleep(static_cast<useconds_t>(below(60000)));
    }
    if (!complaint.empty()) return "transaction " + std::to_string(model_.n()) + ": " + complaint + session.lastError();
    return session.commit() == 1 ? "" : "the end of a reader: " + session.lastError();
  }

  std::string path_;
  Shared& shared_;
  StoreModel model_;
  std::mt19937_64 random_;
  bool isWriter_;
};

// Threads that go on until all is over; 0, or 1 when one complains.
int work(const std::string& path, Shared& shared, const StoreModel& model, std::uint64_t seed, std::size_t threads) {
  std::atomic<int> status{0};
  std::vector<std::thread> running(threads);
  for (std::thread& thread : running) {
    thread = std::thread([&, own = ++seed] {
      const std::string complaint = Worker(path, shared, model, own).run();
      if (complaint.empty()) return;
      std::cerr << complaint << '\n';
      status = 1;
      shared.isOver = true;
    });
  }
  for (std::thread& thread : running) thread.join();
  return status;
}

[[maybe_unused]] void runProcesses(Trial& trial, const std::string& path, Shared& shared, StoreModel& model) {
  std::vector<std::unique_ptr<Process>> processes(5);
  while (trial.goesOn() && !shared.isOver) {
    std::unique_ptr<Process>& process = processes[trial.random(processes.size())];
    if (process != nullptr) {
      if (process->kill() != -1) trial.check(model.n(), "a process gave up");
      ++trial.count("kills");
    }
    model.advanceTo(shared.acknowledged);
    const std::uint64_t seed = trial.random(1U << 30);
    process = std::make_unique<Process>([&](const auto&) { return work(path, shared, model, seed, 2); });
    ::usleep(static_cast<useconds_t>(trial.random(50000)));
  }
  shared.isOver = true;
  for (const auto& process : processes) {
    if (process != nullptr && process->wait() != 0) trial.check(model.n(), "a process does not end well");
  }
}

void runThreads(Trial& trial, const std::string& path, Shared& shared, const StoreModel& model) {
  std::thread clock([&] {
    while (trial.goesOn() && !shared.isOver) ::usleep(10000);
    shared.isOver = true;
  });
  if (work(path, shared, model, trial.seed(), 6) != 0) trial.check(model.n(), "a thread gave up");
  clock.join();
}

int run(Trial& trial) {
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Shared& shared = *new (memory) Shared;
  StoreModel model(trial.seed());
#ifdef PS_TEST_SANITIZED
  runThreads(trial, path, shared, model);
#else
  trial.random(16) == 0 ? runThreads(trial, path, shared, model) : runProcesses(trial, path, shared, model);
#endif
  trial.count("commits") = shared.commits;
  trial.count("snapshots") = shared.snapshots;
  model.advanceTo(shared.acknowledged);
  // A writer may have been killed between its commit and the acknowledgement.
  trial.check(model.n(), verifyFile(path, model, true, true));
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("traffic", argc, argv);
  return ps::test::run(trial);
}
