#include "core/CurrentReference.h"

namespace ps::detail {

int replaceReference(pstRef<psObj>* current, const pstRef<psObj>& reference) {
  if (current == nullptr) return 0;
  *current = reference;
  return 1;
}

int moveReferenced(pstRef<psObj>* current, const pstHandle<psObj>& near) {
  if (current == nullptr || current->isNull()) return 0;
  pstHandle<psObj> object(*current);
  if (object.move(near) != 1) return 0;
  *current = object;
  return 1;
}

}  // namespace ps::detail
