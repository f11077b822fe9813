#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "store/psSession.h"
#include "store/verify/ObjectSet.h"

namespace ps::detail {

// Searches every container of a federation for what nobody owns: internal objects of collections that belong to no
// collection, and empty containers without a name. Containers that are garbage-collectable, or that an administrator is
// about to fill, are not reported. Arrays that an application created for itself are reported too.
class OrphanChecker {
 public:
  static std::vector<std::string> check(const pstHandle<psFDObj>& federation);

 private:
  void noteOwned(const psId& container);
  void complainOfOrphans(const psId& container);

  std::vector<std::string> faults_;
  ObjectSet owned_;
  std::unordered_set<psId> current_;  // containers that administrators will fill next
};

}  // namespace ps::detail
