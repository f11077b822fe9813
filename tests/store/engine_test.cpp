#include "store/engine/Engine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "store/base/psSessionOptions.h"
#include "support/Process.h"
#include "support/TempStore.h"

namespace {

using ps::detail::Engine;
using ps::detail::openEngine;
using ps::test::Process;
using ps::test::ScratchFolder;
using ps::test::unsynced;
using Content = std::map<std::string, std::string>;

psSessionOptions ofSize(std::size_t mapSize) {
  psSessionOptions options = unsynced();
  options.mapSize = mapSize;
  return options;
}

psSessionOptions readOnly() {
  psSessionOptions options;
  options.readOnly = true;
  return options;
}

std::unique_ptr<Engine> openStore(const std::string& path, const psSessionOptions& options = unsynced()) {
  ps::detail::StoreError error;
  auto engine = openEngine(path, options, error);
  EXPECT_NE(engine, nullptr) << error.text;
  return engine;
}

bool store(Engine& engine, const Content& pairs) {
  if (!engine.begin(true)) return false;
  for (const auto& [key, value] : pairs) engine.put(key, value);  // commit tells
  return engine.commit() == Engine::Commit::committed;
}

Content scanned(Engine& engine, const std::string& prefix = "") {
  Content found;
  std::string last;
  EXPECT_TRUE(engine.scan(prefix, [&](std::string_view key, std::string_view value) {
    EXPECT_TRUE(found.empty() || last < key) << "out of order";
    last = key;
    return found.emplace(key, value).second;
  })) << engine.error().text;
  return found;
}

Content contentOf(Engine& engine) {
  EXPECT_TRUE(engine.begin(false)) << engine.error().text;
  Content found = scanned(engine);
  engine.abort();
  return found;
}

// Many pairs with one letter, enough to use several pages.
Content lettered(char letter, int pairs = 60) {
  Content content;
  for (int i = 0; i < pairs; ++i) content["key" + std::to_string(i)] = std::string(900, letter);
  return content;
}

// Random transactions, each step compared with a map. Misuse is among the steps: it must fail and change nothing.
class EngineModel {
 public:
  EngineModel(std::string path, unsigned int seed) : path_(std::move(path)), random_(seed), engine_(openStore(path_)) {}

  void run(int transactions) {
    for (int i = 0; i < transactions && !::testing::Test::HasFailure(); ++i) {
      if (path_ != "memory:" && chance(20)) engine_ = openStore(path_);
      transaction(!chance(4));
    }
  }

 private:
  bool chance(int oneIn) { return random_() % oneIn == 0; }

  std::string randomKey() {
    const std::size_t length = chance(10) ? 1 + random_() % engine_->maxKeySize() : 1 + random_() % 3;
    std::string key(length, '\0');
    for (char& byte : key) byte = "\0a\x7f\xff"[random_() % 4];
    return key;
  }

  void transaction(bool update) {
    ASSERT_TRUE(engine_->begin(update)) << engine_->error().text;
    ASSERT_FALSE(engine_->begin(update)) << "a second transaction in one engine";
    checkVersion();
    working_ = committed_;
    touched_ = voided_ = false;
    for (unsigned int steps = random_() % 40; steps > 0; --steps) step(update);
    end();
    ASSERT_EQ(contentOf(*engine_), committed_);
    checkVersion();
    ASSERT_EQ(engine_->put("k", "v"), false) << "a put outside a transaction";
  }

  void step(bool update) {
    const std::string key = chance(150) ? std::string(chance(2) ? 0 : engine_->maxKeySize() + 1, 'k') : randomKey();
    const bool valid = !voided_ && !key.empty() && key.size() <= engine_->maxKeySize();
    const unsigned int choice = random_() % 10;
    if (choice < 4) {
      const std::string value(random_() % (chance(8) ? 20000 : 50), static_cast<char>(random_()));
      ASSERT_EQ(engine_->put(key, value), update && valid) << engine_->error().text;
      if (update && valid) working_[key] = value;
      note(update, valid);
    } else if (choice < 6) {
      const bool present = working_.count(key) != 0;
      ASSERT_EQ(engine_->erase(key), update && valid) << engine_->error().text;
      if (update && valid) working_.erase(key);
      note(update && (present || !valid), valid);
    } else if (choice < 9) {
      checkGet(key, valid);
    } else if (!voided_) {
      checkScan(chance(3) ? std::string() : key);
    }
  }

