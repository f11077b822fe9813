#pragma once

#include <functional>

#include "store/base/psVerifyReport.h"
#include "store/session/SessionCore.h"
#include "store/verify/CatalogVerifier.h"
#include "store/verify/ClassVerifier.h"
#include "store/verify/Findings.h"
#include "store/verify/NameVerifier.h"
#include "store/verify/PageVerifier.h"

namespace ps::detail {

// Verifies all content of a store, as the read transaction of a session that is current sees it: first every record of
// the engine, in one pass in the order of the keys, then every collection.
class StoreVerifier {
 public:
  using Progress = std::function<bool(const psVerifyProgress&)>;

  StoreVerifier(SessionCore& session, psVerifyReport& report, const Progress& progress);

  // False, with the reason signalled, when something could not be read, or progress has returned false. The report has
  // what was found until then.
  bool run();

 private:
  bool verifyRecords();
  bool verifyWholes();
  void verifyRecord(std::string_view key, std::string_view value);
  bool goesOn(psVerifyProgress::Phase phase, std::uint64_t done, std::uint64_t total);

  SessionCore& session_;
  const Progress& progress_;
  Findings findings_;
  CatalogVerifier catalog_;
  ClassVerifier classes_;
  NameVerifier names_;
  PageVerifier pages_;
  bool hasFederation_ = false;
};

// Runs one, in the session's read transaction or, outside a transaction, in one of its own. False, with the error
// signalled, when there are faults or it could not run to its end.
bool verifyStore(SessionCore& session, psVerifyReport& report, const StoreVerifier::Progress& progress);

}  // namespace ps::detail
