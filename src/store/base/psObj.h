#pragma once

#include <cstddef>

#include "store/base/ClassNumbers.h"
#include "store/base/psExport.h"
#include "store/base/psId.h"
#include "store/base/psMode.h"

template <class T>
class pstHandle;
template <class T>
class pstRef;

namespace ps::detail {

// Takes back what operator new returned; see psObj::operator delete.
PS_API void reclaim(void* object) noexcept;
// The same for containers, databases and the federation.
PS_API void reclaimEntry(void* object) noexcept;

}  // namespace ps::detail

// Tag of the constructors with which the store makes the prototype of a class. They neither read nor write storage.
struct psInternalObj {};

// Base class of everything that the store keeps. A persistent object is a plain C++ object whose bytes lie in a page
// image. It may hold integers, references (pstRef) and arrays (pstVArray), but no pointers or handles.
//
// An object that was not made with the store's operator new, for example on the stack, is transient: its identifier is
// null, and it can always be updated.
class PS_API psObj {
 public:
  // The number of the class; each class of the store has its own, by PS_PERSISTENT_CLASS.
  static constexpr unsigned int pstTypeN = ps::detail::objectTypeN;

  psObj() = default;
  explicit psObj(psInternalObj) {}
  psObj(const psObj&) = delete;
  psObj& operator=(const psObj&) = delete;

  // Whether the object's class has this number, or derives from the class that has it.
  virtual bool psIsKindOf(unsigned int typeN) const;
  virtual unsigned int psGetTypeN() const;
  // The store never calls this. An application may override it to check an object. 1 when the object is sound.
  virtual int psValidate();
  virtual const char* psGetTypeName() const;

  virtual ~psObj() noexcept;

  // Called on a new version of an object; on the copy that pstHandle::copy made; before an object moves; and on the
  // object in its new place after it moved. A move may still be given up after psPreMoveInit.
  virtual void psNewVersInit();
  virtual void psCopyInit();
  virtual void psPreMoveInit();
  virtual void psPostMoveInit();

  // Opens the object itself for update. 1 on success; on 0 nothing may be written.
  [[nodiscard]] int psUpdate() const;

  // Makes the argument a handle or reference to this object, opened in the mode, and returns it. When the open is
  // refused, the argument names the object and is not open.
  pstHandle<psObj>& psThis(pstHandle<psObj>& handle, psMode mode) const;
  pstRef<psObj>& psThis(pstRef<psObj>& reference, psMode mode) const;

  // The identifier; null for a transient object.
  psId psOid() const;

  // Frees the place of an object whose constructor threw, so that the object never existed, or whose destructor has
  // run. An object of the store is deleted as by psDelete, which is the better way: `delete` does not call the guard,
  // and reports a failure only by an error. Outside an update transaction an object of the store stays as it is, and
  // the error is signalled.
  static void operator delete(void* object) noexcept { ps::detail::reclaim(object); }
  // The store has no arrays of objects. Use a pstVArray of references.
  static void* operator new[](std::size_t) = delete;
};
