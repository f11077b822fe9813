#pragma once

#include <optional>

#include "hash/HashPosition.h"

// How a hash table grows: a full bucket is split in two by the next bit of the hashes, and the directory doubled when
// the bucket uses all its bits already.
namespace ps::detail {

// Depths up to this one keep the directory within 128 MiB.
constexpr int deepestDirectory = 24;

// Where the hash belongs, with room for another there. A bucket that is full all the same has been found to hold what
// no split within bounds can divide. Nothing on failure; the table is then sound, and holds what it held.
std::optional<HashPosition> makeRoom(psHashSet& table, KeyProbe& probe, std::uint32_t hash);

// False, with nothing changed, when the directory cannot be opened for update, or is as deep as it gets, and for a
// table that was not constructed whole.
bool doubleDirectory(psHashSet& table);

}  // namespace ps::detail
