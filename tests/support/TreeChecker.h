#pragma once

#include <string>
#include <vector>

#include "store/psSession.h"
#include "tree/psBTree.h"

namespace ps::detail {

// What is wrong with a tree, one complaint a line, each with its place as the path of positions from the root ("/1/0");
// empty when it is sound. Every fault is collected, none ends the walk. Compares neighbours with the tree's own
// comparator; elements that were deleted are passed over. Opens every node, array and, where there is a comparator,
// element.
std::vector<std::string> checkTree(const pstHandle<psBTree>& root);

// Looks through every container of the federation for what nobody owns: internal objects of collections that are part
// of none, and empty containers without a name that are not garbage-collectable, unless some administrator is about to
// fill them. Arrays that an application made for itself are reported too.
std::vector<std::string> checkOrphans(const pstHandle<psFDObj>& federation);

}  // namespace ps::detail

namespace ps::test {

// The complaints of checkTree, a line each; "" when there are none.
std::string faultsOf(const pstHandle<psBTree>& root);

// Where a tree is not packed: a node that is not the last of its level and has room, or a level at the top that is
// superfluous.
std::string slackOf(const pstHandle<psBTree>& root);

// The complaints of checkOrphans about the session's store.
std::string orphansOf(const psSession& session);

// Number of containers in the session's database "test".
int containersOf(psSession& session);

}  // namespace ps::test
