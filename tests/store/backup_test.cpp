#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "store/CurrentSession.h"
#include "store/StoreObjects.h"
#include "store/engine/ServerCopy.h"
#include "support/RawStore.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

Records recordsOf(const std::string& path) { return RawStore(path).content(); }

// Objects in many pages, some of them with names.
void furnish(psSession& session, int first, int objects) {
  const CurrentSession here(session);
  ASSERT_EQ(session.begin(pscUpdate), 1) << session.lastError();
  const pstHandle<psContObj> in = session.container(session.database("backup"), "objects");
  for (int n = first; n < first + objects; ++n) {
    const pstHandle<Blob> blob(new (in) Blob(n, pattern(n, static_cast<std::size_t>(n * 7 % 3000))));
    ASSERT_EQ(session.name(blob, in, ("blob " + std::to_string(n)).c_str()), 1) << session.lastError();
  }
  ASSERT_NE(new (in) Blob(-1, pattern(1, 900000)), nullptr);
  ASSERT_EQ(session.commit(), 1) << session.lastError();
}

// The records of a new store, which the session has made and closed.
Records made(psSession& session, const std::string& path, int objects) {
  EXPECT_EQ(session.open(path, unsynced()), 1) << session.lastError();
  furnish(session, 0, objects);
  EXPECT_EQ(session.close(), 1) << session.lastError();
  return recordsOf(path);
}

TEST(Backup, IsTheSnapshotAndOverwritesNothing) {
  const ScratchFolder folder;
  const std::string path = folder.store("store.ps");
  const std::string copy = folder.store("copy.ps");
  psSession session;
  const Records expected = made(session, path, 500);

  psSession writer;
  ASSERT_EQ(writer.open(path, unsynced()), 1);
  ASSERT_EQ(session.open(path, unsynced()), 1);
  psBackupProgress last;
  const auto disturb = [&](const psBackupProgress& progress) {
    last = progress;
    furnish(writer, 1000 + static_cast<int>(last.done), 20);
    return true;
  };
  ASSERT_EQ(session.backup(copy, disturb), 1) << session.lastError();
  EXPECT_EQ(last.done, last.total);
  EXPECT_EQ(last.records, expected.size());
  EXPECT_EQ(session.backup(copy), 0);
  EXPECT_EQ(session.lastErrorKind(), psErrorKind::usage);
  EXPECT_EQ(session.backup(folder.store("stopped.ps"), [](const psBackupProgress&) { return false; }), 0);
  EXPECT_EQ(session.backup(folder / "nowhere/copy.ps"), 0);
  EXPECT_EQ(session.lastErrorKind(), psErrorKind::absent);
  ASSERT_EQ(session.begin(pscUpdate), 1);
  EXPECT_EQ(session.backup(folder / "update.ps"), 0);
  ASSERT_EQ(session.abort(), 1);
  ASSERT_EQ(session.close(), 1);
  ASSERT_EQ(writer.close(), 1);
  EXPECT_EQ(recordsOf(copy), expected);
  EXPECT_NE(recordsOf(path), expected);
  for (const auto& entry : std::filesystem::directory_iterator(folder / ".")) {
    const std::string name = entry.path().filename().string();
    EXPECT_TRUE(name.rfind("store.ps", 0) == 0 || name.rfind("copy.ps", 0) == 0) << name;
  }

  ASSERT_EQ(session.open(folder.transientStore("transient")), 1);
  furnish(session, 0, 3);
  EXPECT_EQ(session.backup(folder / "kept.ps"), 1) << session.lastError();
  psSessionOptions options = unsynced();
  options.verify = psVerify::structure;
  ASSERT_EQ(writer.open(folder / "kept.ps", options), 1) << writer.lastError();
  furnish(writer, 3, 3);
}