  void note(bool update, bool valid) {
    touched_ |= update && valid;
    voided_ |= update && !valid;
  }

  void checkGet(const std::string& key, bool valid) {
    std::string_view value;
    const Engine::Lookup result = engine_->get(key, value);
    engine_->announceReading(value);
    const auto expected = working_.find(key);
    if (!valid) {
      ASSERT_EQ(result, Engine::Lookup::failed);
    } else if (expected == working_.end()) {
      ASSERT_EQ(result, Engine::Lookup::absent);
    } else {
      ASSERT_EQ(result, Engine::Lookup::found) << engine_->error().text;
      ASSERT_EQ(value, expected->second);
    }
  }

  void checkScan(const std::string& prefix) {
    Content expected;
    for (auto at = working_.lower_bound(prefix); at != working_.end() && at->first.rfind(prefix, 0) == 0; ++at) {
      expected.insert(*at);
    }
    ASSERT_EQ(scanned(*engine_, prefix), expected);
    std::size_t visits = 0;
    ASSERT_TRUE(engine_->scan(prefix, [&](std::string_view, std::string_view) { return ++visits < 2; }));
    ASSERT_EQ(visits, std::min<std::size_t>(expected.size(), 2)) << "a scan goes on after it was ended";
  }

  void end() {
    if (chance(4)) return engine_->abort();
    ASSERT_EQ(engine_->commit(), voided_ ? Engine::Commit::conflict : Engine::Commit::committed)
        << engine_->error().text;
    ASSERT_EQ(engine_->commit(), Engine::Commit::conflict) << "a commit without a transaction";
    if (voided_) return;
    committed_ = working_;
    version_ += touched_ ? 1 : 0;
    checkVersion();
  }

  // With several writers, only differences within an instance tell something.
  void checkVersion() const { ASSERT_TRUE(engine_->hasSeveralWriters() || engine_->version() == version_); }

  const std::string path_;
  std::mt19937 random_;
  std::unique_ptr<Engine> engine_;
  Content committed_;
  Content working_;
  std::uint64_t version_ = 0;
  bool touched_ = false;
  bool voided_ = false;
};

class EngineModelTest : public ::testing::TestWithParam<const char*> {};

TEST_P(EngineModelTest, behavesAsAMapWithTransactions) {
  const ScratchFolder folder;
  const auto seed = static_cast<unsigned int>(ps::test::seedOr(std::random_device()()));
  SCOPED_TRACE("seed " + std::to_string(seed));
  const std::string path = GetParam();
  EngineModel(path == "memory:" ? path : folder.store(path), seed).run(600);
}

INSTANTIATE_TEST_SUITE_P(Engines, EngineModelTest, ::testing::Values("memory:", "store"));

TEST(LmdbEngineTest, aKilledReaderDoesNotPinOldPagesForEver) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  Process reader([&](const Process::Channel& channel) {
    const auto engine = openStore(path);
    engine->begin(false);
    channel.send();
    channel.receive();
    return 0;
  });
  ASSERT_TRUE(reader.channel().receive());
  const auto writer = openStore(path, ofSize(std::size_t{1} << 20));
  ASSERT_TRUE(store(*writer, lettered('a')));
  reader.kill();
  int refused = 0;
  for (int i = 0; i < 300; ++i) refused += store(*writer, lettered(static_cast<char>('a' + i % 26))) ? 0 : 1;
  EXPECT_LE(refused, 1);
}

// However long a reader is held up while it begins, and however many commits there are meanwhile.
TEST(LmdbEngineTest, aSnapshotIsThatOfItsNumber) {
  const ScratchFolder folder;
  const std::string path = folder / "store.ps";
  ASSERT_TRUE(store(*openStore(path), {{"n", "1"}}));
  std::atomic<bool> isOver{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      const auto engine = openStore(path);
      while (!isOver && !::testing::Test::HasFailure()) {
        std::string_view n;
        ASSERT_TRUE(engine->begin(false) && engine->get("n", n) == Engine::Lookup::found);
        EXPECT_EQ(n, std::to_string(engine->version()));
        engine->abort();
      }
    });
  }
  const auto writer = openStore(path);
  for (int n = 2; n < 20000; ++n) ASSERT_TRUE(store(*writer, {{"n", std::to_string(n)}}));
  isOver = true;
  for (std::thread& reader : readers) reader.join();
}

