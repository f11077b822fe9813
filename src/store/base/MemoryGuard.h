#pragma once

#include <new>

namespace ps::detail {

// Signals that there is no memory left, and counts a refusal. A running update is void then: nobody knows how far the
// operation came that lacked it. Needs no memory itself.
void noteLackOfMemory() noexcept;
// The same, and throws the error where the application asked for that.
void signalLackOfMemory();

// Calls an operation of the library. When it lacks memory, signals that and returns the result of one that failed. Code
// of the application is called outside of these, since what it throws must pass.
template <class Result, class Operation>
Result guardMemory(Result failed, const Operation& operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    signalLackOfMemory();
  }
  return failed;
}

// The same for a caller that cleans up after a failure, and then throws where the application asked for that.
template <class Result, class Operation>
Result guardMemoryQuietly(Result failed, const Operation& operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    noteLackOfMemory();
  }
  return failed;
}

}  // namespace ps::detail