// A copy on a server takes several transactions. Until the last one it is no store, and what is not finished is
// removed.
TEST(Backup, OnAServerIsThereAsAWholeOrNotAtAll) {
  if (!ScratchFolder::isOnServer()) GTEST_SKIP() << "a file has its name only when it is whole";
  const ScratchFolder folder;
  const std::string path = folder.store("copy");
  const auto copyAll = [&](ps::detail::ServerCopy& copy) {
    ASSERT_TRUE(copy.begin(path)) << copy.error().text;
    bool isNew = false;
    for (char n = 0; n < 40; ++n) {
      ASSERT_TRUE(copy.put(std::string("P") + n, pattern(1, 1000000), isNew) && isNew) << copy.error().text;
      ASSERT_TRUE(copy.put(std::string("P") + n, "twice", isNew) && !isNew) << copy.error().text;
    }
  };
  for (int round = 0; round < 2; ++round) {
    ps::detail::ServerCopy copy;
    copyAll(copy);
    EXPECT_GT(RawStore(path).content().size(), 10U) << "some of it was committed";
    psSession session;
    EXPECT_EQ(session.open(path, unsynced()), 0);
    EXPECT_FALSE(copy.finish()) << "without the record of the federation";
    ps::detail::ServerCopy second;
    EXPECT_FALSE(second.begin(path));
    EXPECT_EQ(second.error().kind, psErrorKind::usage);
  }
  EXPECT_TRUE(RawStore(path).content().empty());

  // Somebody makes a store there while the copy is being written.
  {
    ps::detail::ServerCopy copy;
    bool isNew = false;
    ASSERT_TRUE(copy.begin(path) && copy.put("F", "12345678F", isNew));
    RawStore(path).put("F", "87654321F");
    EXPECT_FALSE(copy.finish());
  }
  EXPECT_EQ(RawStore(path).content(), (Records{{"F", "87654321F"}}));
}

TEST(Backup, OfADamagedStoreIsRefusedAndTheRestIsSalvaged) {
  if (ScratchFolder::isOnServer()) GTEST_SKIP() << "a file alone can be salvaged";
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  psSession session;
  const Records expected = made(session, path, 300);
  std::string bytes(std::filesystem::file_size(path), '\0');
  std::ifstream(path, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));

  // Each page of the file in turn.
  std::size_t whole = 0;
  for (std::size_t page = 0; page < bytes.size() / 4096; page += page < 40 ? 1 : 5) {
    const std::string copy = folder / ("copy" + std::to_string(page));
    std::string damaged = bytes;
    for (std::size_t i = 0; i < 4096; ++i) damaged[page * 4096 + i] = static_cast<char>(i * 31);
    std::ofstream(path, std::ios::binary) << damaged;
    psSalvageReport report;
    ASSERT_EQ(psSession::salvage(path, copy, report), 1) << session.lastError();
    const Records found = recordsOf(copy);
    EXPECT_EQ(found.size(), report.records);
    std::size_t right = 0;
    for (const auto& [key, value] : found) right += expected.count(key) == 1 && expected.at(key) == value ? 1 : 0;
    EXPECT_TRUE(right == expected.size() || report.lossCount > 0) << page;
    if (page >= 2) {  // without the head of the last commit, that is lost as a whole
      EXPECT_GE(right + report.fromRemains, found.size()) << page;
      EXPECT_GE(right + 130, expected.size()) << page;
    }
    whole += right == expected.size() ? 1 : 0;
    std::filesystem::remove(copy);
  }
  EXPECT_GT(whole, 2U) << "at least the free pages, the heads and the branches";

  std::string flipped = bytes;
  const auto largest = std::max_element(expected.begin(), expected.end(),
                                        [](const auto& a, const auto& b) { return a.second.size() < b.second.size(); });
  flipped[flipped.find(largest->second.substr(1000, 50))] ^= 1;
  std::ofstream(path, std::ios::binary) << flipped;
  ASSERT_EQ(session.open(path, unsynced()), 1) << session.lastError();
  EXPECT_EQ(session.backup(folder / "backup.ps"), 0);
  EXPECT_EQ(session.lastErrorKind(), psErrorKind::damaged);
  EXPECT_NE(session.lastError().find("page "), std::string::npos) << session.lastError();
  psSalvageReport report;
  EXPECT_EQ(psSession::salvage(path, folder / "salvaged.ps", report), 1) << "while it is open";
  EXPECT_EQ(report.records, expected.size() - 1);
  ASSERT_EQ(report.losses.size(), 1U);
  EXPECT_NE(report.losses[0].find("page "), std::string::npos) << report.losses[0];
  ASSERT_EQ(session.close(), 1);
  ASSERT_EQ(session.open(folder / "salvaged.ps", unsynced()), 1) << session.lastError();

  std::ofstream(folder / "text") << std::string(10000, 't');
  EXPECT_EQ(psSession::salvage(folder / "text", folder / "none.ps", report), 0);
  EXPECT_EQ(psSession::salvage(folder / "absent", folder / "none.ps", report), 0);
  EXPECT_FALSE(std::filesystem::exists(folder / "none.ps"));
}

}  // namespace
}  // namespace ps::test
