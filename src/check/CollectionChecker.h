#pragma once

#include "check/CheckResult.h"

namespace ps::detail {

// Tells the store which classes are those of collections and of their parts, and checks a collection of any class.
class CollectionChecker final : public ContentChecker {
 public:
  static const CollectionChecker& instance();

  bool isWhole(unsigned int typeN) const override;
  bool isPart(unsigned int typeN) const override;
  Result check(const psId& collection, const ObjectSet& taken) const override;
  Result checkUnowned(const psId& part, const ObjectSet& taken) const override;
};

}  // namespace ps::detail
