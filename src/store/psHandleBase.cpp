#include "store/psHandleBase.h"

#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/psError.h"
#include "store/session/FailedCreation.h"
#include "store/session/SessionCore.h"

unsigned int psHandleBase::typeOutOfLine() const {
  ps::detail::SessionCore* const session = ps::detail::SessionCore::current();
  return session != nullptr ? session->objects().typeOf(id_) : 0;
}

namespace {

// Whether an object is of a class that has no number of its own; the error is then signalled, or thrown. While an
// object is constructed or destroyed it is of a base of its class, which has another number.
bool isMisfit(const psObj* object) {
  ps::detail::SessionCore* const session = ps::detail::SessionCore::current();
  const std::uint32_t type = ps::detail::headerOf(object)->type & ~ps::detail::namedFlag;
  const ps::detail::ClassInfo* const info = session != nullptr ? session->objects().classOf(type) : nullptr;
  if (info == nullptr || PS_LIKELY(ps::detail::isOfClass(*info, object)) || object->psGetTypeN() != type) return false;
  ps::detail::guardMemory(false, [&] {
    return session->fail(psErrorKind::unknownClass,
                         ps::detail::textOf(object->psOid()) + ": " + ps::detail::complaintAbout(*info, object));
  });
  psThrowException(pehSessionDataGetFunction());
  return true;
}

}  // namespace

psHandleBase::psHandleBase(const psObj* object) {
  if (object != nullptr && !ps::detail::isInArena(object)) return;
  const psId id = object != nullptr ? object->psOid() : psId();
  if (id.isNull()) ps::detail::throwFailedCreation();
  if (id.isNull() || (id.get_page() != 0 && isMisfit(object))) return;
  id_ = id;
  object_ = const_cast<psObj*>(object);
  ps::detail::pin(ps::detail::frameOfObject(object_));
}
