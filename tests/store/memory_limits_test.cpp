#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
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

  // What no file stands behind.
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

}  // namespace
}  // namespace ps::test