TEST(LmdbEngineTest, aLongReaderIsSeenWithWhatItPins) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const auto writer = openStore(path);
  ASSERT_TRUE(store(*writer, lettered('a')));
  std::uint64_t id = 0;
  Process reader([&](const Process::Channel& channel) {
    const auto engine = openStore(path);
    engine->begin(false);
    channel.send(static_cast<std::uint64_t>(::getpid()));
    channel.receive();
    engine->abort();
    channel.send();
    channel.receive();
    return 0;
  });
  ASSERT_TRUE(reader.channel().receive(&id));
  std::vector<psReader> readers;
  ASSERT_TRUE(writer->readers(readers));
  ASSERT_EQ(readers.size(), 1U);
  EXPECT_EQ(readers[0].pinnedBytes, 0U);
  const std::uint64_t commit = readers[0].commit;
  std::uint64_t size = std::filesystem::file_size(path);
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(store(*writer, lettered(static_cast<char>('b' + i))));
  size = std::filesystem::file_size(path) - size;
  ASSERT_TRUE(writer->readers(readers));
  ASSERT_EQ(readers.size(), 1U);
  EXPECT_EQ(static_cast<std::uint64_t>(readers[0].process), id);
  EXPECT_EQ(readers[0].commit, commit);
  EXPECT_GT(readers[0].seconds, 0);
  EXPECT_NEAR(static_cast<double>(readers[0].pinnedBytes), static_cast<double>(size), static_cast<double>(size) / 4);
  reader.channel().send();
  ASSERT_TRUE(reader.channel().receive());
  ASSERT_TRUE(writer->readers(readers));
  EXPECT_TRUE(readers.empty());
}

TEST(LmdbEngineTest, anUpdateWaitsForAStoppedProcessAsLongAsItIsTold) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  psSessionOptions options = unsynced();
  options.busyTimeout = 50;
  const auto hurried = openStore(path, options);
  std::uint64_t id = 0;
  {
    Process stopped([&](const Process::Channel& channel) {
      const auto engine = openStore(path);
      engine->begin(true);
      channel.send(static_cast<std::uint64_t>(::getpid()));
      ::raise(SIGSTOP);
      return 0;
    });
    ASSERT_TRUE(stopped.channel().receive(&id));
    EXPECT_FALSE(hurried->begin(true));
    EXPECT_EQ(hurried->error().kind, psErrorKind::busy);
    EXPECT_NE(hurried->error().text.find("process " + std::to_string(id)), std::string::npos) << hurried->error().text;
    EXPECT_TRUE(contentOf(*hurried).empty()) << "reading waits for nobody";
    stopped.kill();
  }
  const auto patient = openStore(path);
  ASSERT_TRUE(patient->begin(true)) << patient->error().text;
  std::thread([&] {
    EXPECT_FALSE(hurried->begin(true));
    EXPECT_NE(hurried->error().text.find("thread of this process"), std::string::npos) << hurried->error().text;
  }).join();
  patient->abort();
  EXPECT_TRUE(store(*hurried, lettered('a'))) << hurried->error().text;

  // Those who wait get their turn, with a limit or without one, in one process or in several.
  options.busyTimeout = 60000;
  const auto count = [&](int rounds) {
    const auto limited = openStore(path, rounds % 2 == 0 ? options : unsynced());
    for (int i = 0; i < rounds; ++i) {
      std::string_view value;
      if (!limited->begin(true)) return 1;
      const bool known = limited->get("count", value) == Engine::Lookup::found;
      const int next = known ? std::stoi(std::string(value)) + 1 : 1;
      if (!limited->put("count", std::to_string(next)) || limited->commit() != Engine::Commit::committed) return 1;
    }
    return 0;
  };
  hurried->abort();
  Process other([&](const Process::Channel&) { return count(100) + count(101); });
  std::thread third([&] { EXPECT_EQ(count(100), 0); });
  EXPECT_EQ(count(101), 0);
  third.join();
  EXPECT_EQ(other.wait(), 0);
  EXPECT_EQ(contentOf(*hurried).at("count"), "402");
}

