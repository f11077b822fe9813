#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "check/CheckResult.h"
#include "store/psSession.h"

namespace ps::detail {

// Searches every container of a federation for what nobody owns: internal objects of collections that belong to no
// collection, and empty containers without a name. Containers that are garbage-collectable, or that an administrator is
// about to fill, are not reported. Arrays that an application created for itself are reported too.
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
