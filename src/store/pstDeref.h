#pragma once

#include "store/base/psObj.h"
#include "store/session/Opening.h"

// Pins the object of an identifier in the mode (pscRead or pscUpdate) and returns its address; null when refused. The
// caller returns the pin with pstRefUnpin.
PS_API psObj* pstRefPin(const psId* id, psMode mode);
PS_API void pstRefUnpin(psObj* object);

// The result of pstRef::operator->. Keeps the object pinned while it lives.
class psDerefBase {
 public:
  explicit psDerefBase(psObj* pinned) : object_(pinned) {}
  psDerefBase(const psDerefBase&) = delete;
  psDerefBase& operator=(const psDerefBase&) = delete;
  ~psDerefBase() {
    if (object_ != nullptr) ps::detail::unpin(ps::detail::frameOfObject(object_));
  }

  // False when the object could not be opened.
  explicit operator bool() const { return object_ != nullptr; }

 protected:
  psObj* object_;
};

// The same with the class of the object, which -> and * give.
template <class T>
class pstDeref : public psDerefBase {
 public:
  using psDerefBase::psDerefBase;
  T* operator->() const { return static_cast<T*>(object_); }
  T& operator*() const { return *static_cast<T*>(object_); }
};
