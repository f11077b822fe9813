#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "store/engine/Engine.h"
#include "store/engine/FileStructure.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

using ps::detail::Engine;
using ps::detail::FileStructure;
using ps::detail::StructureReport;
using Content = std::map<std::string, std::string>;

std::unique_ptr<Engine> openStore(const std::string& path) {
  ps::detail::StoreError error;
  auto engine = ps::detail::openEngine(path, unsynced(), error);
  EXPECT_NE(engine, nullptr) << error.text;
  return engine;
}

// A store's file, changed and walked over.
class File {
 public:
  explicit File(const std::string& path) : descriptor_(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { ::close(descriptor_); }

  std::size_t size() const { return static_cast<std::size_t>(::lseek(descriptor_, 0, SEEK_END)); }
  template <class T>
  T get(std::size_t at) const {
    T value{};
    EXPECT_EQ(::pread(descriptor_, &value, sizeof value, static_cast<off_t>(at)), ssize_t{sizeof value});
    return value;
  }
  template <class T>
  void put(std::size_t at, T value) const {
    EXPECT_EQ(::pwrite(descriptor_, &value, sizeof value, static_cast<off_t>(at)), ssize_t{sizeof value});
  }
  void flip(std::size_t at, unsigned char bits) const {
    put(at, static_cast<unsigned char>(get<unsigned char>(at) ^ bits));
  }
  void cut(std::size_t size) const { ASSERT_EQ(::ftruncate(descriptor_, static_cast<off_t>(size)), 0); }

  // Whether no page that is needed lies beyond the end.
  bool isWhole() const {
    StructureReport report;
    return !FileStructure::isShort(descriptor_) || FileStructure(descriptor_).walkEnd(report);
  }

  StructureReport walk(Content* content = nullptr, Content* remains = nullptr) const {
    FileStructure structure(descriptor_);
    Content* into = content;
    const auto take = [&into](std::string_view key, std::string_view value) { into->emplace(key, value); };
    if (content != nullptr) structure.onEntry(take);
    StructureReport report;
    const bool isSound = structure.walk(report);
    EXPECT_EQ(isSound, report.faultCount == 0);
    into = remains;
    if (remains != nullptr) structure.visitRemains();
    return report;
  }
  // All that can be read; what the walk reaches comes first.
  Content salvage(std::uint64_t* faults = nullptr) const {
    Content found;
    Content remains;
    const StructureReport report = walk(&found, &remains);
    if (faults != nullptr) *faults += report.faultCount;
    found.merge(remains);
    return found;
  }
  // How often the progress is told when it ends the walk at the given time.
  int toldUntil(int end) const {
    int told = 0;
    FileStructure structure(descriptor_);
    structure.onProgress([&](std::uint64_t, std::uint64_t) { return ++told != end; });
    StructureReport report;
    const bool isSound = structure.walk(report);
    EXPECT_EQ(isSound, told != end);
    return told;
  }

 private:
  int descriptor_;
};

std::string allOf(const StructureReport& report) {
  std::string text;
  for (const auto& fault : report.faults) text += "page " + std::to_string(fault.page) + " " + fault.text + "\n";
  return text;
}

// What LMDB writes when it creates a file where the system's pages are of this size.
void createWithPages(const std::string& path, std::uint32_t size) {
  std::string heads;
  for (const std::uint64_t number : {0, 1}) {
    ps::detail::LmdbMeta head{number};
    head.free.pageSize = size;
    head.mapSize = std::uint64_t{1} << 20;
    heads.append(reinterpret_cast<const char*>(&head), sizeof head).resize((number + 1) * size);
  }
  std::ofstream(path, std::ios::binary) << heads;
}

// Random changes of a store by transactions, some of them aborted, some while another session reads.
class Workload {
 public:
  Workload(std::string path, std::uint64_t seed, int keys) : path_(std::move(path)), random_(seed), keys_(keys) {}

  Content run(int transactions) {
    const auto engine = openStore(path_);
    const auto reader = openStore(path_);
    for (int i = 0; i < transactions; ++i) {
      if (below(5) == 0) reader->abort();
      if (below(5) == 0) static_cast<void>(reader->begin(false));
      Content working = content_;
      EXPECT_TRUE(engine->begin(true));
      const int steps = below(10) == 0 ? keys_ : below(30);
      for (int step = 0; step < steps; ++step) change(*engine, working);
      if (below(4) == 0) {
        engine->abort();
      } else {
        EXPECT_EQ(engine->commit(), Engine::Commit::committed);
        content_ = working;
      }
    }
    return content_;
  }

