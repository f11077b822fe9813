// The power fails: of what was written since the last sync, any sectors may be on the disk and others not. All calls
// that write to a store's file are logged. From the log, images of the file are made as a failure at a random moment
// leaves it. Each holds the last transaction that was acknowledged before, or the next one if it was under way.
//
// The same is done for a store without syncs. There, images may have lost commits, or the store; that is only counted.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "Calls.h"
#include "StoreModel.h"
#include "Trial.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

constexpr std::size_t sectorSize = 512;

struct Event {
  enum class What { write, truncate, sync, begin, acknowledge } what;
  std::size_t offset;  // of a write, or the size to which the file is truncated
  std::string bytes;
  bool isSynced;  // the write's own bytes are on the disk when the call returns
};

// Logs what happens to one file.
class Log final : public Calls {
 public:
  explicit Log(std::string path) : path_(std::move(path)) {}

  void note(Event::What what) { events.push_back({what, 0, {}, false}); }
  int before(Kind, int) override { return 0; }
  void written(int descriptor, off_t offset, const void* data, std::size_t size) override {
    if (pathOf(descriptor) != path_) return;
    const bool isSynced = (::fcntl(descriptor, F_GETFL) & O_DSYNC) != 0;
    events.push_back({Event::What::write, static_cast<std::size_t>(offset),
                      std::string(static_cast<const char*>(data), size), isSynced});
  }
  void truncated(int descriptor, off_t size) override {
    if (pathOf(descriptor) == path_)
      events.push_back({Event::What::truncate, static_cast<std::size_t>(size), {}, false});
  }
  void synced(int descriptor) override {
    if (pathOf(descriptor) == path_) note(Event::What::sync);
  }

  std::vector<Event> events;

 private:
  std::string path_;
};

void apply(std::string& file, std::size_t offset, std::string_view bytes) {
  if (file.size() < offset + bytes.size()) file.resize(offset + bytes.size());
  bytes.copy(&file[offset], bytes.size());
}

// The file as the disk has it for certain, and what else may be on it, at a moment of the log that only goes forward.
class Disk {
 public:
  explicit Disk(std::string file) : certain_(std::move(file)) {}

  void happen(const Event& event) {
    if (event.what == Event::What::sync) {
      for (const Event* write : pending_) settle(*write);
      pending_.clear();
    } else if (event.what == Event::What::write && event.isSynced) {
      settle(event);
    } else if (event.what == Event::What::write || event.what == Event::What::truncate) {
      pending_.push_back(&event);
    }
  }

  // The image that a failure during the next event leaves.
  std::string fail(Trial& trial, const Event& next) const {
    std::string image = certain_;
    std::vector<const Event*> writes = pending_;
    if (next.what == Event::What::write) writes.push_back(&next);
    const std::uint64_t manner = trial.random(6);
    const std::uint64_t eighths = 1 + trial.random(7);
    const std::size_t edge = trial.random(writes.size() + 1);
    for (std::size_t i = 0; i < writes.size(); ++i) {
      const Event& write = *writes[i];
      if (write.what == Event::What::truncate) {
        if (manner != 0) image.resize(write.offset);
        continue;
      }
      const std::string_view bytes = write.bytes;
      // Nothing; everything; the first ones; the last ones; whole writes; sectors.
      const bool isKept = manner == 1 || (manner == 2 && i < edge) || (manner == 3 && i >= edge) ||
                          (manner == 4 && trial.random(8) < eighths);
      if (isKept) apply(image, write.offset, bytes);
      for (std::size_t at = 0; manner == 5 && at < bytes.size(); at += sectorSize) {
        if (trial.random(8) < eighths) apply(image, write.offset + at, bytes.substr(at, sectorSize));
      }
    }
    return image;
  }

 private:
  void settle(const Event& event) {
    if (event.what == Event::What::truncate) {
      certain_.resize(event.offset);
    } else {
      apply(certain_, event.offset, event.bytes);
    }
  }

