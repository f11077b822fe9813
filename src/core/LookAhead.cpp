#include "core/LookAhead.h"

namespace ps::detail {

const LookAhead* LookAhead::classes = nullptr;

LookAhead::LookAhead(unsigned int typeN, ForObjects forObjects, ForRawKeys forRawKeys)
    : typeN_(typeN), forObjects_(forObjects), forRawKeys_(forRawKeys), others_(classes) {
  classes = this;
}

const LookAhead* LookAhead::of(const psCollection& collection) {
  if (currentSession->readStamp == SessionHead::noStamp) return nullptr;
  const LookAhead* ahead = classes;
  while (ahead != nullptr && !collection.psIsKindOf(ahead->typeN_)) ahead = ahead->others_;
  return ahead;
}

void LookAhead::announce(const psCollection& collection, const pstHandle<psObj>* keys, int n) {
  const LookAhead* const ahead = n > 1 ? of(collection) : nullptr;
  if (ahead != nullptr) ahead->forObjects_(collection, keys, n);
}

void LookAhead::announce(const psCollection& collection, const void* const* keys, int n) {
  const LookAhead* const ahead = n > 1 ? of(collection) : nullptr;
  if (ahead != nullptr) ahead->forRawKeys_(collection, keys, n);
}

}  // namespace ps::detail
