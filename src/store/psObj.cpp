#include "store/base/psObj.h"

#include <cstring>
#include <new>

#include "store/base/NothingThrown.h"
#include "store/cache/Frame.h"
#include "store/pstHandle.h"
#include "store/session/SessionCore.h"

bool psObj::psIsKindOf(unsigned int typeN) const { return typeN == pstTypeN; }
unsigned int psObj::psGetTypeN() const { return pstTypeN; }
int psObj::psValidate() { return 1; }
const char* psObj::psGetTypeName() const { return "psObj"; }
psObj::~psObj() noexcept = default;
void psObj::psNewVersInit() {}
void psObj::psCopyInit() {}
void psObj::psPreMoveInit() {}
void psObj::psPostMoveInit() {}

psId psObj::psOid() const {
  if (!ps::detail::isInArena(this)) return psId();
  if (ps::detail::isChecked) ps::detail::checkObjectInUse(this);
  return ps::detail::idAt(this);
}

int psObj::psUpdate() const { return ps::detail::isInArena(this) ? psOid().update() : 1; }

pstHandle<psObj>& psObj::psThis(pstHandle<psObj>& handle, psMode mode) const {
  handle = pstHandle<psObj>(psOid());
  static_cast<void>(handle.open(mode));
  return handle;
}

pstRef<psObj>& psObj::psThis(pstRef<psObj>& reference, psMode mode) const {
  reference = psOid();
  static_cast<void>(pstHandle<psObj>(reference).open(mode));
  return reference;
}

namespace ps::detail {

namespace {

// Whether what was made at an address is still there. The memory of a page that has left the cache, as after an abort,
// may be something else's.
bool isInPlace(const void* object) {
  const Frame* const block = frameOfAddress(object);
  return block->readStamp != 0 && frameOfObject(object) == block && liveObject(block, headerOf(object)->slot) == object;
}

bool isEntryInPlace(const void* object) {
  Frame* const frame = frameOfObject(object);
  return frame->readStamp != 0 && PagelessObject::of(frame)->object == object;
}

void discardOrRevive(void* object) {
  SessionCore* const session = SessionCore::updating("deleting an object");
  if (session != nullptr && session->objects().discard(static_cast<const psObj*>(object))) return;
  ps::detail::ObjectSpace::revive(object);
}

void reclaimIf(bool (*isThere)(const void*), void* object) {
  const NothingThrown here;
  if (!isInArena(object)) {
    ::operator delete(object);
  } else if (isThere(object)) {
    discardOrRevive(object);
  }
}

}  // namespace

void reclaim(void* object) noexcept { reclaimIf(&isInPlace, object); }
void reclaimEntry(void* object) noexcept { reclaimIf(&isEntryInPlace, object); }

}  // namespace ps::detail
