#include "arrays/psSortedArray.h"
#include "arrays/psUnsortedArray.h"
#include "core/psAdmin.h"
#include "core/psCollection.h"
#include "core/psCompare.h"
#include "hash/psHashAdmin.h"
#include "hash/psHashBucket.h"
#include "hash/psHashChain.h"
#include "hash/psHashMap.h"
#include "hash/psHashMapEntry.h"
#include "hash/psHashSet.h"
#include "list/psTreeList.h"
#include "list/psTreeListNode.h"
#include "sorted/psBTreeNode.h"
#include "sorted/psTreeMap.h"
#include "sorted/psTreeMapNode.h"
#include "sorted/psTreeSet.h"
#include "store/psTypeManager.h"
#include "tree/psBTree.h"
#include "tree/psTreeAdmin.h"

using ps::detail::adoptPrototype;

namespace {

template <class T>
void introduce(const char* name, psRelocation relocation) {
  ps::detail::registerLibraryClass<T>(name, relocation);
  T::psAssocRegister();
}

int introduceAll() {
  introduce<psCompare>("psCompare", psRelocation::allowed);
  introduce<psUnsortedArray>("psUnsortedArray", psRelocation::allowed);
  introduce<psSortedArray>("psSortedArray", psRelocation::allowed);
  introduce<psCollection>("psCollection", psRelocation::refused);
  introduce<psBTree>("psBTree", psRelocation::refused);
  introduce<psBTreeNode>("psBTreeNode", psRelocation::refused);
  introduce<psTreeSet>("psTreeSet", psRelocation::refused);
  introduce<psTreeList>("psTreeList", psRelocation::refused);
  introduce<psTreeListNode>("psTreeListNode", psRelocation::refused);
  introduce<psTreeMap>("psTreeMap", psRelocation::refused);
  introduce<psTreeMapNode>("psTreeMapNode", psRelocation::refused);
  introduce<psAdmin>("psAdmin", psRelocation::refused);
  introduce<psHashAdmin>("psHashAdmin", psRelocation::refused);
  introduce<psTreeAdmin>("psTreeAdmin", psRelocation::refused);
  introduce<psHashMapEntry>("psHashMapEntry", psRelocation::refused);
  introduce<psHashChain>("psHashChain", psRelocation::refused);
  introduce<psHashBucket>("psHashBucket", psRelocation::refused);
  introduce<psHashSet>("psHashSet", psRelocation::refused);
  introduce<psHashMap>("psHashMap", psRelocation::refused);
  return ptmAddToVTableInitList(&psInitVTables);
}

}  // namespace

int psDoFileInit() {
  static const int queued = introduceAll();
  return queued;
}

void psInitVTables() {
  adoptPrototype<psCompare>();
  adoptPrototype<psUnsortedArray>();
  adoptPrototype<psSortedArray>();
  adoptPrototype<psBTreeNode>();
  adoptPrototype<psTreeSet>();
  adoptPrototype<psTreeList>();
  adoptPrototype<psTreeListNode>();
  adoptPrototype<psTreeMap>();
  adoptPrototype<psTreeMapNode>();
  adoptPrototype<psAdmin>();
  adoptPrototype<psHashAdmin>();
  adoptPrototype<psTreeAdmin>();
  adoptPrototype<psHashMapEntry>();
  adoptPrototype<psHashChain>();
  adoptPrototype<psHashBucket>();
  adoptPrototype<psHashSet>();
  adoptPrototype<psHashMap>();
}

// Loading the library is enough to make its classes known.
[[maybe_unused]] static const int psFileInitResult = psDoFileInit();
