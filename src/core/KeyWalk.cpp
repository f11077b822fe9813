#include "core/KeyWalk.h"

namespace ps::detail {

bool isMap(const pstHandle<psCollection>& collection) {
  const unsigned int type = collection.typeN();
  return ptmIsKindOf(type, sortedMapTypeN) != 0 || ptmIsKindOf(type, hashMapTypeN) != 0;
}

}  // namespace ps::detail
