#pragma once

#include <unordered_set>

#include "store/verify/ContentChecker.h"
#include "store/verify/Findings.h"
#include "store/verify/PageVerifier.h"

namespace ps::detail {

// Has wholes checked, in the current session, and finds the parts that none of them owns.
class WholeVerifier {
 public:
  WholeVerifier(const ContentChecker& checker, FoundContent& content, Findings& findings)
      : checker_(checker), content_(content), findings_(findings), owned_(content.sharing) {}

  void verify(const psId& whole);
  // After the last one.
  void finish();

 private:
  void complain(const ContentChecker::Result& result);
  void verifyUnowned(const psId& part);

  const ContentChecker& checker_;
  FoundContent& content_;
  Findings& findings_;
  ObjectSet owned_;  // and what shares the storage of another, which is reported
  std::unordered_set<psId> usedContainers_;
};

}  // namespace ps::detail
