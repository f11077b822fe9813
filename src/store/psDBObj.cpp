#include "store/psDBObj.h"

#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"
#include "store/session/FailedCreation.h"
#include "store/session/SessionCore.h"

using ps::detail::CatalogEntry;
using ps::detail::guardMemory;
using ps::detail::SessionCore;

namespace {

CatalogEntry* createIn(const psId& federation) {
  SessionCore* const session = SessionCore::updating("creating a database");
  if (session == nullptr) return nullptr;
  if (federation == ps::detail::Catalog::federationId()) return session->directory().createDatabase();
  return guardMemory<CatalogEntry*>(nullptr, [&] {
    session->fail(psErrorKind::usage,
                  "a database is created in the federation, not in " + ps::detail::textOf(federation));
    return nullptr;
  });
}

}  // namespace

void* psDBObj::operator new(std::size_t, const pstHandle<psFDObj>& federation) noexcept {
  const ps::detail::NothingThrown here;
  CatalogEntry* const entry = createIn(federation);
  // The address stays readable when the constructor takes the database back, so that the handle that is made from it is
  // null.
  const bool isKept = entry != nullptr && SessionCore::current()->keep(entry->object);
  return ps::detail::noteCreation(isKept ? entry->object : nullptr);
}

psDBObj::psDBObj(const char* name, unsigned int, unsigned int, const char*, const char*, unsigned int, unsigned short) {
  const ps::detail::NothingThrown here;
  SessionCore* const session = SessionCore::current();
  CatalogEntry* const entry = session != nullptr ? session->directory().entry(psOid()) : nullptr;
  if (entry == nullptr) return;
  const bool hasName = name != nullptr && *name != '\0';
  if (hasName ? session->directory().nameDatabase(*entry, name)
              : session->fail(psErrorKind::usage, "a database needs a name"))
    return;
  if (!guardMemory(false, [&] { return session->catalog().dropDatabase(*entry); })) return;
  entry->frame->pageId = psId();
  ps::detail::noteCreation(nullptr);
}

namespace ps::detail {

static const ClassRegistration<psDBObj, &registerLibraryClass<psDBObj>> registrationOfPsDBObj("psDBObj");

}  // namespace ps::detail
