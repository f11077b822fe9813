#include "typed/Session.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

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

bool Session::pauseAfter(const Error& error, int attempt) {
  constexpr int mostAttempts = 20;
  constexpr unsigned int longestPause = 100000;  // microseconds
  thread_local std::minstd_rand random{std::random_device()()};
  if (error.kind() != psErrorKind::conflict || !hasSeveralWriters() || attempt + 1 >= mostAttempts) return false;
  const unsigned int limit = std::min(longestPause, 1000U << std::min(attempt, 7));
  std::this_thread::sleep_for(std::chrono::microseconds(random() % limit));
  return true;
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
