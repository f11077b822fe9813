#pragma once

#include "store/pstRef.h"

class psContObj;
class psDBObj;
class psFDObj;
class psGCContObj;

// The class whose handle pstHandle<T> derives from: T's own base, which the class names. Classes whose handles are
// needed before the class is known specialise this.
template <class T>
struct pstHandleBaseOf {
  using type = typename T::psBase;
};

// A transient handle to an object of class T. Handles follow the class tree, so a handle to a class can be used as a
// handle to its base without a copy.
//
// A handle does not open outside a transaction, or when the store or the session's guard refuses. open then returns 0,
// and operator-> null.
template <>
class PS_API pstHandle<psObj> : public psHandleBase {
 public:
  pstHandle() = default;
  pstHandle(const psId& id) : psHandleBase(id) {}
  pstHandle(const psRefBase& reference) : psHandleBase(reference.oid()) {}
  // An open handle to an object of known address.
  pstHandle(const psObj* object) : psHandleBase(object) {}
  pstHandle(const d_Ref_Any& any) : psHandleBase(any.oid()) {}

  psObj* operator->() const { return accessAs<psObj>(); }
  psObj& operator*() const { return *accessAs<psObj>(); }

  pstHandle<psContObj> containedIn() const;

  // Makes a copy of the object, with copies of its arrays, near the given object or in the given container. Calls the
  // copy's psCopyInit and returns result, which names the copy and is open for update. result is null when the class
  // does not allow copies or the store refuses.
  pstHandle<psObj>& copy(const pstHandle<psObj>& near, pstHandle<psObj>& result) const;

  // Moves the object near the given one. The object gets a new identifier, and this handle has it then. Names and keys
  // follow the object; references to the old identifier dangle. 1 on success. 0, with nothing changed, when the class
  // does not allow it or the store refuses.
  [[nodiscard]] int move(const pstHandle<psObj>& near);

  // Finds the object that is filed in scope under the name or key, whatever its class, and opens it in the mode. 1 on
  // success; else 0, and the handle is null.
  [[nodiscard]] int lookupObj(const pstHandle<psObj>& scope, const char* name, psMode mode);
  [[nodiscard]] int lookupObj(const pstHandle<psObj>& scope, const psKey& key, psMode mode);
};

// Finds the object that is filed in scope (a database, container or object) under a name or key. The object must be of
// class typeN or of a subclass. 1 with result open in the mode; else 0 with result null.
[[nodiscard]] PS_API int pstLookupObj(unsigned int typeN, pstHandle<psObj>& result, const pstHandle<psObj>& scope,
                                      const char* name, psMode mode);
[[nodiscard]] PS_API int pstLookupObj(unsigned int typeN, pstHandle<psObj>& result, const pstHandle<psObj>& scope,
                                      const psKey& key, psMode mode);

// Files the object in scope under the name, as psSession::name does, in the calling thread's session. 1 or 0.
[[nodiscard]] PS_API int pstNameObj(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const char* name);

// A transient handle to an object of class T, as pstHandle<psObj> is one to an object of any class.
template <class T>
class pstHandle : public pstHandle<typename pstHandleBaseOf<T>::type> {
  using Base = pstHandle<typename pstHandleBaseOf<T>::type>;

 public:
  pstHandle() = default;
  pstHandle(const psId& id) : Base(id) {}
  pstHandle(const psRefBase& reference) : Base(reference) {}
  pstHandle(const T* object) : Base(object) {}
  pstHandle(const d_Ref_Any& any) : Base(any) {}
  // Takes the object to be a T. Where T is a class of the library, using or opening this handle is refused when the
  // object is none; where it is an application's, nothing is checked.
  pstHandle(const pstHandle<psObj>& object) : Base(object) { this->template keepIf<T>(); }

  T* operator->() const { return static_cast<T*>(this->template accessAs<T>()); }
  T& operator*() const { return *operator->(); }

  // As in psHandleBase.
  [[nodiscard]] int open(psMode mode) const { return this->template openAs<T>(mode); }
  [[nodiscard]] int update() const { return open(pscUpdate); }

  // As in pstHandle<psObj>; the second form returns the copy.
  using Base::copy;
  pstHandle<T>& copy(const pstHandle<psObj>& near, pstHandle<T>& result) const {
    pstHandle<psObj>::copy(near, result);
    return result;
  }
  pstHandle<T> copy(const pstHandle<psObj>& near) const {
    pstHandle<T> result;
    pstHandle<psObj>::copy(near, result);
    return result;
  }