TEST(LmdbEngineTest, aFullStoreSaysHowToGrowItAndStaysUsable) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  constexpr std::size_t mebibyte = std::size_t{1} << 20;
  const std::string large(100000, 'x');
  Process grower([&](const Process::Channel& channel) {
    channel.receive();
    const auto engine = openStore(path, ofSize(64 * mebibyte));
    for (int i = 0; i < 30; ++i) {
      if (!store(*engine, {{"large" + std::to_string(i), large}})) return 1;
    }
    return 0;
  });
  const auto engine = openStore(path, ofSize(mebibyte));
  ASSERT_TRUE(store(*engine, lettered('a')));
  ASSERT_TRUE(engine->begin(true));
  for (int i = 0; engine->put("large" + std::to_string(i), large); ++i) ASSERT_LT(i, 20);
  for (const char* part : {"store is full", "1048576 bytes", "mapSize", "PSCOLLECTIONS_MAP_SIZE"}) {
    EXPECT_NE(engine->error().text.find(part), std::string::npos) << engine->error().text;
  }
  EXPECT_FALSE(engine->put("small", "x"));
  EXPECT_EQ(engine->commit(), Engine::Commit::conflict);
  EXPECT_EQ(contentOf(*engine), lettered('a'));
  EXPECT_TRUE(store(*engine, {{"small", "x"}})) << engine->error().text;

  // Another process that has reserved more may let the file outgrow this one's map; an idle engine then adopts it.
  ASSERT_TRUE(engine->begin(false));
  grower.channel().send();
  ASSERT_EQ(grower.wait(), 0);
  const auto second = openStore(path);
  EXPECT_FALSE(second->begin(false)) << "the map is replaced under a transaction";
  EXPECT_NE(second->error().text.find("grow beyond"), std::string::npos) << second->error().text;
  engine->abort();
  EXPECT_EQ(contentOf(*second).at("large29"), large);
  EXPECT_TRUE(store(*engine, {{"larger", large}})) << engine->error().text;
}

TEST(LmdbEngineTest, aWriteThatFailsInTheCommitLeavesTheStoreAsItWas) {
  const ScratchFolder folder;
  const auto engine = openStore(folder / "store");
  ASSERT_TRUE(store(*engine, lettered('a')));
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit tight = {std::size_t{256} << 10, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
  bool changed = engine->begin(true);
  for (const auto& [key, value] : lettered('b', 900)) changed = changed && engine->put(key, value);
  const Engine::Commit outcome = engine->commit();
  ::setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_TRUE(changed);
  EXPECT_EQ(outcome, Engine::Commit::conflict);
  EXPECT_NE(engine->error().text.find("bytes free"), std::string::npos) << engine->error().text;
  EXPECT_EQ(contentOf(*engine), lettered('a'));
  EXPECT_TRUE(store(*engine, lettered('c', 900))) << engine->error().text;
  EXPECT_EQ(contentOf(*engine), lettered('c', 900));
}

// LMDB writes the meta page of a synchronous commit, its last step, through a descriptor of its own. Leads it to a full
// disk.
void failSynchronousMetaPages(const std::string& path) {
  for (int descriptor = 3; descriptor < 64; ++descriptor) {
    struct stat status {};
    struct stat opened {};
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags == -1 || (flags & O_ACCMODE) != O_WRONLY || ::fstat(descriptor, &opened) != 0) continue;
    if (::stat(path.c_str(), &status) != 0 || status.st_ino != opened.st_ino) continue;
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(::dup2(full, descriptor), descriptor);
    ::close(full);
    return;
  }
  ADD_FAILURE() << "no such descriptor";
}

