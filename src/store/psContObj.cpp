#include "store/psContObj.h"

#include "store/base/NothingThrown.h"
#include "store/session/FailedCreation.h"
#include "store/session/SessionCore.h"

namespace {

void* newContainer(const char* name, unsigned int typeN, const psId& near) {
  const ps::detail::NothingThrown here;
  ps::detail::SessionCore* const session = ps::detail::SessionCore::updating("creating a container");
  ps::detail::CatalogEntry* const entry =
      session != nullptr ? session->directory().createContainer(near, name, typeN, 0) : nullptr;
  return ps::detail::noteCreation(entry != nullptr ? entry->object : nullptr);
}

}  // namespace

void* psContObj::operator new(std::size_t, const char* name, unsigned int, unsigned int, unsigned int,
                              const psId& near) noexcept {
  return newContainer(name, pstTypeN, near);
}

void* psContObj::operator new(std::size_t, const char* name, unsigned int, unsigned int, unsigned int,
                              const pstHandle<psObj>& near) noexcept {
  return newContainer(name, pstTypeN, near.oid());
}

void* psGCContObj::operator new(std::size_t, const char* name, unsigned int, unsigned int, unsigned int,
                                const psId& near) noexcept {
  return newContainer(name, pstTypeN, near);
}

void* psGCContObj::operator new(std::size_t, const char* name, unsigned int, unsigned int, unsigned int,
                                const pstHandle<psObj>& near) noexcept {
  return newContainer(name, pstTypeN, near.oid());
}

namespace ps::detail {

static const ClassRegistration<psContObj, &registerLibraryClass<psContObj>> registrationOfPsContObj("psContObj");
static const ClassRegistration<psGCContObj, &registerLibraryClass<psGCContObj>> registrationOfPsGCContObj(
    "psGCContObj");

}  // namespace ps::detail
