#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ps::detail {

// The records of the catalog, of which each creation and deletion changes two numbers: the next fresh number, and how
// many members there are. If these were part of the record, all who create something in a container would conflict. So
// the record stays as it was first written, and each session adds what it changes to rows of its own. What the store
// reads is the sum. docs/format.md says where in a record the numbers are.
struct Counts {
  std::int64_t live = 0;   // added to the record's own
  std::uint32_t next = 0;  // the highest; the record's own may be higher

  void add(const Counts& more);
  bool isNone() const { return live == 0 && next == 0; }
};

bool isCountedKey(std::string_view key);

// A record with other counts. One that is damaged stays as it is.
std::string withCounts(std::string_view key, std::string_view stored, const Counts& counts);

// What must be added so that the counts of one record become those of the other; and whether they differ in nothing
// else.
Counts countsBetween(std::string_view before, std::string_view after);
bool differInCountsAlone(std::string_view before, std::string_view after);

// The record to be stored when the counts that were added to the stored one are kept: after, with the counts of stored.
std::string withCountsOf(std::string_view key, std::string_view stored, std::string_view after);

}  // namespace ps::detail
