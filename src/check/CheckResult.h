#pragma once

#include "store/verify/ContentChecker.h"

namespace ps::detail {

// What a checker finds in a collection.
using CheckResult = ContentChecker::Result;

}  // namespace ps::detail
