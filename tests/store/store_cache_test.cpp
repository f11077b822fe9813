#include <gtest/gtest.h>

#include <algorithm>

#include "store/StoreObjects.h"
#include "support/RawFile.h"
#include "support/RawStore.h"

namespace ps::test {
namespace {

constexpr std::size_t limit = std::size_t{16} << 20;

class StoreCache : public ::testing::Test {
 protected:
  void open(std::size_t cacheLimit = limit, unsigned int pageSize = 8192) {
    psSessionOptions options = unsynced(cacheLimit);
    options.pageSize = pageSize;
    ASSERT_EQ(session_.open(path_, options), 1) << session_.lastError();
  }
  void begin(psMode mode) { ASSERT_EQ(session_.begin(mode), 1) << session_.lastError(); }
  void commit() { ASSERT_EQ(session_.commit(), 1) << session_.lastError(); }
  void reopen(std::size_t cacheLimit = limit) {
    commit();
    ASSERT_EQ(session_.close(), 1);
    open(cacheLimit);
  }
  pstHandle<psContObj> container(const char* name) { return session_.container(session_.database("cache"), name); }
  psSessionCounters counters() const { return session_.counters(); }

  // Bricks numbered from 0, two a page.
  void lay(const pstHandle<psContObj>& in, std::uint64_t count) {
    for (std::uint64_t n = 0; n < count; ++n) ASSERT_NE(new (in) Brick(n), nullptr) << session_.lastError();
  }

  // Reads bricks until so many pages were loaded.
  void loadPages(pstItr<Brick>& brick, std::uint64_t pages) {
    const std::uint64_t before = counters().pageReads;
    while (counters().pageReads < before + pages) ASSERT_TRUE(brick.next());
  }

