#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "store/psSession.h"

namespace ps::test {

// What a store holds after transaction n, which follows from a seed: items that are filed by number, a list of them, a
// sorted set and map and a hash set and map, named arrays of up to some hundred KiB, and containers that come and go.
// Every 50th transaction is large. The store holds n too.
//
// The model is a value: copy it to remember what the store held earlier.
class StoreModel {
 public:
  explicit StoreModel(std::uint64_t seed) : seed_(seed) {}

  std::uint64_t n() const { return content_.n; }

  // Transaction n + 1, in the model and in the session's open update transaction. False when the store refuses a change
  // or answers it wrongly. The model then is of no use.
  bool advance(psSession& session);
  // The model alone. The content after an earlier transaction cannot be had.
  void advanceTo(std::uint64_t n);

  // What differs between the model and what the session's open transaction sees, "" when nothing does. The thorough
  // check also has the library's checkers look at all structures.
  std::string verify(psSession& session, bool isThorough) const;
  // Is in the complaint when the session has not refused what is wrong.
  static constexpr const char* unreported = " (not reported) ";

  // The n of what the session's open transaction sees: 0 for a store without content; -1 when it cannot be read.
  static std::int64_t numberIn(psSession& session);

  enum Collection { list, sortedSet, sortedMap, hashSet, hashMap, collections };

  struct Content {
    std::uint64_t n = 0;
    std::set<std::int64_t> items;
    std::vector<std::int64_t> list;
    // By collection: values by key, in sets the key itself.
    std::array<std::map<std::int64_t, std::int64_t>, collections> keyed;
    std::map<int, std::string> arrays;
    std::map<int, int> sides;  // objects in the containers that come and go
  };

 private:
  bool change(psSession* session);

  std::uint64_t seed_;
  Content content_;
};

// Runs transaction n + 1 of the model and commits it. When something fails, aborts, leaves the model and returns false.
bool commitNext(psSession& session, StoreModel& model);

// Verifies the store at path by a session of its own: it is after transaction n of the model, or, if one more was under
// way, after that, and then the model is too. The complaint, "" when there is none.
std::string verifyFile(const std::string& path, StoreModel& model, bool mayBeNext, bool isThorough);
// The same in a session that has the store open.
std::string verifyEither(psSession& session, StoreModel& model, bool mayBeNext, bool isThorough);

}  // namespace ps::test