  std::string certain_;
  std::vector<const Event*> pending_;
};

// Some transactions, in some sessions.
std::vector<Event> work(Trial& trial, const std::string& path, StoreModel& model, bool isSynced) {
  Log log(path);
  psSessionOptions options = unsynced();
  options.sync = isSynced;
  for (std::uint64_t sessions = 1 + trial.random(3); sessions > 0; --sessions) {
    psSession session;
    if (session.open(path, options) != 1) trial.check(model.n(), session.lastError());
    for (std::uint64_t commits = 1 + trial.random(10); commits > 0; --commits) {
      log.note(Event::What::begin);
      if (!commitNext(session, model)) trial.check(model.n(), session.lastError());
      log.note(Event::What::acknowledge);
    }
  }
  return std::move(log.events);
}

// Verifies an image, and that the store goes on from there.
std::string verifyImage(const std::string& path, StoreModel model, bool isUnderWay, bool isThorough) {
  std::string complaint = verifyFile(path, model, isUnderWay, isThorough);
  if (!complaint.empty() || !isThorough) return complaint;
  psSession session;
  if (session.open(path, unsynced()) != 1 || !commitNext(session, model)) return session.lastError();
  return verifyEither(session, model, false, true);
}

// Of a store without syncs: what has become of it.
std::string fateOf(const std::string& path, StoreModel first, bool isUnderWay, std::uint64_t acknowledged) {
  std::string fate = inProcess([&] {
    ::alarm(10);
    static_cast<void>(std::freopen("/dev/null", "w", stderr));  // LMDB says there what it finds
    psSession session;
    if (session.open(path, unsynced()) != 1 || session.begin(pscRead) != 1) return std::string("do not open");
    const auto found = static_cast<std::uint64_t>(StoreModel::numberIn(session));
    if (found < first.n() || found > acknowledged + (isUnderWay ? 1 : 0)) return std::string("are not whole");
    first.advanceTo(found);
    if (!first.verify(session, true).empty()) return std::string("are not whole");
    return std::string(found < acknowledged ? "lost commits" : "lost nothing");
  });
  return fate.find("died") == std::string::npos ? fate : "end the process";
}

void makeImages(Trial& trial, const std::string& path, const std::string& image, StoreModel& model, bool isSynced) {
  const StoreModel before = model;
  StoreModel now = model;
  Disk disk(bytesOf(path));
  const std::vector<Event> events = work(trial, path, model, isSynced);
  const std::uint64_t imagesPerLog = 60;
  bool isUnderWay = false;
  for (const Event& event : events) {
    while (trial.goesOn() && trial.random(events.size()) < imagesPerLog) {
      std::ofstream(image, std::ios::binary | std::ios::trunc) << disk.fail(trial, event);
      if (isSynced) {
        ++trial.count("images");
        trial.check(now.n(), verifyImage(image, now, isUnderWay, trial.random(8) == 0));
      } else {
        ++trial.count("without sync that " + fateOf(image, before, isUnderWay, now.n()));
      }
      if (trial.random(2) == 0) break;
    }
    disk.happen(event);
    if (event.what == Event::What::acknowledge) now.advanceTo(now.n() + 1);
    if (event.what == Event::What::begin || event.what == Event::What::acknowledge)
      isUnderWay = event.what == Event::What::begin;
  }
}

int run(Trial& trial) {
  const ScratchFolder folder;
  for (std::uint64_t round = 0; trial.goesOn(); ++round) {
    const std::string path = folder / ("store " + std::to_string(round));
    StoreModel model(trial.seed() + round);
    const bool isSynced = round % 8 != 7;
    for (std::uint64_t logs = 1 + trial.random(20); logs > 0 && trial.goesOn(); --logs)
      makeImages(trial, path, folder / "image", model, isSynced);
    std::filesystem::remove(path);
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("power", argc, argv);
  return ps::test::run(trial);
}
