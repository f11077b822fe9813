#pragma once

namespace ps::detail {

// Holds every lock that sessions share across each fork of the process, from the start of the program on. A child has
// none of the parent's other threads. What one of them had locked at that moment would otherwise stay locked, and half
// changed, for ever. A session that is open in the forking thread is marked as the parent's in the child.
//
// Returns 0, or the system's error code when this could not be arranged.
int watchForks();

}  // namespace ps::detail
