#pragma once

#include <lmdb.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "store/base/psReader.h"

namespace ps::detail {

// Sees which transactions read a store, and since when. LMDB's table of readers has no times, so that a reader's age
// counts from when it was first seen. May be used by any thread.
class ReaderWatch {
 public:
  // All readers, the oldest first, without what they pin.
  std::vector<psReader> look(MDB_env* environment);
  // Says what they pin, by a read transaction that began after look. 0 or LMDB's code. Cost: a step for each commit of
  // which nobody has used the free pages yet.
  static int measure(MDB_txn* snapshot, std::vector<psReader>& readers);
  // The free pages that a transaction sees, those among them that older readers still read. 0 or LMDB's code. Cost: a
  // step for each entry of the list.
  static int countFree(MDB_txn* transaction, std::uint64_t& pages);

 private:
  using Clock = std::chrono::steady_clock;
  using Key = std::pair<int, std::uint64_t>;  // process, commit

  std::mutex mutex_;
  std::map<Key, Clock::time_point> since_;
};

}  // namespace ps::detail
