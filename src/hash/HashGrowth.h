#pragma once

#include <optional>

#include "hash/HashPosition.h"

// How a hash table grows. A full bucket is split in two by the next bit of the hashes. The directory is doubled when
// the bucket already uses all its bits.
namespace ps::detail {

// Depths up to this one keep the directory within 128 MiB.
constexpr int deepestDirectory = 24;

// The place of the hash, with room for another element there. When the bucket is full all the same, no split within
// bounds can divide what it holds. Empty on failure; the table is then sound, and holds what it held.
std::optional<HashPosition> makeRoom(psHashSet& table, KeyProbe& probe, std::uint32_t hash);

// False, with nothing changed, when the directory cannot be opened for update or has its greatest depth, and for a
// table that was not completely constructed.
bool doubleDirectory(psHashSet& table);

}  // namespace ps::detail
