#include "store/verify/StoreVerifier.h"

#include <algorithm>
#include <utility>

#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"
#include "store/base/psError.h"
#include "store/catalog/Catalog.h"
#include "store/engine/StoreKey.h"
#include "store/session/WithoutGuard.h"
#include "store/verify/ContentChecker.h"
#include "store/verify/WholeVerifier.h"

namespace ps::detail {

namespace {

// How often progress is told, in records or collections.
constexpr std::uint64_t recordsPerCall = 4096;
constexpr std::uint64_t wholesPerCall = 64;

// A read transaction of a session for as long as the object lives, unless it is in one.
class Reading {
 public:
  explicit Reading(SessionCore& session) : session_(session), isOwn_(session.mode() == pscNoOpen) {
    isOpen_ = isOwn_ ? session.begin(pscRead) : session.isReadyFor("verify");
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() {
    if (isOwn_ && isOpen_) session_.abort();
  }

  explicit operator bool() const { return isOpen_; }

 private:
  SessionCore& session_;
  const bool isOwn_;
  bool isOpen_ = false;
};

void clear(psVerifyReport& report) {
  const std::size_t most = report.mostFindings;
  report = psVerifyReport();
  report.mostFindings = most;
}

std::string complaintOf(const psVerifyReport& report) {
  const std::string count = std::to_string(report.faultCount) + (report.faultCount == 1 ? " fault" : " faults");
  const std::string first = report.faults.empty() ? "" : ". The first: " + report.faults.front().text;
  return "the verification has found " + count + first +
         ". Restore the store from a backup, or read what is sound of it without psVerify::all";
}

}  // namespace

StoreVerifier::StoreVerifier(SessionCore& session, psVerifyReport& report, const Progress& progress)
    : session_(session),
      progress_(progress),
      findings_(session.engine(), report),
      catalog_(session.engine(), findings_),
      classes_(session.cache().classes(), findings_),
      names_(session.engine(), catalog_, findings_),
      pages_(session.engine(), catalog_, classes_, findings_) {}

bool StoreVerifier::run() {
  if (!verifyRecords() || !verifyWholes()) return false;
  return findings_.report().isComplete = true;
}

bool StoreVerifier::goesOn(psVerifyProgress::Phase phase, std::uint64_t done, std::uint64_t total) {
  return progress_ == nullptr || progress_({phase, done, std::max(done, total)}) ||
         session_.fail(psErrorKind::usage, "the verification was stopped; the report has what it found until then");
}

bool StoreVerifier::verifyRecords() {
  psVerifyReport& report = findings_.report();
  const std::uint64_t total = session_.engine().records();
  bool goes = true;
  const bool isRead = session_.engine().scan("", [&](std::string_view key, std::string_view value) {
    verifyRecord(key, value);
    report.bytes += key.size() + value.size();
    if (++report.records % recordsPerCall == 0) goes = goesOn(psVerifyProgress::Phase::records, report.records, total);
    return goes && !session_.engine().isVoid();
  });
  if (!isRead || session_.engine().isVoid()) return session_.fail(session_.engine().error());
  if (!goes) return false;
  if (!hasFederation_) findings_.faultOf(psFindingKind::entry, Catalog::federationId(), "has no record");
  pages_.finish();
  return goesOn(psVerifyProgress::Phase::records, report.records, report.records);
}

void StoreVerifier::verifyRecord(std::string_view key, std::string_view value) {
  switch (key.empty() ? '\0' : key[0]) {
    case 'A':
      return catalog_.verifyContainerName(key, value);
    case 'B':
      return catalog_.verifyDatabaseName(key, value);
    case 'C':
      return catalog_.verifyContainer(key, value);
    case 'D':
      return catalog_.verifyDatabase(key, value);
    case 'F':
      hasFederation_ = true;
      return catalog_.verifyFederation(key, value);
    case 'K':
      return classes_.verifyRecord(key);
    case StoreKey::byName:
      return names_.verifyByScope(key, value);
    case StoreKey::byObject:
    case StoreKey::byObjectInFormat1:
      return names_.verifyByObject(key, value);
    case 'P':
      return pages_.verifyChunk(key, value);
    default:
      return findings_.fault(psFindingKind::record, psId(), "a record has a key of no known form");
  }
}

bool StoreVerifier::verifyWholes() {
  const ContentChecker* const checker = ContentChecker::instance();
  if (checker == nullptr) return true;
  const std::vector<psId>& wholes = pages_.content().wholes;
  WholeVerifier verifier(*checker, pages_.content(), findings_);
  for (std::size_t i = 0; i < wholes.size(); ++i) {
    if (i % wholesPerCall == 0 && !goesOn(psVerifyProgress::Phase::collections, i, wholes.size())) return false;
    verifier.verify(wholes[i]);
    if (session_.engine().isVoid()) return session_.fail(session_.engine().error());
  }
  verifier.finish();
  if (session_.engine().isVoid()) return session_.fail(session_.engine().error());
  return goesOn(psVerifyProgress::Phase::collections, wholes.size(), wholes.size());
}

bool verifyStore(SessionCore& session, psVerifyReport& report, const StoreVerifier::Progress& progress) {
  clear(report);
  if (session.mode() == pscUpdate)
    return session.fail(psErrorKind::usage, "verify inside an update transaction; commit or abort it first");
  const SessionCore::Working working(session);
  const NothingThrown here;
  const WithoutGuard unguarded(session);
  const Reading reading(session);
  if (!reading) return false;
  const std::uint64_t shortages = session.shortages();
  const bool isDone = guardMemoryQuietly(false, [&] { return StoreVerifier(session, report, progress).run(); });
  // What could not be opened for lack of memory looks like a fault.
  if (session.shortages() != shortages) {
    report.isComplete = false;
    return session.fail(psErrorKind::memory,
                        "there is no memory for the verification; lower the cacheLimit, or close handles and sessions");
  }
  if (!isDone) return false;
  if (report.faultCount != 0) return session.fail(psErrorKind::damaged, complaintOf(report));
  // What was signalled on the way was no failure of the call.
  pehSessionDataGetFunction()->clear();
  return true;
}

}  // namespace ps::detail
