#include "store/verify/WholeVerifier.h"

#include <algorithm>
#include <vector>

#include "store/base/IdParts.h"
#include "store/base/IdText.h"

namespace ps::detail {

void WholeVerifier::verify(const psId& whole) {
  psVerifyReport& report = findings_.report();
  ++report.collections;
  if (owned_.contains(whole)) return;
  const ContentChecker::Result result = checker_.check(whole, owned_);
  report.elements += result.elements;
  complain(result);
  owned_.insertAll(result.owned);
  usedContainers_.insert(result.containers.begin(), result.containers.end());
  if (result.deleted != 0)
    findings_.note(psFindingKind::deleted, whole,
                   textOf(whole) + " has " + std::to_string(result.deleted) +
                       " elements that were deleted; remove them with removeAllDeleted");
  if (!result.unchecked.empty())
    findings_.note(psFindingKind::unchecked, whole, textOf(whole) + ' ' + result.unchecked);
}

void WholeVerifier::complain(const ContentChecker::Result& result) {
  for (const ContentChecker::Complaint& complaint : result.faults)
    findings_.fault(psFindingKind::collection, complaint.id, complaint.text);
}

void WholeVerifier::verifyUnowned(const psId& part) {
  const ContentChecker::Result result = checker_.checkUnowned(part, owned_);
  complain(result);
  owned_.insertAll(result.owned);
  if (content_.foreignWholes == 0)
    findings_.note(psFindingKind::unowned, part, textOf(part) + " is part of no collection");
}

void WholeVerifier::finish() {
  std::vector<psId> unowned;
  content_.parts.visitMissing(owned_, [&unowned](const psId& part) { unowned.push_back(part); });
  std::sort(unowned.begin(), unowned.end(), [](const psId& a, const psId& b) { return orderOf(a) < orderOf(b); });
  for (const psId& part : unowned) verifyUnowned(part);
  if (content_.foreignWholes != 0) {
    findings_.note(psFindingKind::unchecked, psId(),
                   "parts that no collection owns were not looked for, since " +
                       std::to_string(content_.foreignWholes) +
                       " objects may be collections of classes that this program does not register");
    return;
  }
  for (const psId& container : content_.emptyContainers) {
    if (usedContainers_.count(container) == 0)
      findings_.note(psFindingKind::unowned, container, textOf(container) + " is empty and has no name");
  }
}

}  // namespace ps::detail
