#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace ps::detail {

// What a checker finds in a collection.
struct CheckResult {
  std::vector<std::string> faults;          // each names an object and says what is wrong with it
  std::unordered_set<std::uint64_t> owned;  // the objects that are part of the collection, beside the collection itself
};

}  // namespace ps::detail
