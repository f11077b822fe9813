#include "store/engine/ReaderWatch.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "store/engine/LmdbCursor.h"

namespace ps::detail {

namespace {

// LMDB's database of free pages: for each commit, how many pages it made free, and their numbers.
constexpr MDB_dbi freePages = 0;

std::size_t numberIn(const MDB_val& value) {
  std::size_t number = 0;
  std::memcpy(&number, value.mv_data, std::min(sizeof number, value.mv_size));
  return number;
}

// LMDB gives a line for each slot: process, thread, commit. An idle slot has "-" for the last one.
int takeLine(const char* line, void* readers) {
  psReader reader;
  if (std::sscanf(line, "%d %*s %" SCNu64, &reader.process, &reader.commit) == 2)
    static_cast<std::vector<psReader>*>(readers)->push_back(reader);
  return 0;
}

// Calls visit with the commit and the number of pages of each entry of the list of free pages, from a commit on, until
// it returns false.
template <class Visit>
int visitFree(MDB_txn* transaction, std::size_t first, Visit visit) {
  int code = 0;
  const LmdbCursor cursor = openCursor(transaction, freePages, code);
  MDB_val key{sizeof first, &first};
  MDB_val pages{};
  if (code == 0) code = mdb_cursor_get(cursor.get(), &key, &pages, MDB_SET_RANGE);
  while (code == 0 && visit(numberIn(key), numberIn(pages)))
    code = mdb_cursor_get(cursor.get(), &key, &pages, MDB_NEXT);
  return code == MDB_NOTFOUND ? 0 : code;
}

}  // namespace

std::vector<psReader> ReaderWatch::look(MDB_env* environment) {
  std::vector<psReader> readers;
  mdb_reader_list(environment, &takeLine, &readers);
  std::sort(readers.begin(), readers.end(), [](const psReader& a, const psReader& b) { return a.commit < b.commit; });
  const Clock::time_point now = Clock::now();
  std::map<Key, Clock::time_point> since;
  const std::lock_guard<std::mutex> lock(mutex_);
  for (psReader& reader : readers) {
    const Key key(reader.process, reader.commit);
    const auto known = since_.find(key);
    const Clock::time_point start = since.emplace(key, known != since_.end() ? known->second : now).first->second;
    reader.seconds = std::chrono::duration<double>(now - start).count();
  }
  since_ = std::move(since);
  return readers;
}

int ReaderWatch::countFree(MDB_txn* transaction, std::uint64_t& pages) {
  pages = 0;
  return visitFree(transaction, 0, [&pages](std::size_t, std::size_t count) {
    pages += count;
    return true;
  });
}

// A reader pins what later commits made free, up to the last one, whose pages nobody could use yet anyway.
int ReaderWatch::measure(MDB_txn* snapshot, std::vector<psReader>& readers) {
  if (readers.empty()) return 0;
  const std::size_t last = mdb_txn_id(snapshot);
  MDB_stat status{};
  mdb_env_stat(mdb_txn_env(snapshot), &status);
  return visitFree(snapshot, readers.front().commit, [&](std::size_t commit, std::size_t pages) {
    if (commit >= last) return false;
    for (psReader& reader : readers) {
      if (reader.commit > commit) break;
      reader.pinnedBytes += std::uint64_t{pages} * status.ms_psize;
    }
    return true;
  });
}

}  // namespace ps::detail
