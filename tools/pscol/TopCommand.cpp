#include "pscol/TopCommand.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <limits>
#include <thread>

#include "pscol/OpenStore.h"
#include "pscol/Text.h"

namespace pscol {

namespace {

constexpr const char* clearScreen = "\x1b[H\x1b[2J";
constexpr std::size_t mostReaders = 15;

std::uint64_t grown(std::uint64_t before, std::uint64_t now) { return now > before ? now - before : 0; }

StoreUser sameUser(const std::vector<StoreUser>& users, const StoreUser& wanted) {
  const auto found = std::find_if(users.begin(), users.end(),
                                  [&wanted](const StoreUser& user) { return user.process == wanted.process; });
  return found != users.end() ? *found : wanted;
}

}  // namespace

TopCommand::TopCommand()
    : Command("top", "Watch a store: commits, reads and writes, readers and sizes, once a second") {
  file("store", "The file of the store, or its address on a server", &store_);
  option("--seconds", "N",
         "End after so many seconds. Otherwise a terminal is kept up to date until Ctrl-C, and else "
         "there is one answer",
         &seconds_);
  details(
      "Reads and writes are what the system counts for the processes that have the store open, from and to all disks. "
      "It tells us only of processes that we may look at.");
}

Status TopCommand::run(Document& answer) {
  OpenStore store(store_);
  const bool isLive = ::isatty(STDOUT_FILENO) != 0;
  std::uint64_t left = seconds_ != 0 ? seconds_ : isLive ? std::numeric_limits<std::uint64_t>::max() : 1;
  const auto look = [&store] {
    Look found;
    require(store.session(), store.session().begin(pscRead));
    require(store.session(), store.inspector().info(found.info));
    found.users = usersOf(found.info.path);
    // A transaction between two looks would be one of the readers that are shown.
    require(store.session(), store.session().abort());
    return found;
  };
  require(store.session(), store.session().abort());
  Look before = look();
  while (left-- > 0) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    Look now = look();
    Document shown;
    describe(before, now, left == 0 ? answer : shown);
    if (isLive && left > 0) {
      std::cout << clearScreen;
      shown.printText(std::cout);
      std::cout.flush();
    }
    before = std::move(now);
  }
  if (isLive) std::cout << clearScreen;
  return Status::fine;
}

void TopCommand::describe(const Look& before, const Look& now, Document& answer) {
  answer.fact("file", "File", now.info.path);
  answer.fact("commitsPerSecond", "Commits a second", Cell::count(grown(before.info.commit, now.info.commit)));
  answer.fact("commit", "Last commit", Cell::count(now.info.commit));
  answer.fact("fileBytes", "Size", Cell::bytes(now.info.fileBytes));
  answer.fact("grownBytes", "Grown in the second", Cell::bytes(grown(before.info.fileBytes, now.info.fileBytes)));
  answer.fact("freePages", "Free pages", Cell::count(now.info.freePages));
  answer.fact("records", "Records", Cell::count(now.info.records));
  Document::Table& users = answer.table("processes", "Processes that have it open",
                                        {{"process", "Process"},
                                         {"name", "Name"},
                                         {"readBytes", "Read in the second"},
                                         {"readPages", "Pages"},
                                         {"writtenBytes", "Written in the second"},
                                         {"writtenPages", "Pages"}});
  const std::uint64_t pageSize = std::max<std::uint64_t>(now.info.enginePageSize, 1);
  for (const StoreUser& user : now.users) {
    const StoreUser last = sameUser(before.users, user);
    const std::uint64_t read = grown(last.readBytes, user.readBytes);
    const std::uint64_t written = grown(last.writtenBytes, user.writtenBytes);
    users.row({std::to_string(user.process), user.name, Cell::bytes(read), Cell::count(read / pageSize),
               Cell::bytes(written), Cell::count(written / pageSize)});
  }
  Document::Table& readers = answer.table(
      "readers", "Readers, the oldest first",
      {{"process", "Process"}, {"seenFor", "Seen for"}, {"commitsBehind", "Commits behind"}, {"pinnedBytes", "Pins"}});
  for (std::size_t i = 0; i < now.info.readers.size() && i < mostReaders; ++i) {
    const psReader& reader = now.info.readers[i];
    readers.row({std::to_string(reader.process), Cell::seconds(reader.seconds),
                 Cell::count(grown(reader.commit, now.info.commit)), Cell::bytes(reader.pinnedBytes)});
  }
}

}  // namespace pscol