 private:
  int below(int end) { return static_cast<int>(random_() % static_cast<unsigned int>(end)); }

  void change(Engine& engine, Content& working) {
    const std::string key = std::to_string(below(keys_)) + std::string(static_cast<std::size_t>(below(60)), 'k');
    if (below(3) == 0) {
      EXPECT_TRUE(engine.erase(key));
      working.erase(key);
      return;
    }
    const auto size = static_cast<std::size_t>(below(8) == 0 ? below(9000) : below(400));
    const std::string value(size, static_cast<char>('a' + below(26)));
    EXPECT_TRUE(engine.put(key, value));
    working[key] = value;
  }

  const std::string path_;
  std::mt19937_64 random_;
  const int keys_;
  Content content_;
};

TEST(Structure, OfWhatTransactionsLeaveIsSound) {
  const ScratchFolder folder;
  const std::uint64_t seed = seedOr(std::random_device()());
  SCOPED_TRACE("seed " + std::to_string(seed));
  for (int round = 0; round < 6; ++round) {
    const std::string path = folder / ("store" + std::to_string(round));
    if (round % 2 == 1) createWithPages(path, 512U << 3 * (round / 2));
    const Content expected =
        Workload(path, seed + static_cast<unsigned int>(round), round == 0 ? 1 : 200 << round).run(60);
    Content found;
    const StructureReport report = File(path).walk(&found);
    EXPECT_EQ(report.faultCount, 0U) << allOf(report);
    EXPECT_EQ(found, expected);
    EXPECT_EQ(report.entries, expected.size());
    EXPECT_EQ(report.usedPages + report.freePages + report.lostPages + 2, report.pages);
    EXPECT_EQ(report.lostPages, 0U);
  }
}

// Whichever byte is wrong, it is found, or all entries are as before but for one whose
// key or value is another: that is for its checksum to find.
TEST(Structure, FlippedBytesAreFoundOrHarmless) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const Content expected = Workload(path, seedOr(7), 25).run(5);
  const File file(path);
  std::size_t silent = 0;
  for (std::size_t at = 0; at < file.size() && !::testing::Test::HasFailure(); at += 3) {
    file.flip(at, static_cast<unsigned char>(1U << at % 8));
    Content found;
    if (file.walk(&found).faultCount == 0 && found != expected) {
      ++silent;
      ASSERT_EQ(found.size(), expected.size()) << at;
      std::size_t changed = 0;
      auto is = found.begin();
      for (const auto& was : expected) {
        changed += *is == was ? 0 : 1;
        ++is;
      }
      EXPECT_EQ(changed, 1U) << at;
    }
    file.flip(at, static_cast<unsigned char>(1U << at % 8));
  }
  EXPECT_EQ(file.walk().faultCount, 0U);
  EXPECT_GT(silent, 0U);
}

// LMDB would take such a file, and an older commit in it for the last one.
TEST(Structure, ADamagedHeadIsRefused) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  Workload(path, seedOr(7), 25).run(5);
  const File file(path);
  psSessionOptions options;
  options.verify = psVerify::structure;
  constexpr std::size_t second = 4096;
  constexpr std::size_t commit = 144;
  const std::vector<std::vector<std::size_t>> cases = {{0}, {second}, {0, second}, {commit}, {second + commit}};
  for (const auto& places : cases) {
    for (const std::size_t at : places) file.flip(at, 4);
    ps::detail::StoreError error;
    EXPECT_EQ(ps::detail::openEngine(path, options, error), nullptr) << places.back();
    EXPECT_EQ(error.kind, psErrorKind::damaged) << error.text;
    for (const std::size_t at : places) file.flip(at, 4);
  }
}

TEST(Structure, OfAFileCutShortIsNotSound) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const Content expected = Workload(path, seedOr(7), 300).run(10);
  const File file(path);
  const std::size_t whole = file.size();
  for (std::size_t size = whole - 4096; size > 0; size -= 4096) {
    file.cut(size);
    Content found;
    const StructureReport report = file.walk(&found);
    EXPECT_TRUE(report.faultCount > 0 || found == expected) << size;
    EXPECT_TRUE(size == 4096 || file.isWhole() == (report.faultCount == 0)) << size;
    EXPECT_TRUE(size > whole / 2 || report.faultCount > 0) << size;
  }
}

