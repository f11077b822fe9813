#include "store/psPersistentClass.h"

#include "store/SessionCore.h"
#include "store/StoreError.h"

using ps::detail::SessionCore;

void* pstNewObj(unsigned int typeN, std::size_t size, const pstHandle<psObj>& near) noexcept {
  const ps::detail::NothingThrown here;
  SessionCore* const session = SessionCore::updating("creating an object");
  return ps::detail::noteCreation(session != nullptr ? session->create(typeN, size, near.oid()) : nullptr);
}

void* pstNewObj(unsigned int typeN, std::size_t size, const psObj* near) noexcept {
  return pstNewObj(typeN, size, pstHandle<psObj>(near));
}

const pstSessionData* pstSessionDataGetFunction() noexcept {
  static const pstSessionData nowhere;
  const SessionCore* const session = SessionCore::current();
  return session != nullptr ? &session->data : &nowhere;
}