TEST(LmdbEngineTest, aCommitWhoseLastWriteFailsIsUnknownAndEndsTheUseOfTheFile) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  auto unsafe = openStore(path);
  auto safe = openStore(path, psSessionOptions());
  ASSERT_TRUE(store(*safe, lettered('a')));
  failSynchronousMetaPages(path);
  ASSERT_TRUE(store(*unsafe, lettered('b'))) << "sync holds for each engine: " << unsafe->error().text;
  ASSERT_TRUE(safe->begin(true));
  ASSERT_TRUE(safe->put("key0", "c"));
  EXPECT_EQ(safe->commit(), Engine::Commit::unknown);
  EXPECT_NE(safe->error().text.find("not known"), std::string::npos) << safe->error().text;
  EXPECT_FALSE(safe->begin(false));
  EXPECT_FALSE(unsafe->begin(true));
  EXPECT_NE(unsafe->error().text.find("Close every session"), std::string::npos) << unsafe->error().text;
  safe.reset();
  unsafe.reset();
  safe = openStore(path, psSessionOptions());
  EXPECT_EQ(contentOf(*safe), lettered('b'));
  EXPECT_TRUE(store(*safe, {{"key0", "d"}})) << safe->error().text;
}

TEST(LmdbEngineTest, aForkedChildIsRefusedAndDoesNotDisturbItsParent) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  auto writer = openStore(path);
  auto reader = openStore(path);
  ASSERT_TRUE(store(*writer, lettered('a')));
  ASSERT_TRUE(reader->begin(false));
  ASSERT_TRUE(writer->begin(true));
  ASSERT_TRUE(writer->put("key0", "b"));
  Process child([&](const Process::Channel&) {
    std::string_view value;
    bool right =
        reader->get("key0", value) == Engine::Lookup::failed && !writer->put("key1", "x") && !writer->erase("key1");
    right = right && writer->commit() == Engine::Commit::conflict && !writer->begin(false);
    right = right && writer->error().text.find("before the fork") != std::string::npos;
    writer.reset();
    reader.reset();
    return right && contentOf(*openStore(path)) == lettered('a') ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(writer->commit(), Engine::Commit::committed) << writer->error().text;
  EXPECT_EQ(scanned(*reader), lettered('a'));
  EXPECT_EQ(contentOf(*writer).at("key0"), "b");
}

TEST(LmdbEngineTest, oneFileIsOneStoreByWhateverNameItIsOpened) {
  const ScratchFolder folder;
  ASSERT_TRUE(store(*openStore(folder / "store"), lettered('a')));
  const auto reader = openStore(folder / "store", readOnly());  // first, which must not keep the others from writing
  const auto engine = openStore(folder / "store");
  std::filesystem::create_symlink("store", folder / "link");
  const auto linked = openStore(folder / "link");
  EXPECT_FALSE(std::filesystem::exists(folder / "link-lock"));
  ASSERT_TRUE(engine->begin(true));
  EXPECT_FALSE(linked->begin(true)) << "the thread would wait for itself";
  EXPECT_NE(linked->error().text.find("this thread"), std::string::npos) << linked->error().text;
  EXPECT_EQ(contentOf(*linked), lettered('a'));
  engine->abort();
  EXPECT_FALSE(reader->begin(true));
  EXPECT_NE(reader->error().text.find("reading only"), std::string::npos) << reader->error().text;
  EXPECT_TRUE(store(*linked, lettered('b'))) << linked->error().text;
  EXPECT_EQ(contentOf(*reader), lettered('b'));
}

TEST(LmdbEngineTest, withoutWritePermissionAStoreCanBeReadOnly) {
  const ScratchFolder folder;
  const std::string directory = folder / "fixed";
  const std::string path = directory + "/store";
  std::filesystem::create_directory(directory);
  ASSERT_TRUE(store(*openStore(path), lettered('a')));
  ASSERT_EQ(::chmod(path.c_str(), 0444) | ::chmod((path + "-lock").c_str(), 0666), 0);
  ASSERT_EQ(::chmod(directory.c_str(), 0555) | ::chmod((folder / ".").c_str(), 0755), 0);
  constexpr int unable = 77;
  Process child([&](const Process::Channel&) {
    if (::geteuid() == 0 && ::setuid(65534) != 0) return unable;
    ps::detail::StoreError refusedOld, refusedNew;
    const bool refused = openEngine(path, unsynced(), refusedOld) == nullptr &&
                         openEngine(directory + "/new", unsynced(), refusedNew) == nullptr &&
                         refusedOld.text.find("ermission denied") != std::string::npos &&
                         refusedNew.text.find("ermission denied") != std::string::npos;
    const auto reader = openStore(path, readOnly());
    return refused && reader != nullptr && contentOf(*reader) == lettered('a') ? 0 : 1;
  });
  const int result = child.wait();
  ::chmod(directory.c_str(), 0755);
  if (result == unable) GTEST_SKIP() << "root cannot give up its rights here";
  EXPECT_EQ(result, 0);
}

TEST(LmdbEngineTest, pathsThatHoldNoStoreAreRefusedAndLeftAlone) {
  const ScratchFolder folder;
  const std::string text(10000, 't');
  std::ofstream(folder / "text") << text;
  std::ofstream(folder / "empty").flush();
  std::filesystem::create_directory(folder / "directory");
  std::filesystem::create_symlink("nothing", folder / "dangling");
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  const auto open = openStore(folder / "store");
  const auto replaced = openStore(folder / "replaced");
  std::filesystem::rename(folder / "replaced", folder / "moved");
  ASSERT_TRUE(store(*openStore(folder / "linked"), lettered('a')));
  std::filesystem::create_hard_link(folder / "linked", folder / "twin");

  const struct {
    std::string path;
    psSessionOptions options;
    const char* reason;
  } cases[] = {
      {folder / "text", {}, "not a store"},
      {folder / "directory", {}, "directory"},
      {folder / "directory/", {}, "directory"},
      {folder / "missing/store", {}, "directory"},
      {folder / "missing/", {}, "directory"},
      {folder / "text/store", {}, "Not a directory"},
      {folder / "fifo", {}, "regular file"},
      {folder / "dangling", {}, "symbolic link"},
      {folder / "twin", {}, "hard link"},
      {folder / "store-lock", {}, "lock file"},
      {folder / "replaced", {}, "replaced"},
      {folder / "nothing", readOnly(), "no such file"},
      {folder / "empty", readOnly(), "empty"},
      {"", {}, "empty"},
      {folder / std::string("a\0b", 3), {}, "zero byte"},
  };
  for (const auto& [path, options, reason] : cases) {
    ps::detail::StoreError error;
    EXPECT_EQ(openEngine(path, options, error), nullptr) << path;
    EXPECT_NE(error.text.find("'" + path + "'"), std::string::npos) << error.text;
    EXPECT_NE(error.text.find(reason), std::string::npos) << error.text;
  }
  std::ifstream file(folder / "text");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), text);
  for (const char* name : {"text-lock", "nothing", "missing", "replaced", "a"}) {
    EXPECT_FALSE(std::filesystem::exists(folder / name)) << name;
  }
  EXPECT_NE(openStore(folder / "empty"), nullptr) << "as left by a process that was killed while creating it";
}

