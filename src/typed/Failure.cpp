#include "typed/Failure.h"

#include "store/base/IdText.h"
#include "store/pstHandle.h"
#include "typed/Order.h"

namespace ps::detail {

void throwError(psErrorKind kind, const psId& id, const char* sentence) {
  const std::string about = id.isNull() ? std::string() : textOf(id) + ": ";
  throw Error(kind, id, about + sentence);
}

void throwRefused(const psId& id, const char* sentence) {
  const pehSessionData& signalled = *pehSessionDataGetFunction();
  if (signalled.kind() == psErrorKind::none) throwError(psErrorKind::denied, id, sentence);
  throw Error(signalled.number(), signalled.kind(), id, signalled.text());
}

void throwNotOpen(const psId& id) {
  if (id.isNull()) throwError(psErrorKind::absent, id, "a null reference was followed");
  throwRefused(id, "the object cannot be opened");
}

void noteRefusal(const psException& error) {
  pehSessionDataGetFunction()->record(pscError, error.number(), error.kind(), error.what());
  RefusalWatch::tellAll();
}

void throwWithoutClass(const psId& id) {
  pehSessionDataGetFunction()->clear();
  static_cast<void>(pstHandle<psObj>(id).open(pscRead));
  throwNotOpen(id);
}

}  // namespace ps::detail
