#pragma once

#include <cstddef>

#include "store/base/psId.h"

// What layers above do otherwise where the current session's store is on a server. There updates of several sessions
// run side by side, and whatever many of them change makes conflicts; and each page that is not in memory is a round
// trip.
namespace ps::detail {

bool hasSeveralWriters();

// For an administrator of containers: which one this session has made last for a use of it. Null where there are not
// several writers, and when there is no memory.
psId* ownContainer(const psId& admin, std::size_t use);

// Says that objects are about to be opened. On a server, the pages of the first of them that are not in memory are
// asked for in one round trip. Nothing is done for a file.
void announceOpening(const psId* ids, std::size_t n);

// How many are worth to be announced at a time.
constexpr std::size_t mostAnnounced = 64;

// The same for n of the references from one on.
template <class Reference>
void announceOpening(const Reference* references, int n) {
  psId ids[mostAnnounced];
  std::size_t count = 0;
  for (; count < static_cast<std::size_t>(n) && count < mostAnnounced; ++count) ids[count] = references[count].oid();
  announceOpening(static_cast<const psId*>(ids), count);
}

}  // namespace ps::detail
