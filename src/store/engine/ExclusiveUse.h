#pragma once

#include <string>

#include "store/engine/Descriptor.h"

namespace ps::detail {

// Keeps everybody else from opening a store while an object of this class lives, and is only possible while nobody has
// it open, this process included. Whoever begins to open it waits; see UpdateLock::enter.
//
// The locks belong to the descriptor and not to the process, so that they conflict with those of this process too, and
// are not lost when it closes another descriptor of the lock file.
class ExclusiveUse {
 public:
  // 0, EBUSY when somebody has the store open, or another system error code.
  explicit ExclusiveUse(const std::string& lockPath);

  int code() const { return code_; }

 private:
  int take() const;

  Descriptor lockFile_;
  int code_;
};

}  // namespace ps::detail
