#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include "store/psTypeManager.h"
#include "store/pstHandle.h"
#include "typed/Failure.h"

namespace ps {

// A transient reference for reading: it gives const T&, never a null pointer. The object is opened at the first use,
// and its page stays in memory, with the object at its address, while the reference lives. A Ref is two words, and can
// be copied, compared and hashed.
//
// An open that is refused, of an object that was deleted too, throws ps::Error. So does following a null reference.
// Use ps::edit to change the object.
template <class T>
class Ref {
  template <class U>
  using IfDerived = std::enable_if_t<std::is_convertible_v<U*, const T*>>;

 public:
  // The class that is referred to.
  using Object = T;

  Ref() = default;
  Ref(std::nullptr_t) {}
  // The object is taken to be a T, as with a handle; ps::cast checks.
  explicit Ref(const psId& id) : handle_(id) {}
  template <class U, class = IfDerived<U>>
  Ref(const pstRef<U>& reference) : handle_(reference.oid()) {}
  template <class U, class = IfDerived<U>>
  Ref(const pstHandle<U>& handle) : handle_(handle.oid()) {}
  template <class U, class = IfDerived<U>>
  Ref(const Ref<U>& other) : handle_(other.id()) {}
  // Of an object that is open; null for one that is not in the store.
  explicit Ref(const T* object) : handle_(object) {}

  const T& operator*() const { return *get(); }
  const T* operator->() const { return get(); }
  const T* get() const {
    const T* const object = handle_.operator->();
    if (PS_UNLIKELY(object == nullptr)) detail::throwNotOpen(id());
    return object;
  }

  const psId& id() const { return handle_.oid(); }
  // For the calls of the library that are not typed.
  const pstHandle<T>& handle() const { return handle_; }
  operator pstRef<T>() const { return pstRef<T>(id()); }
  explicit operator bool() const { return !handle_.isNull(); }

  friend bool operator==(const Ref& a, const Ref& b) { return a.id() == b.id(); }
  friend bool operator!=(const Ref& a, const Ref& b) { return a.id() != b.id(); }
  friend bool operator<(const Ref& a, const Ref& b) { return detail::orderOf(a.id()) < detail::orderOf(b.id()); }

 private:
  pstHandle<T> handle_;
};

// A reference to an object that is open for update, as ps::edit gives it. It serves until the transaction ends.
template <class T>
class Edit {
 public:
  T& operator*() const { return *object_; }
  T* operator->() const { return object_; }
  T* get() const { return object_; }
  const psId& id() const { return handle_.oid(); }

 private:
  template <class U>
  friend Edit<U> edit(const psId& id);

  explicit Edit(const psId& id) : handle_(id) {
    if (handle_.open(pscUpdate) != 1) detail::throwNotOpen(id);
    object_ = handle_.operator->();
  }

  pstHandle<T> handle_;
  T* object_;
};

// Opens an object for update:
//
//   ps::edit(package)->resize(12);
//
// Throws ps::Error when that is refused, as in a read transaction.
template <class T>
Edit<T> edit(const psId& id) {
  return Edit<T>(id);
}
template <class T>
Edit<T> edit(const Ref<T>& ref) {
  return edit<T>(ref.id());
}
template <class T>
Edit<T> edit(const pstRef<T>& ref) {
  return edit<T>(ref.oid());
}

namespace detail {

// Whether the object is of class typeN, or of a class that derives from it. Throws when it does not exist, or cannot be
// read.
PS_API bool isOfClass(const psId& id, unsigned int typeN);
[[noreturn]] PS_API void throwOtherClass(const psId& id, unsigned int typeN);
PS_API void destroy(pstHandle<psObj> object);
// Deletes an object in whose constructor something was refused.
[[noreturn]] PS_API void discardAndThrow(const pstHandle<psObj>& object);

}  // namespace detail

// The reference as one to T, when the object is a T or of a class that derives from it; otherwise null. Throws
// ps::Error when the object does not exist, or cannot be read.
template <class T, class U>
Ref<T> try_cast(const Ref<U>& ref) {
  return ref && detail::isOfClass(ref.id(), T::pstTypeN) ? Ref<T>(ref.id()) : Ref<T>();
}
// The same, but throws for an object of another class. A null reference stays one.
template <class T, class U>
Ref<T> cast(const Ref<U>& ref) {
  Ref<T> result = try_cast<T>(ref);
  if (ref && !result) detail::throwOtherClass(ref.id(), T::pstTypeN);
  return result;
}

// Creates an object in a container, or near another object: `new (near) T(args...)`, but throws ps::Error when the
// store refuses. The constructor may throw too. In either case there is no object then.
template <class T, class... Args>
Ref<T> make(const pstHandle<psObj>& near, Args&&... args) {
  const detail::Watch watch;
  const T* const object = new (near) T(std::forward<Args>(args)...);
  if (object == nullptr) detail::throwRefused(near.oid(), "no object can be created there");
  Ref<T> made(object);
  if (PS_UNLIKELY(watch.refused())) detail::discardAndThrow(made.handle());
  return made;
}

// Deletes an object, as psDelete does. Throws ps::Error when that is refused.
template <class T>
void destroy(const Ref<T>& ref) {
  detail::destroy(ref.handle());
}

}  // namespace ps

template <class T>
struct std::hash<ps::Ref<T>> {
  std::size_t operator()(const ps::Ref<T>& ref) const noexcept { return std::hash<psId>()(ref.id()); }
};
