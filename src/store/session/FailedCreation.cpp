#include "store/session/FailedCreation.h"

#include <cstdint>
#include <utility>

#include "store/base/NothingThrown.h"
#include "store/base/psError.h"
#include "store/cache/Frame.h"

namespace ps::detail {

namespace {

thread_local bool hasCreationFailed = false;
thread_local std::uint64_t opensBefore = 0;  // of the session, when a creation failed

}  // namespace

void* noteCreation(void* memory) {
  hasCreationFailed = memory == nullptr;
  opensBefore = currentSession->opens;
  return memory;
}

void throwFailedCreation() {
  if (NothingThrown::applies() || !std::exchange(hasCreationFailed, false)) return;
  // A null address that comes after other opens has nothing to do with the failed creation.
  if (opensBefore != currentSession->opens) return;
  psThrowException(pehSessionDataGetFunction());
}

void forgetFailedCreation() { hasCreationFailed = false; }

}  // namespace ps::detail
