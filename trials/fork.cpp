// Processes fork while they have sessions open, idle, reading or updating, beside a busy thread. What is the parent's
// is refused in the child. The child opens the store itself, reads it, and updates it unless the parent does. However
// it ends, the parent goes on, with its locks and its snapshot.

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <thread>

#include "StoreModel.h"
#include "Trial.h"
#include "store/StoreObjects.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

enum State { idle, reading, updating };
// How a child ends; the first ones run destructors and what is registered for the exit.
enum Ending { destroys, exits, ends, aborts, endings };

bool isRefused(const psSession& session, bool isDone) {
  return !isDone && session.lastErrorKind() == psErrorKind::usage;
}

// What the child finds wrong. It leaves the model where the store is.
std::string inChild(psSession& parents, const pstHandle<Flat>& open, const std::string& path, State state,
                    StoreModel& model) {
  if (state == idle && !isRefused(parents, parents.begin(pscUpdate) == 1))
    return "the child begins the parent's update";
  if (state != idle && !isRefused(parents, parents.commit() == 1)) return "the child commits for the parent";
  if (!isRefused(parents, pstHandle<Flat>(open.oid()).open(pscRead) == 1)) return "the child opens the parent's object";
  if (!isRefused(parents, !parents.database("made by the child").isNull()))
    return "the child changes the parent's store";
  psSession session;
  psSessionOptions options = unsynced();
  options.busyTimeout = state == updating ? 0 : -1;
  if (session.open(path, options) != 1) return "the child cannot open the store: " + session.lastError();
  std::string complaint = verifyEither(session, model, false, false);
  if (!complaint.empty()) return complaint;
  const bool isDone = commitNext(session, model);
  if (state == updating && (isDone || session.lastErrorKind() != psErrorKind::busy)) return "two updates at a time";
  return state == updating || isDone ? "" : "the child cannot update: " + session.lastError();
}

// A child of a process with a session in a transaction, or without one. Whether all was right.
bool forkOnce(psSession*& parents, const pstHandle<Flat>& open, const std::string& path, State state, StoreModel model,
              Ending ending) {
  Process child([&](const Process::Channel&) {
    ::alarm(20);
    const std::string complaint = inChild(*parents, open, path, state, model);
    if (!complaint.empty()) std::cerr << complaint << '\n';
    const int status = complaint.empty() ? 0 : 1;
    if (ending == destroys) delete parents;
    if (ending == exits) std::exit(status);
    if (ending == aborts && status == 0) std::raise(SIGKILL);
    return status;
  });
  return child.wait() == (ending == aborts ? -1 : 0);
}

std::string round(Trial& trial, const std::string& path, StoreModel& model) {
  psSession* session = new psSession;
  const std::unique_ptr<psSession> owner(session);
  if (session->open(path, unsynced()) != 1) return session->lastError();
  const auto state = static_cast<State>(trial.random(3));
  const StoreModel snapshot = model;
  StoreModel next = model;
  pstHandle<Flat> open;
  if (session->begin(state == updating ? pscUpdate : pscRead) != 1) return session->lastError();
  if (open.lookupObj(session->database("model"), "n", pscRead) != 1) return session->lastError();
  if (state == updating && !next.advance(*session)) return session->lastError();
  if (state == idle && session->commit() != 1) return session->lastError();
  for (std::uint64_t children = 1 + trial.random(3); children > 0; --children) {
    const auto ending = static_cast<Ending>(trial.random(endings));
    if (!forkOnce(session, open, path, state, model, ending)) return "a child fails, or does not end as it was told";
    if (state != updating) model.advanceTo(model.n() + 1);
    ++trial.count("forks");
  }
  std::string complaint;
  if (state == reading) complaint = snapshot.verify(*session, true);
  if (state == updating) model = next;
  if (state != idle && session->commit() != 1) complaint += session->lastError();
  if (complaint.empty()) complaint = verifyEither(*session, model, false, trial.random(8) == 0);
  if (complaint.empty() && !commitNext(*session, model)) complaint = session->lastError();
  return complaint;
}

int run(Trial& trial) {
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  StoreModel model(trial.seed());
  {
    psSession session;
    if (session.open(path, unsynced()) != 1 || !commitNext(session, model)) trial.check(0, session.lastError());
  }
  std::atomic<bool> isOver{false};
  std::thread busy([&] {
    StoreModel own(trial.seed() + 1);
    while (!isOver) {
      psSession session;
      if (session.open(folder / "other.ps", unsynced()) == 1) static_cast<void>(commitNext(session, own));
      ::usleep(2000);
    }
  });
  while (trial.goesOn()) trial.check(model.n(), round(trial, path, model));
  isOver = true;
  busy.join();
  trial.check(model.n(), verifyFile(path, model, false, true));
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("fork", argc, argv);
  return ps::test::run(trial);
}