TEST(LmdbEngineTest, theMapIsSizedByOptionEnvironmentAndLimits) {
  const ScratchFolder folder;
  ps::detail::StoreError error;
  ASSERT_EQ(::setenv("PSCOLLECTIONS_MAP_SIZE", "a lot", 1), 0);
  EXPECT_EQ(openEngine(folder / "store", unsynced(), error), nullptr);
  EXPECT_NE(error.text.find("PSCOLLECTIONS_MAP_SIZE is 'a lot'"), std::string::npos) << error.text;
  ASSERT_EQ(::setenv("PSCOLLECTIONS_MAP_SIZE", "1048576", 1), 0);
  const std::string large(2000000, 'x');
  EXPECT_FALSE(store(*openStore(folder / "store"), {{"large", large}}));
  EXPECT_TRUE(store(*openStore(folder / "store", ofSize(4 << 20)), {{"large", large}})) << "the option comes first";
  EXPECT_EQ(contentOf(*openStore(folder / "store")).at("large"), large) << "a file beyond the limit can be read";
  ASSERT_EQ(::unsetenv("PSCOLLECTIONS_MAP_SIZE"), 0);
  EXPECT_TRUE(store(*openStore(folder / "vast", ofSize(SIZE_MAX)), lettered('a'))) << "halved until it fits";
}

