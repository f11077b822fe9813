// Files are damaged: bits and bytes, sectors and pages, the end. A store in such a file is refused when it is opened,
// or what is damaged is refused when it is read, or everything that is read is right; also after an update.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "StoreModel.h"
#include "Trial.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

enum Outcome { refused, reported, right, silent, hung, crashed };
constexpr std::array<const char*, 6> outcomeNames = {"refused", "reported", "right", "SILENT", "HUNG", "CRASHED"};

constexpr std::size_t pageSize = 4096;
constexpr std::size_t sectorSize = 512;

// Damages the file's bytes, and says how.
std::string damage(Trial& trial, std::string& file) {
  const std::size_t pages = file.size() / pageSize;
  // The pages at the beginning lead to all others.
  const std::size_t page = trial.random(4) == 0 ? trial.random(4) : trial.random(pages);
  const std::size_t other = trial.random(pages);
  const std::size_t at = page * pageSize + trial.random(trial.random(2) == 0 ? 160 : pageSize);
  const auto replace = [&](std::size_t offset, const std::string& bytes) {
    file.replace(offset, bytes.size(), bytes);
    return " at " + std::to_string(offset) + " (page " + std::to_string(offset / pageSize) + ")";
  };
  const auto noise = [&](std::size_t size) {
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(trial.random(256));
    return bytes;
  };
  switch (trial.random(12)) {
    case 0:
      return "noise in a sector" + replace(at / sectorSize * sectorSize, noise(sectorSize));
    case 1:
      return "a page of zeros" + replace(page * pageSize, std::string(pageSize, '\0'));
    case 2:
      return "a page of noise" + replace(page * pageSize, noise(pageSize));
    case 3:
      return "page " + std::to_string(other) + replace(page * pageSize, file.substr(other * pageSize, pageSize));
    case 4: {
      const std::string kept = file.substr(page * pageSize, pageSize);
      replace(page * pageSize, file.substr(other * pageSize, pageSize));
      return "page " + std::to_string(page) + " for another" + replace(other * pageSize, kept);
    }
    case 5:
      // The first sector says that there were transactions. Fewer bytes are a store whose creation was interrupted.
      file.resize(std::max(sectorSize, trial.random(2) == 0 ? at : page * pageSize));
      return "an end at " + std::to_string(file.size());
    case 6:
      return "a word" + replace(at / 8 * 8, noise(8));
    case 7:
    case 8:
      return "a byte" + replace(at, noise(1));
    default: {
      const auto flipped = static_cast<char>(file[at] ^ 1 << trial.random(8));
      return "a bit" + replace(at, std::string(1, flipped));
    }
  }
}

// The head of the last commit with the number of that before the other head: LMDB leaves the same when a commit's last
// write fails. The store is then as it was one commit before, and nothing in the file can tell.
bool isTakenBack(const std::string& file, const std::string& sound) {
  const auto numberIn = [](const std::string& bytes, std::size_t head) {
    std::uint64_t number = 0;
    bytes.copy(reinterpret_cast<char*>(&number), sizeof number, head * pageSize + 144);
    return number;
  };
  const std::size_t last = numberIn(sound, 0) > numberIn(sound, 1) ? 0 : 1;
  return file.size() == sound.size() && numberIn(file, last) + 2 == numberIn(sound, last);
}

bool openVerified(psSession& session, const std::string& path) {
  psSessionOptions options = unsynced();
  options.verify = psVerify::all;
  return session.open(path, options) == 1;
}

Outcome judge(const std::string& complaint) {
  if (complaint.empty()) return right;
  if (complaint.find(StoreModel::unreported) == std::string::npos) return reported;
  std::cerr << complaint << '\n';
  return silent;
}

// What a session makes of it, in a transaction for reading and then in one for updating.
Outcome openAndUse(const std::string& path, StoreModel model, bool updates) {
  psSession session;
  if (!openVerified(session, path)) return session.lastErrorKind() != psErrorKind::none ? refused : silent;
  if (session.begin(pscRead) != 1) return refused;
  const Outcome seen = judge(model.verify(session, true));
  session.abort();
  if (seen == silent || !updates) return seen;
  if (!commitNext(session, model)) return session.lastErrorKind() != psErrorKind::none ? reported : silent;
  if (session.begin(pscRead) != 1) return reported;
  return std::max(seen, judge(model.verify(session, true)));
}

// In a process of its own, which may end badly.
Outcome outcomeOf(const std::string& path, const StoreModel& model, bool updates) {
  Process process([&](const Process::Channel&) {
    std::signal(SIGALRM, [](int) { ::_exit(hung); });
    ::alarm(20);
    constexpr rlim_t memory = rlim_t{1} << 30;
    const rlimit limit = {memory, memory};
    ::setrlimit(RLIMIT_DATA, &limit);
    return openAndUse(path, model, updates);
  });
  const int status = process.wait();
  return status < 0 ? crashed : static_cast<Outcome>(status);
}

int run(Trial& trial) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  while (trial.goesOn()) {
    StoreModel model(trial.random(1000000));
    const std::string base = folder / "base";
    {
      std::remove(base.c_str());
      psSession session;
      if (session.open(base, unsynced()) != 1) trial.check(0, session.lastError());
      for (std::uint64_t commits = 1 + trial.random(60); commits > 0; --commits)
        if (!commitNext(session, model)) trial.check(model.n(), session.lastError());
    }
    const std::string sound = bytesOf(base);
    for (int i = 0; i < 200 && trial.goesOn(); ++i) {
      std::string file = sound;
      const std::string what = damage(trial, file);
      if (file == sound || isTakenBack(file, sound)) continue;
      std::ofstream(path, std::ios::binary | std::ios::trunc) << file;
      const Outcome outcome = outcomeOf(path, model, i % 2 == 0);
      ++trial.count(std::string("files ") + outcomeNames[outcome]);
      if (outcome >= silent) trial.check(model.n(), what + ": " + outcomeNames[outcome]);
    }
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("damage", argc, argv);
  return ps::test::run(trial);
}
