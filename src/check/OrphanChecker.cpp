#include "check/OrphanChecker.h"

#include <utility>

#include "check/CollectionChecker.h"
#include "core/psCollection.h"
#include "store/base/IdText.h"
#include "store/pstItr.h"

namespace ps::detail {

namespace {

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
  const CollectionChecker& checker = CollectionChecker::instance();
  pstItr<psCollection> found;
  for (found.scan(pstHandle<psObj>(container), pscNoOpen); found.next();) {
    if (!checker.isWhole(found.typeN())) continue;
    const CheckResult result = checker.check(found.oid(), {});
    owned_.insertAll(result.owned);
    current_.insert(result.containers.begin(), result.containers.end());
  }
}

void OrphanChecker::complainOfOrphans(const psId& container) {
  bool empty = true;
  pstItr<psObj> object;
  for (object.scan(pstHandle<psObj>(container), pscNoOpen); object.next();) {
    empty = false;
    const unsigned int type = object.typeN();
    if (CollectionChecker::instance().isPart(type) && !owned_.contains(object.oid()))
      faults_.push_back(textOf(object) + ": nobody owns this object of class " + std::to_string(type));
  }
  const pstHandle<psContObj> handle(container);
  if (empty && handle.name() == nullptr && ptmIsKindOf(handle.typeN(), psGCContObj::pstTypeN) == 0 &&
      current_.count(container) == 0)
    faults_.push_back(textOf(container) + ": an empty container without a name");
}

}  // namespace ps::detail
