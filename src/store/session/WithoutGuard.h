#pragma once

#include <utility>

#include "store/session/SessionCore.h"

namespace ps::detail {

// While an object of this class lives, the session's open guard is not asked: it refuses what is sound, and so has no
// say where content is verified or shown.
class WithoutGuard {
 public:
  explicit WithoutGuard(SessionCore& session) : session_(session), guard_(session.guard(nullptr)) {}
  WithoutGuard(const WithoutGuard&) = delete;
  WithoutGuard& operator=(const WithoutGuard&) = delete;
  ~WithoutGuard() { session_.guard(std::move(guard_)); }

 private:
  SessionCore& session_;
  SessionCore::Guard guard_;
};

}  // namespace ps::detail
