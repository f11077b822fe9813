#include "pscol/Failure.h"

#include <pscollections.h>

namespace pscol {

Failure failureOf(const psSession& session) {
  const psErrorKind kind = session.lastErrorKind();
  const bool isAnswer = kind == psErrorKind::absent || kind == psErrorKind::damaged;
  return {isAnswer ? Status::negative : Status::unusable, session.lastError()};
}

void require(const psSession& session, int result) {
  if (result != 1) throw failureOf(session);
}

// The error context is that of the thread.
void requireDone(int result) {
  const psSession none;
  require(none, result);
}

}  // namespace pscol
