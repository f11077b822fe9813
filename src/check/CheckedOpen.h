#pragma once

#include <string>

#include "arrays/psUnsortedArray.h"
#include "check/CollectionChecker.h"
#include "core/psCompare.h"
#include "store/base/ClassNumbers.h"
#include "store/base/IdText.h"
#include "tree/psBTree.h"

// What a collection refers to may be anything in a damaged store, even the storage of an array. So the checkers ask for
// its class before they open it.
namespace ps::detail {

template <class T>
bool opensAs(const pstHandle<T>& object) {
  return ptmIsKindOf(object.typeN(), T::pstTypeN) != 0 && object.open(pscRead) == 1;
}

// Whether an array that is open has room for the elements that it says it holds.
inline bool fits(const psUnsortedArray& array) { return array.lastIndex() >= -1 && array.lastIndex() < array.size(); }

// Whether objects of the class are nodes of trees and no collections.
inline bool isNode(unsigned int type) {
  return ptmIsKindOf(type, psBTree::pstTypeN) != 0 && !CollectionChecker::instance().isWhole(type);
}

// Why there cannot be a reference there to an object of the class expected, as the rest of a sentence; "" when there
// can, and when there is nothing. The object may be of a class that this program lacks.
inline std::string complaintAboutClass(const psId& id, unsigned int expected) {
  const unsigned int type = pstHandle<psObj>(id).typeN();
  if (type == 0) return "";
  if (ptmIsKindOf(type, psObj::pstTypeN) == 0) return type <= psHighestLibraryTypeN ? "is no object" : "";
  return ptmIsKindOf(type, expected) != 0 ? ""
                                          : "is of class " + std::to_string(type) + ", not " + std::to_string(expected);
}

// The same of an element of a collection whose comparator orders objects of the class expected.
inline std::string complaintAboutElement(const psId& id, unsigned int expected) {
  return isNode(pstHandle<psObj>(id).typeN()) ? "is a node of a tree" : complaintAboutClass(id, expected);
}

// Why a collection cannot have the comparator, as the rest of a sentence; "" when it can, or has none. isOpen says
// whether this program can use it.
inline std::string complaintAbout(const pstHandle<psCompare>& comparator, bool& isOpen) {
  const unsigned int type = comparator.typeN();
  isOpen = comparator.isNull() || opensAs(comparator);
  const bool isUnknown = type > psHighestLibraryTypeN && ptmIsKindOf(type, psObj::pstTypeN) == 0;
  const bool isComparator = isUnknown || ptmIsKindOf(type, psCompare::pstTypeN) != 0;
  return isOpen || isComparator ? "" : "its comparator is " + textOf(comparator) + ", which is none";
}

}  // namespace ps::detail
