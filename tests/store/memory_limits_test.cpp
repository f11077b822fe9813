#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>

#include "store/StoreObjects.h"
#include "store/session/SessionCore.h"

namespace ps::test {
namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr std::size_t least = 4 * mebibyte;
// For tables and the like: they take huge pages of the system, where it has them.
constexpr std::size_t beside = 8 * mebibyte;

void require(bool holds, const std::string& complaint) {
  if (!holds) throw std::runtime_error(complaint);
}

// A session in a process of its own, and the memory that this process gets for it.
class MeasuredSession {
 public:
  MeasuredSession(const std::string& path, const psSessionOptions& options) : before_(anonymousBytes()) {
    require(session_.open(path, options) == 1, session_.lastError());
  }

  psSession* operator->() { return &session_; }
  pstHandle<psContObj> container() { return session_.container(session_.database("memory"), "wall"); }
  void begin(psMode mode) { require(session_.begin(mode) == 1, session_.lastError()); }
  void commit() { require(session_.commit() == 1, session_.lastError()); }

  // Anonymous memory that the process has taken since: heap and stacks, without mapped files.
  std::size_t memory() const {
    const std::size_t now = anonymousBytes();
    return now - std::min(now, before_);
  }

 private:
  static std::size_t anonymousBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
      std::size_t kibibytes = 0;
      if (word == "RssAnon:" && status >> kibibytes) return kibibytes << 10;
    }
    throw std::runtime_error("the system does not tell the memory of a process");
  }

  psSession session_;
  std::size_t before_;
};

class MemoryLimits : public ::testing::Test {
 protected:
  void run(const psSessionOptions& options, const std::function<void(MeasuredSession&)>& body) {
    const std::string complaint = inProcess([&]() -> std::string {
      try {
        MeasuredSession session(folder_ / "store.ps", options);
        body(session);
      } catch (const std::exception& failure) {
        return failure.what();
      }
      return "";
    });
    EXPECT_EQ(complaint, "");
  }

  ScratchFolder folder_;
};

std::string inKibibytes(std::size_t bytes) { return std::to_string(bytes >> 10) + " KiB"; }

// In stores with pages or arrays of a size.
class ReadingWithLittleMemory : public MemoryLimits, public ::testing::WithParamInterface<unsigned int> {};

TEST_P(ReadingWithLittleMemory, StaysNearTheLimit) {
  constexpr std::size_t total = 96 * mebibyte;
  const unsigned int size = GetParam();
  const bool isArray = size > 32768;
  psSessionOptions options = unsynced(least);
  if (!isArray) options.pageSize = size;
  run(options, [&](MeasuredSession& session) {
    session.begin(pscUpdate);
    const pstHandle<psContObj> wall = session.container();
    for (std::size_t laid = 0; laid < total; laid += isArray ? size : sizeof(Brick)) {
      const psObj* const made = isArray ? static_cast<psObj*>(new (wall) Blob(0, std::string(size, 'x')))
                                        : static_cast<psObj*>(new (wall) Brick(laid));
      require(made != nullptr, session->lastError());
    }
    session.commit();
  });
  run(options, [&](MeasuredSession& session) {
    std::size_t peak = 0;
    for (const psMode mode : {pscRead, pscUpdate}) {
      session.begin(mode);
      pstItr<psObj> object;
      object.scan(session.container(), pscRead);
      for (std::size_t n = 0; object.next(); ++n) {
        if (isArray) require(static_cast<const Blob&>(*object).bytes[size - 1] == 'x', "an array is another");
        if (isArray || n % 100 == 0) peak = std::max(peak, session.memory());
      }
      session.commit();
    }
    require(session->counters().pageReads > total / size, "all was read");
    require(peak < least + beside, "memory rose to " + inKibibytes(peak));
  });
}

INSTANTIATE_TEST_SUITE_P(Sizes, ReadingWithLittleMemory, ::testing::Values(4096U, 32768U, 100000U, 200000U));

// Objects are created, and between any two of them many others are used.
TEST_F(MemoryLimits, WhatIsUsedAllTheTimeDoesNotStayBeyondTheLimit) {
  run(unsynced(least), [&](MeasuredSession& session) {
    session.begin(pscUpdate);
    const pstHandle<psContObj> wall = session.container();
    std::vector<psId> ids;
    for (std::uint64_t n = 0; n < 3000; ++n) {  // 12 MiB
      ids.push_back(pstHandle<Brick>(new (wall) Brick(n)).oid());
      for (std::uint64_t i = 0; i < 20; ++i) {
        const std::uint64_t other = (n * 20 + i) * 7919 % ids.size();
        require(pstHandle<Brick>(ids[other])->is(other), "a brick is another");
      }
    }
    const std::uint64_t peak = session->counters().peakResidentBytes;
    require(peak <= least * 11 / 10, "images took " + inKibibytes(peak));
  });
}

