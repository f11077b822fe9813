#include "check/OrphanChecker.h"

#include <utility>

#include "check/HashChecker.h"
#include "check/TreeChecker.h"
#include "hash/psHashAdmin.h"
#include "list/psTreeList.h"
#include "sorted/psTreeSet.h"
#include "store/base/IdText.h"
#include "store/pstItr.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {

namespace {

// The classes of the collections and their parts have these numbers.
constexpr unsigned int lowestTypeN = 4010;
constexpr unsigned int highestTypeN = 4029;

template <class Visit>
void forEachContainer(const pstHandle<psFDObj>& federation, Visit visit) {
  pstItr<psDBObj> database;
  for (database.scan(federation, pscNoOpen); database.next();) {
    pstItr<psContObj> container;
    for (container.scan(database, pscNoOpen); container.next();) visit(container.oid());
  }
}

}  // namespace

std::vector<std::string> OrphanChecker::check(const pstHandle<psFDObj>& federation) {
  OrphanChecker checker;
  forEachContainer(federation, [&](const psId& container) { checker.noteOwned(container); });
  forEachContainer(federation, [&](const psId& container) { checker.complainOfOrphans(container); });
  return std::move(checker.faults_);
}

void OrphanChecker::noteOwned(const psId& container) {
  const pstHandle<psObj> scope(container);
  pstItr<psBTree> root;
  for (root.scan(scope, pscRead); root.next();) {
    if (!root->psIsKindOf(psTreeSet::pstTypeN) && !root->psIsKindOf(psTreeList::pstTypeN)) continue;
    note(TreeChecker::check(root), root);
    const pstHandle<psTreeAdmin> admin(root->admin());
    if (admin.open(pscRead) != 1) continue;
    current_.insert(admin->nodeContainer().oid().bits());
    current_.insert(admin->vArrayContainer().oid().bits());
  }
  pstItr<psHashSet> table;
  for (table.scan(scope, pscRead); table.next();) {
    note(HashChecker::check(table), table);
    const pstHandle<psHashAdmin> admin(table->admin());
    if (admin.open(pscRead) == 1) current_.insert(admin->bucketContainer().oid().bits());
  }
}

void OrphanChecker::note(CheckResult found, const psId& collection) {
  owned_.merge(found.owned);
  owned_.insert(collection.bits());
}

void OrphanChecker::complainOfOrphans(const psId& container) {
  bool empty = true;
  pstItr<psObj> object;
  for (object.scan(pstHandle<psObj>(container), pscNoOpen); object.next();) {
    empty = false;
    const unsigned int type = object.typeN();
    const bool isOurs = type >= lowestTypeN && type <= highestTypeN && type != psCompare::pstTypeN;
    if (isOurs && owned_.count(object.oid().bits()) == 0)
      faults_.push_back(textOf(object) + ": nobody owns this object of class " + std::to_string(type));
  }
  const pstHandle<psContObj> handle(container);
  if (empty && handle.name() == nullptr && ptmIsKindOf(handle.typeN(), psGCContObj::pstTypeN) == 0 &&
      current_.count(container.bits()) == 0)
    faults_.push_back(textOf(container) + ": an empty container without a name");
}

}  // namespace ps::detail
