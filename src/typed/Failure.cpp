#include "typed/Failure.h"

#include <exception>
#include <new>
#include <string>

#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/StoreError.h"
#include "store/pstHandle.h"
#include "typed/Order.h"

namespace ps::detail {

namespace {

// Its text is short when there is no memory.
Error errorAbout(psErrorKind kind, const psId& id, const char* sentence) {
  try {
    const std::string about = id.isNull() ? std::string() : textOf(id) + ": ";
    return {kind, id, about + sentence};
  } catch (const std::bad_alloc&) {
    return {psteStore.number, kind, id, shortMemoryText};
  }
}

// Records what is being handled. Throws std::bad_alloc again, also when there is no memory for the text.
void recordThrown() {
  pehSessionData& context = *pehSessionDataGetFunction();
  try {
    throw;
  } catch (const psException& error) {
    context.record(pscError, error.number(), error.kind(), error.what());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    context.record(pscError, psteStore.number, psErrorKind::usage,
                   std::string("a key of an order threw: ") + error.what());
  } catch (...) {
    context.record(pscError, psteStore.number, psErrorKind::usage,
                   "a key of an order threw something that is no std::exception");
  }
}

}  // namespace

void throwError(psErrorKind kind, const psId& id, const char* sentence) { throw errorAbout(kind, id, sentence); }

void throwRefused(const psId& id, const char* sentence) {
  const pehSessionData& signalled = *pehSessionDataGetFunction();
  if (signalled.kind() == psErrorKind::none) throwError(psErrorKind::denied, id, sentence);
  throw signalledError(signalled, id);
}

void throwNotOpen(const psId& id) {
  if (id.isNull()) throwError(psErrorKind::absent, id, "a null reference was followed");
  throwRefused(id, "the object cannot be opened");
}

void noteRefusal() {
  try {
    recordThrown();
    RefusalWatch::tellAll();
  } catch (const std::bad_alloc&) {
    noteLackOfMemory();
  }
}

void throwWithoutClass(const psId& id) {
  pehSessionDataGetFunction()->clear();
  static_cast<void>(pstHandle<psObj>(id).open(pscRead));
  throwNotOpen(id);
}

}  // namespace ps::detail
