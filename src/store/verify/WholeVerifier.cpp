#include "store/verify/WholeVerifier.h"

#include "store/base/IdText.h"

namespace ps::detail {

void WholeVerifier::verify(const psId& whole) {
  const ContentChecker::Result result = checker_.check(whole);
  psVerifyReport& report = findings_.report();
  ++report.collections;
  report.elements += result.elements;
  for (const ContentChecker::Complaint& complaint : result.faults)
    findings_.fault(psFindingKind::collection, complaint.id, complaint.text);
  result.owned.visitCommon(owned_, [&](const psId& part) {
    findings_.fault(psFindingKind::collection, part,
                    textOf(part) + " is part of 2 collections; one of them is " + textOf(whole));
  });
  owned_.insertAll(result.owned);
  usedContainers_.insert(result.containers.begin(), result.containers.end());
  if (result.deleted != 0)
    findings_.note(psFindingKind::deleted, whole,
                   textOf(whole) + " has " + std::to_string(result.deleted) +
                       " elements that were deleted; remove them with removeAllDeleted");
  if (!result.unchecked.empty())
    findings_.note(psFindingKind::unchecked, whole, textOf(whole) + ' ' + result.unchecked);
}

void WholeVerifier::finish() {
  if (content_.foreignWholes != 0) {
    findings_.note(psFindingKind::unchecked, psId(),
                   "parts that no collection owns were not looked for, since " +
                       std::to_string(content_.foreignWholes) +
                       " objects may be collections of classes that this program does not register");
    return;
  }
  content_.parts.visitMissing(owned_, [this](const psId& part) {
    findings_.note(psFindingKind::unowned, part, textOf(part) + " is part of no collection");
  });
  for (const psId& container : content_.emptyContainers) {
    if (usedContainers_.count(container) == 0)
      findings_.note(psFindingKind::unowned, container, textOf(container) + " is empty and has no name");
  }
}

}  // namespace ps::detail
