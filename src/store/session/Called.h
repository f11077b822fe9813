#pragma once

#include <optional>

#include "store/session/SessionCore.h"

namespace ps::detail {

// Signals that a call cannot succeed as it was made. Returns false, so that callers can return it.
bool refuseCall(const char* message);

// Whether a session is open, and on this thread. Otherwise the reason is signalled.
bool isHere(const SessionCore* core);

// The session of a call of the application, current until the call returns. Null, with the reason signalled, when it
// cannot be used here.
class Called {
 public:
  explicit Called(SessionCore* core) : core_(isHere(core) ? core : nullptr) {
    if (core_ != nullptr) current_.emplace(*core_);
  }

  SessionCore* operator->() const { return core_; }
  explicit operator bool() const { return core_ != nullptr; }

  // The same, if it is in a transaction. what is the name of the refused operation.
  SessionCore* reading(const char* what) const {
    return core_ != nullptr && (core_->mode() != pscNoOpen || core_->isReadyFor(what)) ? core_ : nullptr;
  }
  // The same, if it is in an update transaction.
  SessionCore* updating(const char* what) const { return core_ != nullptr ? SessionCore::updating(what) : nullptr; }

 private:
  SessionCore* core_;
  std::optional<SessionCore::AsCurrent> current_;
};

}  // namespace ps::detail
