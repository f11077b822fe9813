#pragma once

#include <functional>

#include "store/base/psUpgradeProgress.h"

namespace ps::detail {

class SessionCore;

// Writes all objects of the store in the present layouts of their classes; see psSession::upgrade. False after a
// failure was signalled.
bool upgrade(SessionCore& session, const std::function<bool(const psUpgradeProgress&)>& progress);

}  // namespace ps::detail
