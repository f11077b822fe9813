#include "store/psHandleBase.h"

#include "store/SessionCore.h"

unsigned int psHandleBase::typeOutOfLine() const {
  ps::detail::SessionCore* const session = ps::detail::SessionCore::current();
  return session != nullptr ? session->typeOf(id_) : 0;
}

psHandleBase::psHandleBase(const psObj* object) {
  if (object == nullptr || !ps::detail::isInArena(object)) return;
  id_ = object->psOid();
  if (id_.isNull()) return;
  object_ = const_cast<psObj*>(object);
  ps::detail::pin(ps::detail::frameOfObject(object_));
}
