#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace ps::detail {

// A transaction that has read what is not there, or all that is in a range of keys, relies on that nobody adds anything
// there. For that no row can be locked. So keys are in groups, and each group has a row in the table of guards. Whoever
// adds or removes a key enters its group, which many may do at a time. Whoever relies on a range guards the groups that
// the range has keys of, which waits until those who have entered are done, and looks then.
//
// All keys that belong to a container, and all of one kind that belong to a database, are of one group. Different
// groups may have the same row: that costs time, and changes nothing.
class GuardGroups {
 public:
  static constexpr std::uint32_t rows = 64;

  void enter(std::string_view key) { entered_.insert(rowOf(key)); }
  // All keys from the first one on, before the last one.
  void guard(std::string_view first, std::string_view last);

  bool isEmpty() const { return entered_.empty() && guarded_.empty(); }
  // Whether the rows are to be locked against all others. Whoever guards a row locks the entered ones so too: with both
  // locks, transactions could wait for each other.
  bool isGuarding() const { return !guarded_.empty(); }
  std::set<std::uint32_t> all() const;

 private:
  static std::uint32_t rowOf(std::string_view key);

  std::set<std::uint32_t> entered_;
  std::set<std::uint32_t> guarded_;
};

}  // namespace ps::detail
