// Every call fails once: of the writes, syncs, truncations, allocations and maps that a script makes, the k-th, and in
// another run all from the k-th on, for each k to the script's end. What fails is reported by a result. After a commit
// that failed the store is as before, unless the outcome is called unknown, and it can be used again.

#include "Calls.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>

#include "StoreModel.h"
#include "Trial.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

struct Failure {
  std::uint64_t k = 0;
  bool isLasting = false;
  int error = 0;  // of writes

  std::string text() const {
    const std::string how = error == Calls::shortWrite ? "short" : std::to_string(error);
    return "call " + std::to_string(k) + (isLasting ? " and all later" : "") + ", writes " + how + ": ";
  }
};

// Fails calls for the files of a folder, and for memory.
class Failing final : public Calls {
 public:
  Failing(Failure failure, std::string folder) : failure_(failure), folder_(std::move(folder)) {}

  int before(Kind kind, int descriptor) override {
    if (descriptor >= 0 && pathOf(descriptor).rfind(folder_, 0) != 0) return 0;
    ++calls_;
    if (failure_.isLasting ? calls_ < failure_.k : calls_ != failure_.k) return 0;
    if (kind == Kind::write || kind == Kind::sync) ++lost_;
    if (kind == Kind::write) return failure_.error;
    return kind == Kind::map ? ENOMEM : kind == Kind::allocate ? ENOSPC : EIO;
  }

  bool hasFailed() const { return calls_ >= failure_.k; }
  std::uint64_t lost() const { return lost_; }  // writes and syncs that failed

 private:
  Failure failure_;
  std::string folder_;
  std::uint64_t calls_ = 0;
  std::uint64_t lost_ = 0;
};

// What a process tells: the transactions that the store holds for certain, and whether one more may be in it.
class Script {
 public:
  Script(const Process::Channel& channel, Failing& failing, StoreModel model)
      : channel_(channel), failing_(failing), model_(std::move(model)) {}

  // Whether everything went as it must; says so otherwise. Ends early when calls go on to fail.
  std::string run(const std::string& path, bool isLasting) {
    for (int sessions = 0; sessions < 3; ++sessions) {
      psSession session;
      if (session.open(path, options()) != 1) {
        expect(isRefused(session), "open fails for nothing");
        if (isLasting) break;
        if (session.open(path, options()) != 1) return "a second open fails: " + session.lastError();
      }
      for (int commits = 0; commits < 3; ++commits) {
        if (!commit(session) && (isLasting || isUnknown_)) break;
      }
      if (!isUnknown_ && !isLasting) expect(look(session), "the store is wrong");
    }
    return complaint_;
  }

 private:
  static psSessionOptions options() {
    psSessionOptions options;
    options.cacheLimit = std::size_t{4} << 20;
    return options;
  }

  void expect(bool isRight, const std::string& what) {
    if (!isRight) complaint_ += what + "; ";
  }
  bool isRefused(const psSession& session) const {
    return failing_.hasFailed() && session.lastErrorKind() != psErrorKind::none && !session.lastError().empty();
  }

  bool look(psSession& session) {
    const std::string complaint = verifyEither(session, model_, isUnknown_, false);
    if (!complaint.empty()) expect(isRefused(session), complaint);
    if (complaint.empty()) isUnknown_ = false;
    return complaint.empty() || isRefused(session);
  }

  bool commit(psSession& session) {
    if (isUnknown_) look(session);
    const std::uint64_t lost = failing_.lost();
    const bool isDone = commitNext(session, model_);
    expect(isDone || isRefused(session), "a commit fails for nothing: " + session.lastError());
    expect(!isDone || failing_.lost() == lost, "a commit succeeds although a write or sync failed");
    isUnknown_ = !isDone && session.lastErrorKind() == psErrorKind::outcomeUnknown;
    channel_.send(2 * model_.n() + (isUnknown_ ? 1 : 0));
    return isDone;
  }

  const Process::Channel& channel_;
  Failing& failing_;
  StoreModel model_;
  bool isUnknown_ = false;
  std::string complaint_;
};

// One run in a process of its own. Whether the failure came before the end.
bool runOnce(Trial& trial, const ScratchFolder& folder, StoreModel model, const Failure& failure) {
  const std::string path = folder / "store.ps";
  std::uint64_t state = 2 * model.n();
  Process process([&](const Process::Channel& channel) {
    ::alarm(30);
    Failing failing(failure, folder / "");
    const std::string complaint = Script(channel, failing, model).run(path, failure.isLasting);
    if (!complaint.empty()) std::cerr << failure.text() << complaint << '\n';
    return !complaint.empty() ? 2 : failing.hasFailed() ? 0 : 1;
  });
  while (process.channel().receive(&state)) {
  }
  const int status = process.wait();
  model.advanceTo(state / 2);
  if (status < 0 || status > 1)
    trial.check(model.n(), failure.text() + "the script ends with " + std::to_string(status));
  const std::string complaint = std::filesystem::exists(path) ? verifyFile(path, model, state % 2 == 1, true) : "";
  if (!complaint.empty()) trial.check(model.n(), failure.text() + "afterwards: " + complaint);
  return status != 1;
}

// All k, over a store that has had some transactions.
void sweep(Trial& trial, std::uint64_t seed, std::uint64_t before) {
  const ScratchFolder folder;
  StoreModel model(seed);
  {
    psSession session;
    if (before > 0) static_cast<void>(session.open(folder / "base", unsynced()));
    while (model.n() < before && commitNext(session, model)) {
    }
  }
  for (const int error : {ENOSPC, EIO, Calls::shortWrite}) {
    for (const bool isLasting : {false, true}) {
      bool hasFailed = true;
      for (std::uint64_t k = 1; hasFailed && trial.goesOn(); ++k) {
        std::filesystem::remove(folder / "store.ps");
        std::filesystem::remove(folder / "store.ps-lock");
        if (before > 0) std::filesystem::copy_file(folder / "base", folder / "store.ps");
        hasFailed = runOnce(trial, folder, model, {k, isLasting, error});
        ++trial.count("failing calls");
      }
      if (!hasFailed) ++trial.count("scripts to the end");
    }
  }
}

int run(Trial& trial) {
  for (std::uint64_t round = 0; trial.goesOn(); ++round) {
    sweep(trial, trial.seed() + round, 0);
    sweep(trial, trial.seed() + round, 44);
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("calls", argc, argv);
  return ps::test::run(trial);
}
