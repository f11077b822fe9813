#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "store/base/psExport.h"
#include "store/base/psId.h"
#include "store/base/psObj.h"
#include "store/session/Opening.h"
#include "store/session/UseChecks.h"

class d_Ref_Any;

// The one field of every pstRef.
class psRefBase {
 public:
  constexpr psRefBase() = default;
  constexpr explicit psRefBase(const psId& id) : id_(id) {}

  bool isNull() const { return id_.isNull(); }
  explicit operator bool() const { return !isNull(); }
  bool isValid() const { return id_.isValid(); }
  const psId& oid() const { return id_; }
  const psId& get_oid() const { return id_; }
  operator const psId&() const { return id_; }
  operator psId&() { return id_; }

  // Opens the object for update without keeping it open. 1 on success, else 0.
  [[nodiscard]] int update() const { return id_.update(); }

 protected:
  psId id_;
};

// The base of every pstHandle: an identifier, and the address of the object while the handle is open. An open handle
// pins the object's page. The address stays valid until the handle is closed, assigned or destroyed, whatever else is
// loaded, and even when the object is deleted meanwhile.
class PS_API psHandleBase {
 public:
  psHandleBase() = default;
  explicit psHandleBase(const psId& id) : id_(id) {}
  psHandleBase(const psHandleBase& other) : id_(other.id_), object_(other.object_) {
    if (object_ != nullptr) ps::detail::pin(ps::detail::frameOfObject(object_));
  }
  psHandleBase(psHandleBase&& other) noexcept : id_(other.id_), object_(std::exchange(other.object_, nullptr)) {}
  psHandleBase& operator=(const psHandleBase& other) {
    psHandleBase copy(other);
    swap(copy);
    return *this;
  }
  psHandleBase& operator=(psHandleBase&& other) noexcept {
    psHandleBase taken(std::move(other));
    swap(taken);
    return *this;
  }
  ~psHandleBase() { close(); }

  bool isNull() const { return id_.isNull(); }
  explicit operator bool() const { return !isNull(); }

  // Whether the object exists; see psId::isValid.
  bool isValid() const { return id_.isValid(); }

  const psId& oid() const { return id_; }
  const psId& get_oid() const { return id_; }
  operator const psId&() const { return id_; }
  // After another identifier has been assigned through the reference, the handle names the other object and is not
  // open.
  operator psId&() { return id_; }

  // Opens the object in the mode; 1 on success. On failure returns 0, and the handle is not open. pscNoOpen does
  // nothing and returns 1.
  [[nodiscard]] int open(psMode mode) const { return openAs<psObj>(mode); }
  [[nodiscard]] int update() const { return open(pscUpdate); }

  // Unpins the object; the handle still names it.
  void close() const {
    if (object_ == nullptr) return;
    if (ps::detail::isChecked) ps::detail::checkHandleLetGo(object_);
    ps::detail::unpin(ps::detail::frameOfObject(object_));
    object_ = nullptr;
  }

  // The class number of the object, without opening it. 0 when there is no object or it cannot be read.
  unsigned int typeN() const {
    const unsigned int resident = ps::detail::residentType(id_);
    return PS_LIKELY(resident != 0) ? resident : typeOutOfLine();
  }

 protected:
  // A handle to an object of known address, open as the object is. The address of a transient object gives a null
  // handle. So does that of an object whose class has no number of its own; an error is then signalled.
  explicit psHandleBase(const psObj* object);

  // Opens the object as one of class T.
  template <class T>
  int openAs(psMode mode) const {
    if (mode == pscNoOpen) return 1;
    psObj* const opened = mode == pscRead ? ps::detail::openForReading<T>(id_) : ps::detail::openForUpdate<T>(id_);
    close();
    object_ = opened;
    return opened != nullptr ? 1 : 0;
  }

  // The address of the object as one of class T. Opens the object for reading when the handle is not open; null when
  // that is refused.
  template <class T>
  psObj* accessAs() const {
    if (PS_LIKELY(object_ != nullptr)) {
      if (ps::detail::isChecked) ps::detail::checkHandleInUse(object_);
      if (PS_LIKELY(ps::detail::isCurrent(object_, id_))) return object_;
      object_ = ps::detail::reopenOutOfLine(id_, object_, ps::detail::wantedTypeN<T>());
      return object_;
    }
    object_ = ps::detail::openForReading<T>(id_);
    return object_;
  }

  // The object's address when the handle is open and its page counts as changed in the running transaction, else null.
  psObj* openForUpdate() const;

  // Closes a handle that was opened as one to another class, unless the object is of class T.
  template <class T>
  void keepIf() const {
    if constexpr (ps::detail::isOwnClass<T>()) {
      if (object_ != nullptr && PS_UNLIKELY(!ps::detail::isOpenableAs<T>(object_))) close();
    }
  }

