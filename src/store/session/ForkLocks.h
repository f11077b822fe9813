#pragma once

namespace ps::detail {

// Holds every lock that sessions share across each fork of the process, from the start of the program on: a child has
// none of the parent's other threads, and what one of them had locked at that moment would stay so for ever, and half
// changed. A session that is open in the forking thread is marked as the parent's in the child.
//
// 0, or the system's error code when that could not be arranged.
int watchForks();

}  // namespace ps::detail