  ScratchFolder folder_;
  const std::string path_ = folder_.store("store.ps");
  psSession session_;
};

TEST_F(StoreCache, TransactionsMayBeManyTimesLargerThanTheCache) {
  const std::uint64_t times = ScratchFolder::stepsOr<std::uint64_t>(10, 1);
  const std::uint64_t count = times * 5200;  // in 20 MiB of pages, or 203 MiB
  const std::size_t most = ScratchFolder::stepsOr(limit, limit / 4);
  open(most);
  begin(pscUpdate);
  const pstHandle<psContObj> wall = container("wall");
  pstHandle<Brick> first(new (wall) Brick(7));
  const Brick* const address = &*first;
  lay(wall, count);
  EXPECT_GT(counters().pageWrites, times * 2000);  // before the commit
  EXPECT_EQ(&*first, address);
  EXPECT_TRUE(first->is(7));
  commit();

  // An update of everything, while one object stays pinned, and the member function of another runs.
  begin(pscUpdate);
  ASSERT_EQ(first.update(), 1);
  const std::uint64_t writes = counters().pageWrites;
  std::uint64_t n = 0;
  pstItr<Brick> brick;
  brick.scan(wall, pscUpdate);
  ASSERT_TRUE(brick.next());
  while (brick.next()) brick->set(3 * n++);
  EXPECT_EQ(n, count);
  first->set(8);
  EXPECT_EQ(first->walkThenSet(wall, 9), 8 + 3 * (count * (count - 1) / 2));
  EXPECT_EQ(&*first, address);
  commit();
  EXPECT_GE(counters().pageWrites - writes, count / 2);
  EXPECT_LE(counters().peakResidentBytes, 2 * most);

  ASSERT_EQ(session_.close(), 1);
  EXPECT_TRUE(address->is(9)) << "a pinned image outlives its session";
  open(most);
  begin(pscRead);
  const pstHandle<Brick> pinned(first.oid());
  ASSERT_EQ(pinned.open(pscRead), 1);
  const Brick* const readAddress = &*pinned;
  n = 0;
  brick.scan(wall, pscRead);
  ASSERT_TRUE(brick.next());
  while (brick.next()) ASSERT_TRUE(brick->is(3 * n++)) << n;
  EXPECT_EQ(n, count);
  EXPECT_TRUE(readAddress->is(9));
  EXPECT_EQ(&*pinned, readAddress);
  EXPECT_GE(counters().pageReads, count / 2);
  EXPECT_LE(counters().peakResidentBytes, 2 * most);
}

// An update open lasts to the end of its transaction, whatever happens to the image in between.
TEST_F(StoreCache, WritesSurviveTheirPageLeavingMemory) {
  constexpr std::size_t least = std::size_t{4} << 20;
  constexpr std::uint64_t count = 6000;  // 23 MiB
  open(least);
  begin(pscUpdate);
  const pstHandle<psContObj> wall = container("wall");
  const psId id = pstHandle<Brick>(new (container("alone")) Brick(1)).oid();
  lay(wall, count);
  reopen(least);

  begin(pscUpdate);
  pstItr<Brick> brick;
  ASSERT_EQ(pstHandle<Brick>(id).update(), 1);
  ASSERT_EQ(id.update(), 1);
  brick.scan(wall, pscRead);
  const std::uint64_t writes = counters().pageWrites;
  loadPages(brick, 1500);
  EXPECT_EQ(counters().pageWrites, writes) << "an image that nobody wrote to is not written";
  {
    // Opened for update before it left; what comes back counts as changed.
    const pstHandle<Brick> again(id);
    ASSERT_EQ(again.open(pscRead), 1);
    again->set(2);
  }
  loadPages(brick, 1200);
  EXPECT_EQ(counters().pageWrites, writes + 1);
  {
    const pstHandle<Brick> again(id);
    ASSERT_EQ(again.open(pscRead), 1);
    EXPECT_TRUE(again->is(2));
    again->set(3);
  }
  reopen(least);

  begin(pscRead);
  EXPECT_TRUE(pstHandle<Brick>(id)->is(3));
}

// With arrays so large that the cache is full of fewer than are promised to stay.
TEST_F(StoreCache, ReferencesOutlastTheLoadsThatTheyAreGoodFor) {
  constexpr unsigned int goodFor = 16;
  open(0);
  begin(pscUpdate);
  pstHandle<Blob> holder(new (container("blob")) Blob(1, std::string(3000, 'a')));
  std::vector<psId> large;
  for (unsigned int n = 0; n < 2 * goodFor; ++n)
    large.push_back(pstHandle<Blob>(new (container("large")) Blob(n, std::string(800000, 'b'))).oid());
  reopen(0);

  begin(pscUpdate);
  ASSERT_EQ(holder.update(), 1);
  ASSERT_EQ(holder->bytes.update(), 1);
  std::size_t next = 0;
  const auto load = [&](std::uint64_t pages) {
    for (const std::uint64_t end = counters().pageReads + pages; counters().pageReads < end;) {
      ASSERT_EQ(pstHandle<Blob>(large[next++ % large.size()])->bytes[7], 'b');
    }
  };
  load(2);
  const unsigned int rounds = ScratchFolder::stepsOr(20U, 4U);
  for (unsigned int round = 0; round < rounds; ++round) {
    char& element = holder->bytes[round];
    std::int64_t& number = holder->number;
    holder.close();
    load(goodFor);
    element = 'z';
    number = 17 + round;
    load(20 + round);
  }
  commit();
  EXPECT_GE(counters().pageWrites, rounds) << "they did leave memory";
  begin(pscRead);
  EXPECT_EQ(contentOf(holder).number, 16 + rounds);
  EXPECT_EQ(contentOf(holder).bytes, std::string(rounds, 'z') + std::string(3000 - rounds, 'a'));
}

// A container has 65,535 page numbers: sessions that each read a little and add one object must not take one each.
TEST_F(StoreCache, ObjectsOfManySessionsShareAPage) {
  open();
  begin(pscUpdate);
  container("small");
  unsigned int highest = 0;
  for (int run = 0; run < ScratchFolder::stepsOr(40, 12); ++run) {
    reopen();
    begin(pscRead);
    pstItr<Flat> flat;
    flat.scan(container("small"), pscRead);
    int seen = 0;
    while (flat.next()) ++seen;
    ASSERT_EQ(seen, run);
    commit();
    begin(pscUpdate);
    const pstHandle<Flat> added(new (container("small")) Flat(run));
    ASSERT_FALSE(added.isNull()) << session_.lastError();
    highest = std::max<unsigned int>(highest, added.oid().get_page());
  }
  EXPECT_LE(highest, ScratchFolder::stepsOr(2U, 4U)) << "on a server numbers are handed out in blocks";
}

TEST_F(StoreCache, AnImageEqualToTheStoredOneIsNotWritten) {
  open();
  begin(pscUpdate);
  const pstHandle<psContObj> wall = container("wall");
  lay(wall, 100);
  const pstHandle<Blob> large(new (wall) Blob(1, pattern(1, 400000)));
  reopen();

  begin(pscUpdate);
  pstItr<Brick> brick;
  brick.scan(wall, pscUpdate);
  while (brick.next()) brick->set(brick->words[0]);
  ASSERT_EQ(pstHandle<Blob>(large.oid())->bytes.update(), 1);
  commit();
  EXPECT_EQ(counters().pageWrites, 0U);
}

// Damage in the bytes of one object does not take the others of its page along, as long as nobody changes the page. A
// page that comes from a server is verified as a whole.
TEST_F(StoreCache, AReadTransactionVerifiesWhatItOpens) {
  open();
  begin(pscUpdate);
  const pstHandle<psContObj> plain = container("plain");
  std::vector<psId> ids;
  for (int n = 0; n < 150; ++n) ids.push_back(pstHandle<Flat>(new (plain) Flat(n)).oid());
  ASSERT_EQ(ids.front().get_page(), ids.back().get_page());
  commit();
  ASSERT_EQ(session_.close(), 1);
  {
    RawStore store(path_);
    std::pair<std::string, std::string> largest;
    for (const auto& record : store.content()) {
      if (record.second.size() > largest.second.size()) largest = record;
    }
    largest.second.back() = static_cast<char>(largest.second.back() ^ 1);
    store.put(largest.first, largest.second);
  }
  open();
  begin(pscRead);
  const int isOpened = ScratchFolder::stepsOr(1, 0);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(pstHandle<Flat>(ids.back()).open(pscRead), 0);
    EXPECT_EQ(session_.lastErrorKind(), psErrorKind::damaged);
    EXPECT_TRUE(ids.back().isValid()) << "it is there";
    for (int n = 0; n < 30; ++n) {
      const pstHandle<Flat> flat(ids[static_cast<std::size_t>(n)]);
      ASSERT_EQ(flat.open(pscRead), isOpened) << session_.lastError();
      ASSERT_EQ(isOpened == 1 ? flat->number : n, n);
    }
  }
  commit();
  begin(pscUpdate);
  EXPECT_EQ(pstHandle<Flat>(ids.front()).open(pscUpdate), 0);
  EXPECT_EQ(session_.lastErrorKind(), psErrorKind::damaged);
  session_.abort();
}

std::size_t pagesOf(const MDB_stat& status) {
  return status.ms_branch_pages + status.ms_leaf_pages + status.ms_overflow_pages;
}

// By default each array and bucket of a collection has a container of its own.
TEST_F(StoreCache, ContainersAreCheap) {
  if (ScratchFolder::isOnServer()) GTEST_SKIP() << "compares pages of LMDB";
  constexpr std::size_t count = 30000;
  open();
  begin(pscUpdate);
  const pstHandle<psDBObj> database = session_.database("cache");
  for (std::size_t n = 0; n < count; ++n) {
    const pstHandle<psContObj> made(new (nullptr, 0, 1, 0, database) psContObj);
    ASSERT_NE(new (made) Flat(static_cast<std::int64_t>(n)), nullptr) << session_.lastError();
  }
  commit();
  EXPECT_EQ(counters().pageWrites, count);
  EXPECT_LE(counters().peakResidentBytes, 2 * limit);
  ASSERT_EQ(session_.close(), 1);

  RawFile plain(folder_ / "plain");  // the same in LMDB without the store
  for (std::uint32_t n = 0; n < count; ++n)
    plain.put({reinterpret_cast<const char*>(&n), sizeof n}, std::string(sizeof(Flat), 'x'));
  const MDB_stat ours = RawFile(path_).status();
  EXPECT_LE(ours.ms_entries, 2 * count + 5);
  EXPECT_LE(pagesOf(ours), 3 * pagesOf(plain.status()));
}

}  // namespace
}  // namespace ps::test