TEST(LmdbEngineTest, aCreationCutShortIsBegunAnewAndNothingElseIs) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  openStore(folder / "new", ofSize(std::size_t{1} << 30));
  std::ifstream created(folder / "new");
  const std::string whole(std::istreambuf_iterator<char>(created), {});
  ASSERT_EQ(whole.size(), 8192U);
  std::mt19937 random(7);
  for (int i = 0; i < 60; ++i) {
    std::string left = i == 0 ? std::string() : whole.substr(0, 1 + random() % whole.size());
    for (std::size_t sector = 0; sector < left.size(); sector += 512) {
      if (random() % 3 == 0) left.replace(sector, std::min<std::size_t>(512, left.size() - sector), 512, '\0');
    }
    left.resize(std::min(left.size(), whole.size()));
    std::ofstream(path, std::ios::trunc) << left;
    EXPECT_TRUE(store(*openStore(path, psSessionOptions()), lettered('a'))) << left.size();
    EXPECT_EQ(contentOf(*openStore(path)), lettered('a'));

    left = whole.substr(0, 1 + random() % 4096);
    std::size_t byte = random() % left.size();
    if (byte % 4096 / 8 == 4) byte = 0;  // the size of the map
    left[byte] = static_cast<char>(left[byte] ^ 1);
    std::ofstream(path, std::ios::trunc) << left;
    ps::detail::StoreError error;
    EXPECT_EQ(openEngine(path, unsynced(), error), nullptr) << byte << " of " << left.size();
    std::ifstream now(path);
    EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(now), {}) == left);
  }
}

TEST(LmdbEngineTest, standardStreamsThatAreClosedStayOutOfTheStore) {
  const ScratchFolder folder;
  Process child([&](const Process::Channel&) {
    for (int descriptor = 0; descriptor < 3; ++descriptor) ::close(descriptor);
    const auto engine = openStore(folder / "store");
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
      if (::fcntl(descriptor, F_GETFD) != -1) return 1;
    }
    return store(*engine, lettered('a')) ? 0 : 2;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST(LmdbEngineTest, aThreadThatEndsWithinAnUpdateIsNotTakenForALaterOne) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  auto engine = openStore(path);
  auto other = openStore(path);
  std::thread([&] { EXPECT_TRUE(engine->begin(true) && engine->put("key", "lost")); }).join();
  std::thread([&] { EXPECT_FALSE(other->begin(true)); }).join();
  EXPECT_NE(other->error().text.find("a thread ended within an update"), std::string::npos) << other->error().text;
  engine.reset();
  other.reset();
  EXPECT_TRUE(store(*openStore(path), lettered('a')));
  EXPECT_EQ(contentOf(*openStore(path)), lettered('a'));
}

TEST(LmdbEngineTest, aFileCutShortIsRefusedAndLeftAlone) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  ASSERT_TRUE(store(*openStore(path), lettered('a', 500)));
  std::filesystem::resize_file(path, 3 * 4096);
  for (const psSessionOptions& options : {unsynced(), readOnly()}) {
    ps::detail::StoreError error;
    EXPECT_EQ(openEngine(path, options, error), nullptr);
    EXPECT_EQ(error.kind, psErrorKind::damaged);
    EXPECT_NE(error.text.find("beyond the end"), std::string::npos) << error.text;
    EXPECT_EQ(std::filesystem::file_size(path), 3 * 4096U);
  }
}

// A reference to a page from elsewhere, which LMDB would follow.
TEST(LmdbEngineTest, aFileOfAWrongStructureIsRefusedIfThatIsAsked) {
  const ScratchFolder folder;
  const std::string path = folder / "store";
  const auto sound = openStore(path);
  ASSERT_TRUE(store(*sound, lettered('a', 500)));
  psSessionOptions options = unsynced();
  options.verify = psVerify::structure;
  EXPECT_EQ(contentOf(*openStore(path, options)), lettered('a', 500)) << "while others have it open";
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(5 * 4096);
    file.put(77);
  }
  EXPECT_NE(openStore(path), nullptr);
  ps::detail::StoreError error;
  EXPECT_EQ(openEngine(path, options, error), nullptr);
  EXPECT_EQ(error.kind, psErrorKind::damaged);
  EXPECT_NE(error.text.find("page 5 has the number"), std::string::npos) << error.text;
  ASSERT_TRUE(sound->begin(true));
  EXPECT_EQ(openEngine(path, options, error), nullptr) << "an update is not waited for by its own thread";
  sound->abort();
}

}  // namespace
