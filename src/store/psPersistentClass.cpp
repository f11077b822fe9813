#include "store/psPersistentClass.h"

#include "store/base/NothingThrown.h"
#include "store/base/PerThread.h"
#include "store/session/FailedCreation.h"
#include "store/session/SessionCore.h"

using ps::detail::SessionCore;

void* pstNewObj(unsigned int typeN, std::size_t size, const pstHandle<psObj>& near) noexcept {
  const ps::detail::NothingThrown here;
  SessionCore* const session = SessionCore::updating("creating an object");
  return ps::detail::noteCreation(session != nullptr ? session->objects().create(typeN, size, near.oid()) : nullptr);
}

void* pstNewObj(unsigned int typeN, std::size_t size, const psObj* near) noexcept {
  return pstNewObj(typeN, size, pstHandle<psObj>(near));
}

const pstSessionData* pstSessionDataGetFunction() noexcept {
  pstSessionData& data = ps::detail::PerThread<pstSessionData>::get();
  const SessionCore* const session = SessionCore::current();
  const psId placement = session != nullptr ? session->defaultPlacement : psId();
  if (data.defaultPlacement != placement) data.defaultPlacement = pstHandle<psObj>(placement);
  return &data;
}
