#include "store/base/psId.h"

#include "store/session/Opening.h"
#include "store/session/SessionCore.h"

bool psId::isValid() const {
  ps::detail::SessionCore* const session = ps::detail::SessionCore::current();
  return session != nullptr && session->objects().exists(*this);
}

int psId::update() const {
  psObj* const object = ps::detail::openForUpdate<psObj>(*this);
  if (object == nullptr) return 0;
  ps::detail::unpin(ps::detail::frameOfObject(object));
  return 1;
}
