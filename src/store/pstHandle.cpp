#include "store/pstHandle.h"

#include "store/base/FiledName.h"
#include "store/base/IdParts.h"
#include "store/base/MemoryGuard.h"
#include "store/base/psError.h"
#include "store/cache/TypeRegistry.h"
#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/psFDObj.h"
#include "store/session/Relocation.h"
#include "store/session/SessionCore.h"

using ps::detail::CatalogEntry;
using ps::detail::SessionCore;

pstHandle<psContObj> pstHandle<psObj>::containedIn() const {
  if (id_.get_OC() == 0) return pstHandle<psContObj>();
  return pstHandle<psContObj>(ps::detail::containerOf(id_));
}

pstHandle<psObj>& pstHandle<psObj>::copy(const pstHandle<psObj>& near, pstHandle<psObj>& result) const {
  result = pstHandle<psObj>(ps::detail::copyObject(id_, near.oid()));
  return result;
}

int pstHandle<psObj>::move(const pstHandle<psObj>& near) {
  const psId moved = ps::detail::moveObject(id_, near.oid());
  if (moved.isNull()) return 0;
  assign(moved);
  return 1;
}

int pstHandle<psObj>::lookupObj(const pstHandle<psObj>& scope, const char* name, psMode mode) {
  return pstLookupObj(psObj::pstTypeN, *this, scope, name, mode);
}

int pstHandle<psObj>::lookupObj(const pstHandle<psObj>& scope, const psKey& key, psMode mode) {
  return pstLookupObj(psObj::pstTypeN, *this, scope, key, mode);
}

namespace {

int lookUp(unsigned int typeN, pstHandle<psObj>& result, const pstHandle<psObj>& scope, std::string_view name,
           psMode mode) {
  result = pstHandle<psObj>();
  SessionCore* const session = SessionCore::required();
  if (session == nullptr) return 0;
  if (session->mode() == pscNoOpen) {
    session->fail(psErrorKind::usage, "a look-up outside a transaction; call psSession::begin first");
    return 0;
  }
  psId object;
  if (session->directory().findNamed(scope.oid(), name, object) != ps::detail::Engine::Lookup::found) return 0;
  pstHandle<psObj> found(object);
  // An object of a class that the program lacks may be what was asked for: opening it says so.
  const unsigned int type = found.typeN();
  if (ptmIsKindOf(type, typeN) == 0 && session->objects().classOf(type) != nullptr) return 0;
  if (found.open(mode) != 1) return 0;
  result = std::move(found);
  return 1;
}

bool makeFiled(const char* name, std::string& filed) {
  return ps::detail::guardMemory(false, [&] {
    filed = ps::detail::filedName(name);
    return true;
  });
}

}  // namespace

int pstNameObj(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const char* name) {
  SessionCore* const session = SessionCore::updating("naming an object");
  std::string filed;
  const bool done =
      session != nullptr && makeFiled(name, filed) && session->directory().file(object.oid(), scope.oid(), filed);
  if (!done) psThrowException(pehSessionDataGetFunction());
  return done ? 1 : 0;
}

int pstLookupObj(unsigned int typeN, pstHandle<psObj>& result, const pstHandle<psObj>& scope, const char* name,
                 psMode mode) {
  std::string filed;
  if (makeFiled(name, filed)) return lookUp(typeN, result, scope, filed, mode);
  result = pstHandle<psObj>();
  return 0;
}

int pstLookupObj(unsigned int typeN, pstHandle<psObj>& result, const pstHandle<psObj>& scope, const psKey& key,
                 psMode mode) {
  return lookUp(typeN, result, scope, key.bytes(), mode);
}

int psDelete(pstHandle<psObj>& object) {
  SessionCore* const session = SessionCore::updating("psDelete");
  if (session == nullptr) return 0;
  const bool done = session->objects().destroy(object.oid(), object.openForUpdate());
  object.close();
  return done ? 1 : 0;
}

psObj* psHandleBase::openForUpdate() const {
  const SessionCore* const session = SessionCore::current();
  const bool isOpen = object_ != nullptr && ps::detail::idAt(object_) == id_;
  return isOpen && session != nullptr && session->isUpdatable(object_) ? object_ : nullptr;
}

pstHandle<psContObj>::pstHandle(const psContObj* container) : pstHandle<psObj>(container) {}
psContObj* pstHandle<psContObj>::operator->() const { return static_cast<psContObj*>(accessAs<psContObj>()); }

const char* pstHandle<psContObj>::name() const {
  SessionCore* const session = SessionCore::current();
  const CatalogEntry* const entry =
      session != nullptr && session->mode() != pscNoOpen ? session->directory().entry(id_) : nullptr;
  return entry != nullptr && !entry->name.empty() ? entry->name.c_str() : nullptr;
}

int pstHandle<psContObj>::refreshOpen(psMode mode, unsigned char* flag, unsigned char notOpen) const {
  SessionCore* const session = SessionCore::current();
  if (flag != nullptr) *flag = 0;
  if (session == nullptr || session->mode() == pscNoOpen) return open(pscRead);
  bool changed = false;
  CatalogEntry* entry = nullptr;
  if (session->directory().find(id_, entry, &changed) != ps::detail::Engine::Lookup::found) return 0;
  if (flag != nullptr) *flag = changed ? 1 : 0;
  return open(notOpen != 0 ? pscNoOpen : mode);
}

void pstHandle<psContObj>::containedIn(pstHandle<psDBObj>& database) const {
  database = pstHandle<psDBObj>(ps::detail::databaseOf(id_));
}

pstHandle<psDBObj>::pstHandle(const psDBObj* database) : pstHandle<psObj>(database) {}
psDBObj* pstHandle<psDBObj>::operator->() const { return static_cast<psDBObj*>(accessAs<psDBObj>()); }

const char* pstHandle<psDBObj>::name() const {
  SessionCore* const session = SessionCore::current();
  const CatalogEntry* const entry =
      session != nullptr && session->mode() != pscNoOpen ? session->directory().entry(id_) : nullptr;
  return entry != nullptr ? entry->name.c_str() : nullptr;
}

void pstHandle<psDBObj>::containedIn(pstHandle<psFDObj>& federation) const {
  federation = pstHandle<psFDObj>(ps::detail::Catalog::federationId());
}

bool pstHandle<psDBObj>::exist(const pstHandle<psFDObj>& federation, const char* name, psMode mode) {
  SessionCore* const session = SessionCore::required();
  if (session == nullptr || session->mode() == pscNoOpen || federation.oid() != ps::detail::Catalog::federationId())
    return false;
  CatalogEntry* found = nullptr;
  if (session->directory().findDatabase(name, found) != ps::detail::Engine::Lookup::found) return false;
  assign(found->id());
  static_cast<void>(open(mode));
  return true;
}
