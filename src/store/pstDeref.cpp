#include "store/pstDeref.h"

psObj* pstRefPin(const psId* id, psMode mode) {
  if (mode == pscNoOpen) return nullptr;
  return mode == pscRead ? ps::detail::openForReading<psObj>(*id) : ps::detail::openForUpdate<psObj>(*id);
}

void pstRefUnpin(psObj* object) {
  if (object != nullptr) ps::detail::unpin(ps::detail::frameOfObject(object));
}
