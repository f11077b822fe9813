#include "store/psId.h"

#include "store/SessionCore.h"
#include "store/cache/Frame.h"

bool psId::isValid() const {
  ps::detail::SessionCore* const session = ps::detail::SessionCore::current();
  return session != nullptr && session->exists(*this);
}

int psId::update() const {
  psObj* const object = ps::detail::openForUpdate(*this);
  if (object == nullptr) return 0;
  ps::detail::unpin(ps::detail::frameOfObject(object));
  return 1;
}
