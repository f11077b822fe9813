#include "store/CurrentSession.h"

#include "store/psSession.h"
#include "store/session/SessionCore.h"

namespace ps {

CurrentSession::CurrentSession(psSession& session)
    : before_(detail::currentSession->serial), done_(session.makeCurrent() == 1) {}

CurrentSession::~CurrentSession() {
  detail::SessionCore* const before = done_ ? detail::SessionCore::ofThisThread(before_) : nullptr;
  if (before != nullptr) before->makeCurrent();
}

}  // namespace ps
