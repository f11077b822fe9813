#include "typed/Failure.h"

#include <exception>
#include <new>
#include <string>

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

void noteRefusal() {
  pehSessionData& context = *pehSessionDataGetFunction();
  try {
    throw;
  } catch (const psException& error) {
    context.record(pscError, error.number(), error.kind(), error.what());
  } catch (const std::bad_alloc&) {
    context.record(pscError, psteStore.number, psErrorKind::memory, "there is no memory for a key of an order");
  } catch (const std::exception& error) {
    context.record(pscError, psteStore.number, psErrorKind::usage,
                   std::string("a key of an order threw: ") + error.what());
  } catch (...) {
    context.record(pscError, psteStore.number, psErrorKind::usage,
                   "a key of an order threw something that is no std::exception");
  }
  RefusalWatch::tellAll();
}

void throwWithoutClass(const psId& id) {
  pehSessionDataGetFunction()->clear();
  static_cast<void>(pstHandle<psObj>(id).open(pscRead));
  throwNotOpen(id);
}

}  // namespace ps::detail
