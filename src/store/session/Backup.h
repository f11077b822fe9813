#pragma once

#include <functional>
#include <string>

#include "store/base/psBackup.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

using BackupProgress = std::function<bool(const psBackupProgress&)>;

// See psSession. Failures are signalled.
bool backup(SessionCore& session, const std::string& path, const BackupProgress& progress);
bool salvage(const std::string& from, const std::string& to, psSalvageReport& report, const BackupProgress& progress);

bool compact(const std::string& path, const BackupProgress& progress);

}  // namespace ps::detail
