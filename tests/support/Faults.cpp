#include "support/Faults.h"

#include <algorithm>
#include <vector>

#include "arrays/ArrayView.h"
#include "check/HashChecker.h"
#include "check/OrphanChecker.h"
#include "check/TreeChecker.h"
#include "store/pstItr.h"
#include "tree/NodeAccess.h"

namespace ps::test {

namespace {

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

std::string joined(const ps::detail::CheckResult& result) {
  std::vector<std::string> lines;
  for (const auto& fault : result.faults) lines.push_back(fault.text);
  return joined(lines);
}

}  // namespace

std::string faultsOf(const pstHandle<psBTree>& root) { return joined(ps::detail::TreeChecker::check(root)); }
std::string faultsOf(const pstHandle<psHashSet>& table) { return joined(ps::detail::HashChecker::check(table)); }
std::string orphansOf(const psSession& session) {
  return joined(ps::detail::OrphanChecker::check(session.federation()));
}

std::string leftoversOf(const psSession& session) {
  std::vector<std::string> orphans = ps::detail::OrphanChecker::check(session.federation());
  // Where there are several writers, an administrator does not note the container that a refused operation has begun.
  const auto isBegun = [&session](const std::string& orphan) {
    return session.hasSeveralWriters() && orphan.find("an empty container without a name") != std::string::npos;
  };
  orphans.erase(std::remove_if(orphans.begin(), orphans.end(), isBegun), orphans.end());
  return joined(orphans);
}

std::string findingsIn(psSession& session) {
  psVerifyReport report;
  const int isWhole = session.verify(report);
  std::string text = isWhole == 1 ? "" : session.lastError() + '\n';
  for (const psFinding& fault : report.faults) text += fault.text + '\n';
  for (const psFinding& note : report.notes) {
    if (note.kind == psFindingKind::unowned) text += note.text + '\n';
  }
  return text;
}

std::string slackOf(const pstHandle<psBTree>& root) {
  std::string slack;
  int height = 1;
  for (pstHandle<psBTree> level(root->atFirst()); !level.isNull(); level = level->parent(), ++height) {
    for (pstHandle<psBTree> node = level, next; !node.isNull(); node = next) {
      next = node->next();
      if (!next.isNull() && !node->isFull()) slack += "a node of height " + std::to_string(height) + " has room\n";
    }
  }
  const ps::detail::ArrayView top(ps::detail::NodeAccess::elements(*root));
  if (root->depth() > 2 && top.count() == 1) slack += "the root has one child\n";
  return slack;
}

int containersOf(psSession& session) {
  int count = 0;
  pstItr<psContObj> container;
  for (container.scan(session.database("test"), pscNoOpen); container.next();) ++count;
  return count;
}

}  // namespace ps::test
