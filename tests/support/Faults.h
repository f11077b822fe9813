#pragma once

#include <string>

#include "hash/psHashSet.h"
#include "store/psSession.h"
#include "tree/psBTree.h"

// What the library's checkers find, a line for each fault; "" when there is none.
namespace ps::test {

std::string faultsOf(const pstHandle<psBTree>& root);
std::string faultsOf(const pstHandle<psHashSet>& table);
// In the session's store.
std::string orphansOf(const psSession& session);
// The same after refusals: what these may not leave.
std::string leftoversOf(const psSession& session);
// What the verification of the session's store finds, but for what applications may leave: elements that were deleted,
// and objects of classes that this program lacks. Not in an update transaction.
std::string findingsIn(psSession& session);

// Where a tree is not packed: a node that is not the last of its level and has room, or a level at the top that is
// superfluous.
std::string slackOf(const pstHandle<psBTree>& root);

// Number of containers in the session's database "test".
int containersOf(psSession& session);

}  // namespace ps::test
