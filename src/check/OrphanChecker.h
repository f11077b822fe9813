#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "check/CheckResult.h"
#include "store/psSession.h"

namespace ps::detail {

// Looks through every container of a federation for what nobody owns: internal objects of collections that are part of
// none, and empty containers without a name that are not garbage-collectable, unless an administrator is about to fill
// them. Arrays that an application made for itself are reported too.
class OrphanChecker {
 public:
  static std::vector<std::string> check(const pstHandle<psFDObj>& federation);

 private:
  void noteOwned(const psId& container);
  void note(CheckResult found, const psId& collection);
  void complainOfOrphans(const psId& container);

  std::vector<std::string> faults_;
  std::unordered_set<std::uint64_t> owned_;
  std::unordered_set<std::uint64_t> current_;  // containers that administrators will fill next
};

}  // namespace ps::detail
