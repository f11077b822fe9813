#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/TempStore.h"
#include "support/TreeChecker.h"

namespace ps::test {

// One operation that is to be run again and again on the same committed collection.
struct Operation {
  std::function<bool()> act;
  std::function<void(bool result, bool refused)> verify;  // in the transaction of the run
  std::function<void()> prepare = [] {};                  // before anything is refused
};

// Runs the operation with the k-th open refused, in each manner, for every k until no open is left to refuse, and
// aborts. A World has a store and a collection, takes it up anew with find(), and compares it with what was committed
// with complaints().
template <class World>
void sweep(World& world, const Operation& operation) {
  using Manner = Refuse::Manner;
  ASSERT_EQ(world.store->commit(), 1) << world.store->lastError();
  for (const Manner manner : {Manner::once, Manner::forGood, Manner::fromThenOn}) {
    const char* const how = manner == Manner::once      ? "once"
                            : manner == Manner::forGood ? "for good"
                                                        : "and all that follow";
    bool refused = true;
    for (std::uint64_t k = 1; refused; ++k) {
      SCOPED_TRACE("open " + std::to_string(k) + " refused " + how);
      ASSERT_EQ(world.store->begin(pscUpdate), 1);
      world.find();
      operation.prepare();
      bool result = false;
      {
        const Refuse refuse(world.store.session(), k, manner);
        result = operation.act();
        refused = refuse.bit();
      }
      operation.verify(result, refused);
      ASSERT_EQ(world.store->abort(), 1);
      ASSERT_EQ(world.store->begin(pscRead), 1);
      world.find();
      ASSERT_EQ(world.complaints(), "") << "after the abort";
      ASSERT_EQ(orphansOf(world.store.session()), "") << "after the abort";
      ASSERT_EQ(world.store->commit(), 1);
      if (testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace ps::test
