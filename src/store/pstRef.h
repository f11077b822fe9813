#pragma once

#include "store/d_Ref_Any.h"
#include "store/psHandleBase.h"
#include "store/psKey.h"
#include "store/pstDeref.h"

class psContObj;
class psDBObj;

// The class that pstRef<T> derives from. A reference to a class need not know the class, so two classes can refer to
// each other. A few references are results of covariant virtual operations; their classes specialise this.
template <class T>
struct pstRefBaseOf {
  using type = psRefBase;  // pstRef<T> derives from it
};

// A persistent reference to an object of class T: 8 bytes, the object's identifier. References are the only way in
// which an object of the store refers to another. A reference may outlive its object; isValid tells.
template <class T>
class pstRef : public pstRefBaseOf<T>::type {
  using Base = typename pstRefBaseOf<T>::type;

 public:
  constexpr pstRef() = default;
  constexpr pstRef(const psId& id) : Base(id) {}
  pstRef(const psRefBase& reference) : Base(reference.oid()) {}
  pstRef(const psHandleBase& handle) : Base(handle.oid()) {}
  pstRef(const psObj* object) : Base(object != nullptr ? object->psOid() : psId()) {}
  pstRef(const d_Ref_Any& any) : Base(any.oid()) {}

  // Opens the object for reading and pins it until the end of the full expression. Null when refused: where you must
  // expect that, test an open first.
  pstDeref<T> operator->() const {
    if (ps::detail::isChecked) ps::detail::checkMemoryInUse(this);
    return pstDeref<T>(ps::detail::openForReading<T>(this->oid()));
  }

  // The container that holds the object; null for a null reference. Does not open the object.
  pstHandle<psContObj> containedIn() const;
  // The same for the database.
  void containedIn(pstHandle<psDBObj>& database) const;

  // Finds the object that is filed in scope under the name or key, if it is of class T or of a subclass, and opens it
  // in the mode. 1 on success; else 0, and the reference is null.
  [[nodiscard]] int lookupObj(const pstHandle<psObj>& scope, const char* name, psMode mode);
  [[nodiscard]] int lookupObj(const pstHandle<psObj>& scope, const psKey& key, psMode mode);
};

template <class T>
struct std::hash<pstRef<T>> : std::hash<psId> {};
