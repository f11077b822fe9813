#include "check/CollectionChecker.h"

#include <algorithm>
#include <iterator>

#include "check/CheckedOpen.h"
#include "check/HashChecker.h"
#include "check/LoosePart.h"
#include "check/TreeChecker.h"
#include "hash/psHashAdmin.h"
#include "hash/psHashMapEntry.h"
#include "list/psTreeList.h"
#include "sorted/psTreeSet.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {

namespace {

constexpr unsigned int wholes[] = {psTreeSet::pstTypeN, psTreeList::pstTypeN, psHashSet::pstTypeN};
constexpr unsigned int parts[] = {psBTree::pstTypeN,      psUnsortedArray::pstTypeN, psAdmin::pstTypeN,
                                  psHashBucket::pstTypeN, psHashChain::pstTypeN,     psHashMapEntry::pstTypeN};

template <std::size_t count>
bool isOneOf(unsigned int typeN, const unsigned int (&classes)[count]) {
  return std::any_of(std::begin(classes), std::end(classes),
                     [typeN](unsigned int base) { return ptmIsKindOf(typeN, base) != 0; });
}

template <class Admin, class Note>
void noteContainers(const psId& id, Note note) {
  const pstHandle<Admin> admin(id);
  if (opensAs(admin)) note(*admin);
}

}  // namespace

const CollectionChecker& CollectionChecker::instance() {
  static const CollectionChecker checker;
  return checker;
}

bool CollectionChecker::isWhole(unsigned int typeN) const { return isOneOf(typeN, wholes); }
bool CollectionChecker::isPart(unsigned int typeN) const { return isOneOf(typeN, parts) && !isWhole(typeN); }

ContentChecker::Result CollectionChecker::check(const psId& collection, const ObjectSet& taken) const {
  if (ptmIsKindOf(pstHandle<psObj>(collection).typeN(), psHashSet::pstTypeN) != 0) {
    const pstHandle<psHashSet> table(collection);
    Result result = HashChecker::check(table, taken);
    if (table.open(pscRead) == 1) {
      noteContainers<psHashAdmin>(table->admin().oid(), [&result](const psHashAdmin& admin) {
        result.containers.push_back(admin.bucketContainer().oid());
      });
    }
    return result;
  }
  const pstHandle<psBTree> root(collection);
  Result result = TreeChecker::check(root, taken);
  if (root.open(pscRead) == 1) {
    noteContainers<psTreeAdmin>(root->admin().oid(), [&result](const psTreeAdmin& admin) {
      result.containers.push_back(admin.nodeContainer().oid());
      result.containers.push_back(admin.vArrayContainer().oid());
    });
  }
  return result;
}

ContentChecker::Result CollectionChecker::checkUnowned(const psId& part, const ObjectSet& taken) const {
  return LoosePart::check(part, taken);
}

}  // namespace ps::detail
