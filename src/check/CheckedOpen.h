#pragma once

#include <string>

#include "core/psCompare.h"
#include "store/base/ClassNumbers.h"
#include "store/base/IdText.h"

// What a collection refers to may be anything in a damaged store, even the storage of an array. So the checkers ask for
// its class before they open it.
namespace ps::detail {

template <class T>
bool opensAs(const pstHandle<T>& object) {
  return ptmIsKindOf(object.typeN(), T::pstTypeN) != 0 && object.open(pscRead) == 1;
}

// Whether there is something that is neither an object nor of a class that this program may lack.
inline bool isNoObject(const psId& id) {
  const unsigned int type = pstHandle<psObj>(id).typeN();
  return type != 0 && type <= psHighestLibraryTypeN && ptmIsKindOf(type, psObj::pstTypeN) == 0;
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