  unsigned int typeOutOfLine() const;
  friend int psDelete(pstHandle<psObj>& object);

  void swap(psHandleBase& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(object_, other.object_);
  }

  void assign(const psId& id) {
    close();
    id_ = id;
  }

  psId id_;
  mutable psObj* object_ = nullptr;
};

// Every pair of handle, reference and identifier is compared by identifier. Each pair has an overload; with conversions
// alone the pairs would be ambiguous.
inline bool operator==(const psHandleBase& a, const psHandleBase& b) { return a.oid() == b.oid(); }
inline bool operator!=(const psHandleBase& a, const psHandleBase& b) { return a.oid() != b.oid(); }
inline bool operator==(const psRefBase& a, const psRefBase& b) { return a.oid() == b.oid(); }
inline bool operator!=(const psRefBase& a, const psRefBase& b) { return a.oid() != b.oid(); }
inline bool operator==(const psHandleBase& a, const psRefBase& b) { return a.oid() == b.oid(); }
inline bool operator!=(const psHandleBase& a, const psRefBase& b) { return a.oid() != b.oid(); }
inline bool operator==(const psRefBase& a, const psHandleBase& b) { return a.oid() == b.oid(); }
inline bool operator!=(const psRefBase& a, const psHandleBase& b) { return a.oid() != b.oid(); }
inline bool operator==(const psHandleBase& a, const psId& b) { return a.oid() == b; }
inline bool operator!=(const psHandleBase& a, const psId& b) { return a.oid() != b; }
inline bool operator==(const psId& a, const psHandleBase& b) { return a == b.oid(); }
inline bool operator!=(const psId& a, const psHandleBase& b) { return a != b.oid(); }
inline bool operator==(const psRefBase& a, const psId& b) { return a.oid() == b; }
inline bool operator!=(const psRefBase& a, const psId& b) { return a.oid() != b; }
inline bool operator==(const psId& a, const psRefBase& b) { return a == b.oid(); }
inline bool operator!=(const psId& a, const psRefBase& b) { return a != b.oid(); }
inline bool operator==(const psHandleBase& a, int n) { return a.oid() == n; }
inline bool operator!=(const psHandleBase& a, int n) { return a.oid() != n; }
inline bool operator==(const psRefBase& a, int n) { return a.oid() == n; }
inline bool operator!=(const psRefBase& a, int n) { return a.oid() != n; }

namespace ps::detail {

// A temporary for an operation that takes a handle by a reference that is not const. It lives to the end of the full
// expression.
template <class Handle>
Handle& lvalue(Handle&& temporary) {
  return temporary;
}

template <class T>
inline constexpr bool isHandleOrReference =
    std::is_convertible_v<const T*, const psHandleBase*> || std::is_convertible_v<const T*, const psRefBase*>;
template <class T>
inline constexpr bool isIdentified = isHandleOrReference<T> || std::is_convertible_v<const T*, const psId*>;

template <class A, class B>
using OrderOfIdentified = std::enable_if_t<isIdentified<A> && isIdentified<B>, bool>;
// Templates take no other null than nullptr itself, so that a comparison with 0 of any type remains one with a number.
template <class T, class Null>
using EqualsNull = std::enable_if_t<isHandleOrReference<T> && std::is_same_v<Null, std::nullptr_t>, bool>;

}  // namespace ps::detail

// The order of handles, references and identifiers, in any mixture, is that of psCompare::comparePsId: by database,
// then container, page and slot. Null comes first.
template <class A, class B>
ps::detail::OrderOfIdentified<A, B> operator<(const A& a, const B& b) {
  return ps::detail::orderOf(a) < ps::detail::orderOf(b);
}
template <class A, class B>
ps::detail::OrderOfIdentified<A, B> operator>(const A& a, const B& b) {
  return b < a;
}
template <class A, class B>
ps::detail::OrderOfIdentified<A, B> operator<=(const A& a, const B& b) {
  return !(b < a);
}
template <class A, class B>
ps::detail::OrderOfIdentified<A, B> operator>=(const A& a, const B& b) {
  return !(a < b);
}

// A handle or reference that equals nullptr names no object. One that names a deleted object does not equal it.
template <class T, class Null>
ps::detail::EqualsNull<T, Null> operator==(const T& a, Null) {
  return a.isNull();
}
template <class T, class Null>
ps::detail::EqualsNull<T, Null> operator!=(const T& a, Null) {
  return !a.isNull();
}
template <class T, class Null>
ps::detail::EqualsNull<T, Null> operator==(Null, const T& a) {
  return a.isNull();
}
template <class T, class Null>
ps::detail::EqualsNull<T, Null> operator!=(Null, const T& a) {
  return !a.isNull();
}
