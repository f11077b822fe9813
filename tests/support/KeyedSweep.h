#pragma once

#include "support/KeyedWorld.h"
#include "support/Sweep.h"

// Sweeps over operations on one element, in a world that was brought into the shape in which the element meets them.
namespace ps::test {

// Refused opens and, where the world's keys are Java's, calls into Java that throw: after one of those the operation
// must have failed.
std::vector<Trouble> troublesOf(KeyedWorld& world);

// Sweeps over all of those.
void sweepKeyed(KeyedWorld& world, const Operation& operation);

// An operation on one element happens, and says so, or does not happen.
void expectWhole(const KeyedWorld& world, const SetModel& after, bool result, bool refused);

void sweepInsertion(KeyedWorld& world, const ItemKey& item);
void sweepRemoval(KeyedWorld& world, const ItemKey& item);
// The same with an iterator, which stands on the element before, or stays.
void sweepRemovalByIterator(KeyedWorld& world, const ItemKey& item);

}  // namespace ps::test
