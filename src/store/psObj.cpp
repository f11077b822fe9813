#include "store/psObj.h"

#include "store/cache/Frame.h"
#include "store/pstHandle.h"

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
  psId id = ps::detail::frameOfObject(this)->pageId;
  id.set_slot(ps::detail::headerOf(this)->slot);
  return id;
}

int psObj::psUpdate() const { return ps::detail::isInArena(this) ? psOid().update() : 1; }

pstHandle<psObj>& psObj::psThis(pstHandle<psObj>& handle, psMode mode) const {
  handle = pstHandle<psObj>(psOid());
  handle.open(mode);
  return handle;
}

pstRef<psObj>& psObj::psThis(pstRef<psObj>& reference, psMode mode) const {
  reference = psOid();
  pstHandle<psObj>(reference).open(mode);
  return reference;
}
