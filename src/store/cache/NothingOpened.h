#pragma once

#include <string>

#include "store/cache/Frame.h"

namespace ps::detail {

// While an object of this class lives, the calling thread has no session: whatever would open, change or create
// something is refused. A conversion of an object runs while its page is being laid out, and must see nothing else.
class NothingOpened {
 public:
  NothingOpened() : before_(currentSession) { currentSession = &none_; }
  NothingOpened(const NothingOpened&) = delete;
  NothingOpened& operator=(const NothingOpened&) = delete;
  ~NothingOpened() { currentSession = before_; }

  // Whether the calling thread has one.
  static bool applies();
  // Whether something was refused.
  bool refused() const { return none_.refusals != 0; }

 private:
  SessionHead none_;
  SessionHead* before_;
};

}  // namespace ps::detail
