#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "hash/psHashSet.h"

namespace ps::detail {

// What is wrong with a hash table, one complaint a line; empty when it is sound. Hashes every key that exists. owned,
// when there is one, receives the buckets, chains, entries and the administrator.
std::vector<std::string> checkTable(const pstHandle<psHashSet>& table,
                                    std::unordered_set<std::uint64_t>* owned = nullptr);

}  // namespace ps::detail

namespace ps::test {

// The complaints of checkTable, a line each; "" when there are none.
std::string faultsOf(const pstHandle<psHashSet>& table);

}  // namespace ps::test
