#include "typed/Ref.h"

#include "store/base/NothingThrown.h"

namespace ps::detail {

bool isOfClass(const psId& id, unsigned int typeN) {
  const unsigned int type = pstHandle<psObj>(id).typeN();
  if (type == 0) throwWithoutClass(id);
  return type == typeN || ptmIsKindOf(type, typeN) != 0;
}

void throwOtherClass(const psId& id, unsigned int typeN) {
  const std::string text = "the object is of class number " + std::to_string(pstHandle<psObj>(id).typeN()) +
                           ", not of " + std::to_string(typeN) + " or a class derived from it";
  throwError(psErrorKind::usage, id, text.c_str());
}

void destroy(pstHandle<psObj> object) {
  if (psDelete(object) != 1) throwNotOpen(object.oid());
}

void discardAndThrow(const pstHandle<psObj>& object) {
  const pehSessionData& signalled = *pehSessionDataGetFunction();
  const Error error = signalledError(signalled, object.oid());
  pstHandle<psObj> made(object);
  {
    const NothingThrown here;
    psDelete(made);
  }
  throw error;
}

}  // namespace ps::detail