// A load costs the same however many handles are open, and what they leave room for is used.
TEST_F(MemoryLimits, OpenHandlesDoNotSlowLoadsDown) {
  constexpr std::uint64_t pages = 20000;
  run(unsynced(least), [&](MeasuredSession& session) {
    std::vector<psId> ids;
    session.begin(pscUpdate);
    const pstHandle<psContObj> wall = session.container();
    for (std::uint64_t n = 0; n < 2 * pages; ++n) ids.push_back(pstHandle<Brick>(new (wall) Brick(n)).oid());
    session.commit();
    const detail::PageCache& cache = detail::SessionCore::current()->cache();
    const std::uint64_t stepsBefore = cache.handSteps();
    const std::uint64_t readsBefore = session->counters().pageReads;
    session.begin(pscRead);
    std::vector<pstHandle<Brick>> held;
    for (std::uint64_t n = 0; n < 2 * pages; n += 2) {
      pstHandle<Brick> brick(ids[n]);
      require(brick.open(pscRead) == 1, session->lastError());
      if (n % 8 != 0) held.push_back(brick);
    }
    const std::uint64_t steps = cache.handSteps() - stepsBefore;
    require(steps <= 100 * (session->counters().pageReads - readsBefore), std::to_string(steps) + " steps");
    const std::uint64_t resident = session->counters().residentBytes;
    require(resident <= held.size() * 8192 * 11 / 10, "beside what is pinned, much stays: " + inKibibytes(resident));
  });
}

// While an update is large, what is told of it is what the process has.
void compare(MeasuredSession& session) {
  const psSessionCounters counters = session->counters();
  const auto real = static_cast<double>(session.memory());
  const double ratio = static_cast<double>(counters.uncommittedBytes + counters.residentBytes) / real;
  if (real < 64 * mebibyte) return;
  require(ratio > 0.8 && ratio < 1.1, std::to_string(ratio) + " of the memory is told");
}

TEST_F(MemoryLimits, WhatAnUpdateTakesIsTold) {
  constexpr std::uint64_t bricks = 30000;  // two a page
  std::vector<psId> ids;
  const auto isSettled = [](MeasuredSession& session) {
    require(session->counters().uncommittedBytes == 0, "after the update something is uncommitted");
  };
  run(unsynced(least), [&](MeasuredSession& session) {
    session.begin(pscUpdate);
    const pstHandle<psContObj> wall = session.container();
    for (std::uint64_t n = 0; n < bricks; ++n) {
      require(new (wall) Brick(n) != nullptr, session->lastError());
      if (n % 3000 == 0) compare(session);
    }
    compare(session);
    session.commit();
    isSettled(session);
  });
  // Pages here and there, each of them 3 times.
  run(unsynced(least), [&](MeasuredSession& session) {
    session.begin(pscUpdate);
    const psId wall = session.container().oid();
    for (std::uint64_t n = 0; n < bricks; ++n) {
      const auto page = static_cast<unsigned short>(1 + n * 7919 % (bricks / 3));
      const pstHandle<Brick> brick(psId(wall.get_DB(), wall.get_OC(), page, 1));
      require(brick.open(pscUpdate) == 1, session->lastError());
      brick->set(n + bricks);
      if (n % 3000 == 0) compare(session);
    }
    require(session->abort() == 1, session->lastError());
    isSettled(session);
  });
  // Records that grow while they are written again and again, and what lies in the tree's own pages.
  run(unsynced(least), [&](MeasuredSession& session) {
    session.begin(pscUpdate);
    const pstHandle<psContObj> wall = session.container();
    for (int n = 0; n < 1000; ++n) ids.push_back(pstHandle<Blob>(new (wall) Blob(n, pattern(1, 20000))).oid());
    for (unsigned int size = 30000; size <= 80000; size += 10000) {
      for (const psId& id : ids) {
        const pstHandle<Blob> blob(id);
        require(blob.open(pscUpdate) == 1 && blob->bytes.resize(size) == 1, session->lastError());
      }
      compare(session);
    }
    for (int n = 0; n < 60000; ++n) {
      const std::string name = std::string(300, 'n') + std::to_string(n);
      require(session->name(pstHandle<Blob>(ids.front()), wall, name.c_str()) == 1, session->lastError());
    }
    compare(session);
    session.commit();
    isSettled(session);
  });
}

