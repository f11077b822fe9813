#pragma once

#include <string>

#include "store/base/psErrorKind.h"

namespace ps::detail {

// Signals the error, and sees to it that the running update cannot be committed: it has begun a change that it cannot
// end. Returns 0.
int voidTransaction(psErrorKind kind, const std::string& message);

// Signals an error of an operation that has changed nothing. Returns 0.
int refuseOperation(psErrorKind kind, const std::string& message);

}  // namespace ps::detail
