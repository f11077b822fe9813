#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/Faults.h"
#include "support/TempStore.h"

namespace ps::test {

// One operation that is to be run again and again on the same committed collection.
struct Operation {
  std::function<bool()> act;
  std::function<void(bool result, bool refused)> verify;  // in the transaction of the run
  std::function<void()> prepare = [] {};                  // before anything is refused
};

// What can go wrong at some point of an operation. cause(k) prepares it for the k-th point; the function that it
// returns ends it and tells whether that point was reached.
struct Trouble {
  std::string name;
  std::function<std::function<bool()>(std::uint64_t k)> cause;
  bool alwaysFails = false;  // the operation has failed then, and says so
  std::uint64_t first = 1;   // the points that are tried
  std::uint64_t stride = 1;
};

// Opens that are refused, in each manner, and refusals that are thrown: these at every third point, others each time.
std::vector<Trouble> refusals(psSession& session);

// The k-th further page that is changed is too much for the limit for updates. The operation may also fail for another
// reason near the limit; that too counts as refused.
Trouble updateLimit(psSession& session);

// The operation's result; it has failed when the store has thrown.
bool resultOf(const std::function<bool()>& act);

// Runs the operation with each trouble at every point that it reaches, on a server at every 20th, and aborts. A World
// has a store and a collection, takes it up anew with find(), and compares it with what was committed with
// complaints().
template <class World>
void sweep(World& world, const Operation& operation, const std::vector<Trouble>& troubles) {
  ASSERT_EQ(world.store->commit(), 1) << world.store->lastError();
  static std::uint64_t sweeps = 0;
  for (const Trouble& trouble : troubles) {
    const std::uint64_t stride = ScratchFolder::stepsOr<std::uint64_t>(1, 20);
    bool bit = true;
    for (std::uint64_t k = trouble.first + sweeps++ % stride; bit; k += trouble.stride * stride) {
      SCOPED_TRACE(trouble.name + ", at " + std::to_string(k));
      ASSERT_EQ(world.store->begin(pscUpdate), 1);
      world.find();
      operation.prepare();
      const std::function<bool()> endTrouble = trouble.cause(k);
      const bool result = resultOf(operation.act);
      bit = endTrouble();
      operation.verify(result, bit);
      ASSERT_FALSE(trouble.alwaysFails && bit && result);
      ASSERT_EQ(world.store->abort(), 1);
      if (testing::Test::HasFailure()) return;
      // What an abort does not restore is still there after the next ones.
      if (bit && k % 4 != 0) continue;
      ASSERT_EQ(world.store->begin(pscRead), 1);
      world.find();
      ASSERT_EQ(world.complaints(), "") << "after the abort";
      ASSERT_EQ(orphansOf(world.store.session()), "") << "after the abort";
      ASSERT_EQ(world.store->commit(), 1);
      if (testing::Test::HasFailure()) return;
    }
  }
}

template <class World>
void sweep(World& world, const Operation& operation) {
  std::vector<Trouble> troubles = refusals(world.store.session());
  troubles.push_back(updateLimit(world.store.session()));
  sweep(world, operation, troubles);
}

}  // namespace ps::test
