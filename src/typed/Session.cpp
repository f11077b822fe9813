#include "typed/Session.h"

namespace ps {

namespace {

template <class Handle>
Handle present(const Handle& found, const char* name) {
  if (!found.isNull()) return found;
  const pehSessionData& signalled = *pehSessionDataGetFunction();
  if (signalled.kind() != psErrorKind::none) detail::throwRefused(psId(), name);
  const std::string text = std::string("there is no \"") + name + "\"";
  detail::throwError(psErrorKind::absent, psId(), text.c_str());
}

void require(int done) {
  if (done != 1) detail::throwRefused(psId(), "the session failed");
}

}  // namespace

Session::Session(const std::string& path, const psSessionOptions& options) { require(open(path, options)); }

pstHandle<psDBObj> Session::database(const char* name) {
  pehSessionDataGetFunction()->clear();
  return present(psSession::database(name), name);
}

pstHandle<psContObj> Session::container(const pstHandle<psDBObj>& database, const char* name) {
  pehSessionDataGetFunction()->clear();
  return present(psSession::container(database, name), name);
}

pstHandle<psContObj> Session::container(const char* database, const char* name) {
  return container(this->database(database), name);
}

Session::Transaction::Transaction(Session& session, psMode mode) : session_(session) { require(session.begin(mode)); }

Session::Transaction::~Transaction() {
  if (!isDone_ && session_.inTransaction()) session_.abort();
}

void Session::Transaction::commit() {
  isDone_ = true;
  if (session_.inTransaction()) require(session_.commit());
}

}  // namespace ps