// What lay on a page that cannot be read is known to be lost, and the rest is found. A branch loses nothing.
TEST(Structure, AroundADamagedPageEntriesAreFound) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const Content expected = Workload(path, seedOr(7), 500).run(12);
  const File file(path);
  const std::uint64_t pages = file.size() / 4096;
  std::size_t damaged = 0;
  std::size_t whole = 0;
  for (std::uint64_t page = 2; page < pages; ++page) {
    file.flip(page * 4096, 1);
    Content found;
    Content remains;
    const StructureReport report = file.walk(&found, &remains);
    file.flip(page * 4096, 1);
    if (report.faultCount == 0) continue;  // the page is free, or not the first one of a value
    ++damaged;
    for (const auto& [key, value] : found) EXPECT_TRUE(expected.at(key) == value) << key;
    for (const auto& [key, value] : remains) EXPECT_EQ(found.count(key), 0U) << key;
    found.merge(remains);
    EXPECT_GT(found.size() + 130, expected.size()) << page << allOf(report);
    whole += found == expected ? 1 : 0;
  }
  EXPECT_GT(damaged, pages / 4);
  EXPECT_GT(whole, 1U);
}

// A damaged branch hides leaves, has them looked for in the wrong place, or another page taken for one of them. All of
// them can still be read.
TEST(Structure, OfADamagedBranchLosesNothing) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const Content expected = Workload(path, seedOr(7), 500).run(12);
  const File file(path);
  std::uint64_t faults = 0;
  for (std::size_t page = 2 * 4096; page < file.size(); page += 4096) {
    if (file.get<std::uint16_t>(page + 10) != 1) continue;
    for (std::size_t at = page; at < page + 4096 && !::testing::Test::HasFailure(); at += 5) {
      const auto bits = static_cast<unsigned char>(1U << at % 8);
      file.flip(at, bits);
      const Content found = file.salvage(&faults);
      file.flip(at, bits);
      for (const auto& entry : expected) {
        const auto is = found.find(entry.first);
        ASSERT_TRUE(is != found.end() && is->second == entry.second) << at << " " << entry.first;
      }
    }
  }
  EXPECT_GT(faults, 100U);
}

// The page number of all ones stands for no page at all where a tree begins, but not where a value does.
TEST(Structure, OfAValueOnNoPageIsNotSound) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  {
    const auto engine = openStore(path);
    ASSERT_TRUE(engine->begin(true) && engine->put("k", std::string(9000, 'v')));
    ASSERT_EQ(engine->commit(), Engine::Commit::committed);
  }
  const File file(path);
  using Head = ps::detail::LmdbMeta;
  auto head = file.get<Head>(4096);
  ASSERT_EQ(head.main.overflowPages, 3U);
  head.main.overflowPages = 0;
  file.put(4096, head);
  constexpr std::size_t lastPlace = 4096 - 9;  // of a page number, behind a key of one byte
  file.put(head.main.root * 4096 + lastPlace, ~std::uint64_t{0});
  const StructureReport report = file.walk();
  EXPECT_EQ(report.faultCount, 1U) << allOf(report);
}

// The heads say how many pages there are, and where the trees begin.
TEST(Structure, OfForgedOrLostHeadsIsReadAllTheSame) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const Content expected = Workload(path, seedOr(7), 100).run(8);
  const File file(path);
  EXPECT_EQ(file.toldUntil(1), 1);
  EXPECT_EQ(file.toldUntil(0), 1);
  using Head = ps::detail::LmdbMeta;
  for (const std::size_t head : {0, 4096}) file.put(head + offsetof(Head, mapSize), std::uint64_t{1} << 47);
  for (const std::uint64_t pages : {file.size() / 4096 + 9, std::uint64_t{1} << 34}) {
    for (const std::size_t head : {0, 4096}) file.put(head + offsetof(Head, lastPage), pages);
    EXPECT_GT(file.walk().faultCount, 0U);
    EXPECT_FALSE(file.isWhole());
    EXPECT_EQ(file.salvage(), expected);
  }
  for (const std::size_t head : {0, 4096}) file.put(head, ~std::uint64_t{0});
  EXPECT_EQ(file.walk().pages, 0U);
  const Content found = file.salvage();
  for (const auto& entry : expected) EXPECT_EQ(found.count(entry.first), 1U) << entry.first;
}

}  // namespace
}  // namespace ps::test