TEST_F(MemoryLimits, AnUpdateIsRefusedBeforeItTakesMoreThanItsLimit) {
  constexpr std::uint64_t wanted = 50000;  // 195 MiB
  psSessionOptions options = unsynced(least);
  options.updateLimit = 32 * mebibyte;
  run(options, [&](MeasuredSession& session) {
    std::vector<std::uint64_t> model;
    std::uint64_t updates = 0;
    const auto isFull = [&] { return session->lastErrorKind() == psErrorKind::full; };
    // Makes or changes bricks until that is refused.
    const auto fill = [&](const std::function<bool()>& change) {
      session.begin(pscUpdate);
      while (change()) {
      }
      require(isFull() && session->lastError().find("updateLimit") != std::string::npos, session->lastError());
      require(session.memory() < options.updateLimit * 11 / 10 + 2 * least + beside, inKibibytes(session.memory()));
      require(!change() && isFull(), "once it is full, an update takes no more");
      ++updates;
    };
    session.begin(pscUpdate);
    const pstHandle<psContObj> wall = session.container();
    session.commit();
    while (model.size() < wanted) {
      fill([&] {
        if (model.size() == wanted || new (wall) Brick(model.size()) == nullptr) return false;
        model.push_back(model.size());
        return true;
      });
      session.commit();
    }
    require(updates > 5, std::to_string(updates) + " updates");
    // Changes of what is there, of which every other update is not kept.
    for (int round = 0; round < 4; ++round) {
      std::vector<std::uint64_t> changed = model;
      std::size_t next = 0;
      fill([&] {
        const std::size_t at = next * 7919 % model.size();
        const psId id(wall.oid().get_DB(), wall.oid().get_OC(), static_cast<unsigned short>(1 + at / 2),
                      static_cast<unsigned short>(1 + at % 2));
        const pstHandle<Brick> brick(id);
        if (brick.open(pscUpdate) != 1) return false;
        brick->set(changed[at] = wanted * static_cast<std::uint64_t>(round) + next++);
        return true;
      });
      if (round % 2 == 0) {
        session.commit();
        model = changed;
      } else {
        require(session->abort() == 1, session->lastError());
      }
    }
    session.begin(pscRead);
    pstItr<Brick> brick;
    brick.scan(wall, pscRead);
    for (const std::uint64_t number : model)
      require(brick.next() && brick->is(number), "the store is not as committed");
    require(!brick.next(), "there is more in the store than was committed");
    session.commit();
    session->updateLimit(0);
    session.begin(pscUpdate);
    require(new (wall) Blob(1, std::string(40 * mebibyte, 'x')) != nullptr, session->lastError());
    require(session->counters().uncommittedBytes > 40 * mebibyte, "an array counts with its elements");
    session.commit();
  });
}

// An array that is changed here and there, cut, grown and evicted, in updates that are committed or aborted.
TEST_F(MemoryLimits, ALargeArrayIsInMemoryOnce) {
  constexpr unsigned int most = 64 * mebibyte, chunk = 32744;
  std::string model(most, 'a');
  std::string committed = model;
  run(unsynced(least), [&](MeasuredSession& session) {
    std::mt19937 random(7);
    const auto takes = [&](std::size_t limit) {
      malloc_trim(0);  // what was freed is not taken
      require(session.memory() < limit, inKibibytes(session.memory()) + " rather than " + inKibibytes(limit));
    };
    session.begin(pscUpdate);
    const pstHandle<psContObj> others = session->container(session->database("memory"), "others");
    const pstHandle<Blob> blob(new (session.container()) Blob(0, model));
    for (int n = 0; n < 1500; ++n) require(new (others) Brick(0) != nullptr, session->lastError());
    session.commit();
    // Of the array, what was written of it stays.
    const auto evict = [&] {
      pstItr<Brick> brick;
      for (brick.scan(others, pscRead); brick.next();) require(brick->is(0), "a brick is another");
      takes(2 * beside);
    };
    for (int round = 0; round < 24; ++round) {
      const bool isMoved = round % 6 == 5;  // to a place where it can grow
      session.begin(pscUpdate);
      model.resize(isMoved ? most : model.size() - random() % chunk);
      const auto size = static_cast<unsigned int>(model.size());
      require(blob.open(pscUpdate) == 1 && blob->bytes.resize(size) == 1, session->lastError());
      for (int n = 0; n < 64; ++n) {
        const unsigned int at = std::min<unsigned int>(random() % (most / chunk) * chunk + random() % 64, size - 1);
        model[at] = blob->bytes[at] = static_cast<char>(random());
      }
      takes(isMoved ? 3 * most : most + 2 * beside);
      if (round % 3 == 0) evict();
      require(blob->bytes.update() == 1, session->lastError());
      const bool isKept = round % 4 < 2;
      {
        const detail::PagePin pin(isKept ? nullptr : blob->bytes.head());
        require((isKept ? session->commit() : session->abort()) == 1, session->lastError());
      }
      isKept ? committed = model : model = committed;
      session.begin(pscRead);
      if (round % 2 != 0) evict();
      require(blob->bytes.size() == model.size(), "the array has another size");
      require(std::memcmp(blob->bytes.head(), model.data(), model.size()) == 0, "the array has other elements");
      takes(most + 2 * beside);
      session.commit();
    }
  });
}

}  // namespace
}  // namespace ps::test