  // Finds the object that is filed in scope under the name or key, if it is of class T or of a subclass, and opens it
  // in the mode. 1 on success; else 0, and the handle is null.
  [[nodiscard]] int lookupObj(const pstHandle<psObj>& scope, const char* name, psMode mode) {
    return pstLookupObj(T::pstTypeN, *this, scope, name, mode);
  }
  [[nodiscard]] int lookupObj(const pstHandle<psObj>& scope, const psKey& key, psMode mode) {
    return pstLookupObj(T::pstTypeN, *this, scope, key, mode);
  }
};

// A handle to a container.
template <>
class PS_API pstHandle<psContObj> : public pstHandle<psObj> {
 public:
  pstHandle() = default;
  pstHandle(const psId& id) : pstHandle<psObj>(id) {}
  pstHandle(const psRefBase& reference) : pstHandle<psObj>(reference) {}
  pstHandle(const psContObj* container);
  pstHandle(const d_Ref_Any& any) : pstHandle<psObj>(any) {}
  pstHandle(const pstHandle<psObj>& container) : pstHandle<psObj>(container) {}

  psContObj* operator->() const;
  psContObj& operator*() const { return *operator->(); }

  // The container's name; null for an unnamed one. The text is valid while the container is open in a handle.
  const char* name() const;

  // Opens the container again in the mode, so that it sees what other sessions committed before this transaction. Sets
  // *flag to 1 when another session has changed the container since it was last read, else to 0. 1 on success; 0 when
  // the container is gone or the open is refused. notOpen says that the mode is pscNoOpen.
  int refreshOpen(psMode mode, unsigned char* flag, unsigned char notOpen) const;

  // The database that holds the container.
  void containedIn(pstHandle<psDBObj>& database) const;
  using pstHandle<psObj>::containedIn;
};

// A handle to a database.
template <>
class PS_API pstHandle<psDBObj> : public pstHandle<psObj> {
 public:
  pstHandle() = default;
  pstHandle(const psId& id) : pstHandle<psObj>(id) {}
  pstHandle(const psRefBase& reference) : pstHandle<psObj>(reference) {}
  pstHandle(const psDBObj* database);
  pstHandle(const d_Ref_Any& any) : pstHandle<psObj>(any) {}
  pstHandle(const pstHandle<psObj>& database) : pstHandle<psObj>(database) {}

  psDBObj* operator->() const;
  psDBObj& operator*() const { return *operator->(); }

  // The database's name. The text is valid while the database is open in a handle.
  const char* name() const;

  // Sets the argument to the federation that holds the database.
  void containedIn(pstHandle<psFDObj>& federation) const;

  // Whether a database of that name exists in the federation. If it does, this handle names it and is open in the mode.
  bool exist(const pstHandle<psFDObj>& federation, const char* name, psMode mode);
};

template <class T>
pstHandle<psContObj> pstRef<T>::containedIn() const {
  return pstHandle<psObj>(this->oid()).containedIn();
}

template <class T>
void pstRef<T>::containedIn(pstHandle<psDBObj>& database) const {
  containedIn().containedIn(database);
}

template <class T>
int pstRef<T>::lookupObj(const pstHandle<psObj>& scope, const char* name, psMode mode) {
  pstHandle<psObj> found;
  const int status = pstLookupObj(T::pstTypeN, found, scope, name, mode);
  *this = found;
  return status;
}

template <class T>
int pstRef<T>::lookupObj(const pstHandle<psObj>& scope, const psKey& key, psMode mode) {
  pstHandle<psObj> found;
  const int status = pstLookupObj(T::pstTypeN, found, scope, key, mode);
  *this = found;
  return status;
}

// Deletes the object: runs its destructor on the object opened for update, then frees its place. Names and keys of the
// object are deleted with it. A container or database is deleted with all that it holds, without any destructor. 1 on
// success; 0 when the object does not exist, is already being deleted, or cannot be opened for update. The handle keeps
// the identifier and is closed. Memory that other handles have pinned stays readable until they release it.
PS_API int psDelete(pstHandle<psObj>& object);
// The same for const handles, temporaries, references and identifiers.
inline int psDelete(const pstHandle<psObj>& object) {
  const int done = psDelete(ps::detail::lvalue(pstHandle<psObj>(object)));
  object.close();
  return done;
}

template <class T>
struct std::hash<pstHandle<T>> : std::hash<psId> {};
