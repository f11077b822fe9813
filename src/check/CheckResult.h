#pragma once

#include "store/verify/ContentChecker.h"

namespace ps::detail {

// What a checker finds in a collection.
using CheckResult = ContentChecker::Result;

constexpr const char* complaintAboutTaken = "it, or its storage, is part of another collection too";

}  // namespace ps::detail
