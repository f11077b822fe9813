#include "startup.h"

#include <type_traits>

#include "arrays/psSortedArray.h"
#include "arrays/psUnsortedArray.h"
#include "check/CollectionChecker.h"
#include "core/psAdmin.h"
#include "core/psCollection.h"
#include "core/psCompare.h"
#include "hash/psHashAdmin.h"
#include "hash/psHashBucket.h"
#include "hash/psHashChain.h"
#include "hash/psHashMap.h"
#include "hash/psHashMapEntry.h"
#include "hash/psHashSet.h"
#include "inspect/DescribedOrder.h"
#include "list/psTreeList.h"
#include "list/psTreeListNode.h"
#include "sorted/psBTreeNode.h"
#include "sorted/psTreeMap.h"
#include "sorted/psTreeMapNode.h"
#include "sorted/psTreeSet.h"
#include "store/psTypeManager.h"
#include "tree/psBTree.h"
#include "tree/psTreeAdmin.h"

namespace {

struct LibraryClass {
  const char* name;
  psRelocation relocation;
  void (*introduce)(const char* name, psRelocation relocation);
  void (*adopt)();
};

template <class T>
void introduce(const char* name, psRelocation relocation) {
  ps::detail::registerLibraryClass<T>(name, relocation);
  T::psAssocRegister();
}

template <class T>
void adopt() {
  if constexpr (!std::is_abstract_v<T>) ps::detail::adoptPrototype<T>();
}

template <class T>
constexpr LibraryClass libraryClass(const char* name, psRelocation relocation) {
  return {name, relocation, &introduce<T>, &adopt<T>};
}

constexpr LibraryClass classes[] = {
    libraryClass<psCompare>("psCompare", psRelocation::allowed),
    libraryClass<psUnsortedArray>("psUnsortedArray", psRelocation::allowed),
    libraryClass<psSortedArray>("psSortedArray", psRelocation::allowed),
    libraryClass<psCollection>("psCollection", psRelocation::refused),
    libraryClass<psBTree>("psBTree", psRelocation::refused),
    libraryClass<psBTreeNode>("psBTreeNode", psRelocation::refused),
    libraryClass<psTreeSet>("psTreeSet", psRelocation::refused),
    libraryClass<psTreeList>("psTreeList", psRelocation::refused),
    libraryClass<psTreeListNode>("psTreeListNode", psRelocation::refused),
    libraryClass<psTreeMap>("psTreeMap", psRelocation::refused),
    libraryClass<psTreeMapNode>("psTreeMapNode", psRelocation::refused),
    libraryClass<psAdmin>("psAdmin", psRelocation::refused),
    libraryClass<psHashAdmin>("psHashAdmin", psRelocation::refused),
    libraryClass<psTreeAdmin>("psTreeAdmin", psRelocation::refused),
    libraryClass<psHashMapEntry>("psHashMapEntry", psRelocation::refused),
    libraryClass<psHashChain>("psHashChain", psRelocation::refused),
    libraryClass<psHashBucket>("psHashBucket", psRelocation::refused),
    libraryClass<psHashSet>("psHashSet", psRelocation::refused),
    libraryClass<psHashMap>("psHashMap", psRelocation::refused),
    libraryClass<ps::detail::DescribedOrder>("DescribedOrder", psRelocation::refused),
};

int introduceAll() {
  for (const LibraryClass& known : classes) known.introduce(known.name, known.relocation);
  ps::detail::ContentChecker::use(ps::detail::CollectionChecker::instance());
  return ptmAddToVTableInitList(&psInitVTables);
}

}  // namespace

int psDoFileInit() {
  static const int queued = introduceAll();
  return queued;
}

void psInitVTables() {
  for (const LibraryClass& known : classes) known.adopt();
}
