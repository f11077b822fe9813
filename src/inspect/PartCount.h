#pragma once

#include <unordered_set>

#include "inspect/psCollectionInfo.h"
#include "store/base/IdParts.h"
#include "store/psSession.h"
#include "store/verify/ObjectSet.h"

namespace ps::detail {

// Notes the parts of a collection while its structure is walked over: what is met twice leads in a circle.
class PartCount {
 public:
  // False when the part was met before.
  bool add(const psId& part) {
    if (!met_.insert(part)) return false;
    containers_.insert(containerOf(part));
    return true;
  }
  std::uint64_t containers() const { return containers_.size(); }

 private:
  ObjectSet met_;
  std::unordered_set<psId> containers_;
};

}  // namespace ps::detail
