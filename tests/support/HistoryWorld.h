#pragma once

#include <cstdint>
#include <string>

#include "support/History.h"

namespace ps::test {

// Makes a world of shared data in an empty store: fields, the five kinds of collections, names, the members of a
// container, and tokens, each of which is in one of the collections at a time. 4 writers and 2 readers, each a process,
// work on it until there are so many commits, or so many seconds are over. The verdict is that of checkHistory, and has
// their own complaints among the anomalies.
HistoryVerdict runHistory(const std::string& store, std::uint64_t commits, double seconds, std::uint64_t seed);

}  // namespace ps::test
