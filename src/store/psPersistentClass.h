#pragma once

#include <cstddef>
#include <new>
#include <type_traits>

#include "store/base/psObj.h"
#include "store/psFields.h"
#include "store/psTypeManager.h"
#include "store/pstHandle.h"
#include "store/schema/psOldObject.h"

// Storage for a new object of class typeN and size bytes, with zeros after the class's virtual table pointer. It lies
// in the container of near, or in near itself when that names a container. The second form takes an address. Null, with
// an error signalled, outside an update transaction, without a near object, for an unregistered class, or when the
// container is full.
PS_API void* pstNewObj(unsigned int typeN, std::size_t size, const pstHandle<psObj>& near) noexcept;
PS_API void* pstNewObj(unsigned int typeN, std::size_t size, const psObj* near) noexcept;

// Where the calling thread's session creates objects.
struct pstSessionData {
  pstHandle<psObj> defaultPlacement;  // where objects go that are created without a placement; null without one
};

// Never null. Without a session, the data have no default placement.
PS_API const pstSessionData* pstSessionDataGetFunction() noexcept;

// The class's identity, and its handles and references to itself. The parameters have long names so that they hide no
// field of the class.
#define PS_PERSISTENT_GLUE(Class, Base, TypeNumber)                                   \
 public:                                                                              \
  using psBase = Base;                                                                \
  static constexpr unsigned int pstTypeN = TypeNumber;                                \
                                                                                      \
  bool psIsKindOf(unsigned int psGlueTypeN) const override {                          \
    return psGlueTypeN == pstTypeN || Base::psIsKindOf(psGlueTypeN);                  \
  }                                                                                   \
  unsigned int psGetTypeN() const override { return pstTypeN; }                       \
  const char* psGetTypeName() const override { return #Class; }                       \
                                                                                      \
  using psObj::psThis;                                                                \
  pstHandle<Class>& psThis(pstHandle<Class>& psGlueHandle, psMode psGlueMode) const { \
    psObj::psThis(static_cast<pstHandle<psObj>&>(psGlueHandle), psGlueMode);          \
    return psGlueHandle;                                                              \
  }                                                                                   \
  pstRef<Class>& psThis(pstRef<Class>& psGlueReference, psMode psGlueMode) const {    \
    pstRef<psObj> psGlueSelf;                                                         \
    psGlueReference = psObj::psThis(psGlueSelf, psGlueMode);                          \
    return psGlueReference;                                                           \
  }                                                                                   \
  pstHandle<Class> psThis(psMode psGlueMode) const {                                  \
    pstHandle<Class> psGlueHandle;                                                    \
    psObj::psThis(static_cast<pstHandle<psObj>&>(psGlueHandle), psGlueMode);          \
    return psGlueHandle;                                                              \
  }                                                                                   \
                                                                                      \
  static void psAssocRegister() {}                                                    \
                                                                                      \
  explicit Class(psInternalObj psGlueTag) : Base(psGlueTag) {}                        \
                                                                                      \
 private:

// All that the store needs of a persistent class. It comes first in the class body:
//
//   class Word : public psObj {
//     PS_PERSISTENT_CLASS(Word, psObj, 20001)
//    public: ...
//
// The class
// - derives publicly from psObj or another persistent class, as its first base;
// - has a number from 10000 to 2147483647 that no other class has in any program of the store;
// - needs the macro and a number of its own also when it derives from a persistent class that has them;
// - has only flat fields (numbers, pstRef, pstVArray), and an alignment of at most 16 bytes;
// - is named in PS_REGISTER_CLASS in each program that reads its objects;
// - has PS_FIELDS, and a version that is raised when they change. Without that it keeps its size and the order of its
//   fields as long as objects are stored.
//
// These mistakes are refused, with a message that names them:
// - the compiler refuses other numbers and alignments, and arrays of objects;
// - psSession::open refuses a number that two classes have;
// - `new` refuses a class that is not registered, and a class without the macro whose size is not its base's;
// - a handle made from the address, and the commit, refuse any other class without the macro.
//
// Every `new` places the object: near another object, in a container, by identifier, or in the session's default place.
// A null result skips the constructor. A constructor that throws leaves nothing in the store. `delete` is psDelete
// without its checks; see psObj::operator delete.
#define PS_PERSISTENT_CLASS(Class, Base, TypeNumber)                                                                  \
  PS_PERSISTENT_GLUE(Class, Base, TypeNumber)                                                                         \
 public:                                                                                                              \
  static void* operator new(std::size_t size) noexcept {                                                              \
    return pstNewObj(pstTypeN, size, pstSessionDataGetFunction()->defaultPlacement);                                  \
  }                                                                                                                   \
  static void* operator new(std::size_t size, const pstHandle<psObj>& near) noexcept {                                \
    return pstNewObj(pstTypeN, size, near);                                                                           \
  }                                                                                                                   \
  static void* operator new(std::size_t size, const psId& near) noexcept {                                            \
    return operator new(size, pstHandle<psObj>(near));                                                                \
  }                                                                                                                   \
  static void* operator new(std::size_t size, const psRefBase& near) noexcept {                                       \
    return operator new(size, pstHandle<psObj>(near));                                                                \
  }                                                                                                                   \
  static void* operator new(std::size_t size, const psObj* near) noexcept { return pstNewObj(pstTypeN, size, near); } \
  static void* operator new(std::size_t size, const pstHandle<psObj>& near, const char*) noexcept {                   \
    return operator new(size, near);                                                                                  \
  }                                                                                                                   \
  static void operator delete(void* object) noexcept { ps::detail::reclaim(object); }                                 \
  static void operator delete(void* object, const pstHandle<psObj>&) noexcept { ps::detail::reclaim(object); }        \
  static void operator delete(void* object, const psId&) noexcept { ps::detail::reclaim(object); }                    \
  static void operator delete(void* object, const psRefBase&) noexcept { ps::detail::reclaim(object); }               \
  static void operator delete(void* object, const psObj*) noexcept { ps::detail::reclaim(object); }                   \
  static void operator delete(void* object, const pstHandle<psObj>&, const char*) noexcept {                          \
    ps::detail::reclaim(object);                                                                                      \
  }                                                                                                                   \
                                                                                                                      \
 private:

// Makes a class known to the store. It stands at namespace scope, mostly in one source file, and takes any way to name
// the class: PS_REGISTER_CLASS(shop::Package), PS_REGISTER_CLASS(Pair<int, long>). The store knows the class under its
// number, and under its name without namespaces.
#define PS_REGISTER_CLASS(...) PS_REGISTER_CLASS_NUMBERED(__COUNTER__, __VA_ARGS__)

// The same with the class's version, from 0 to 4294967295; PS_REGISTER_CLASS is version 0. Raise it when the fields of
// the class change, or, in a comparator, the order or the hash. docs/schema.md tells how objects of an older version
// are read.
#define PS_REGISTER_CLASS_VERSION(Class, version) PS_REGISTER_CLASS_OF_VERSION(__COUNTER__, Class, version)

// Converts objects of one version of a class for the next, where names and types of the fields do not tell how:
//
//   PS_CLASS_CONVERSION(Package, 1, [](const psOldObject& old, Package& now) { ... })
//
// The function finds in now what the rules have made of the object. It sees the fields of the old object, not other
// objects: opens, updates and changes of arrays are refused in it, and so is the object when it throws. It may run in
// any transaction, each time that the object is read, and must give the same result each time.
#define PS_CLASS_CONVERSION(Class, from, ...) PS_CLASS_CONVERSION_NUMBERED(__COUNTER__, Class, from, __VA_ARGS__)

// What the macros above become, once __COUNTER__ is a number.
#define PS_REGISTER_CLASS_OF_VERSION(n, Class, version) PS_REGISTER_CLASS_OF_VERSION_AS(n, Class, version)
#define PS_REGISTER_CLASS_OF_VERSION_AS(n, Class, version)                                                \
  static_assert(ps::detail::isDescribed<Class> || sizeof(Class) == sizeof(typename Class::psBase),        \
                "a class with a version needs PS_FIELDS, so that objects of older versions can be read"); \
  static const ps::detail::ClassRegistration<Class> psRegistration##n(#Class, version);  // NOLINT(cert-err58-cpp)
#define PS_CLASS_CONVERSION_NUMBERED(n, Class, from, ...) PS_CLASS_CONVERSION_AS(n, Class, from, __VA_ARGS__)
#define PS_CLASS_CONVERSION_AS(n, Class, from, ...) \
  static const ps::detail::ConversionRegistration<Class> psConversion##n(from, __VA_ARGS__);  // NOLINT(cert-err58-cpp)
#define PS_REGISTER_CLASS_NUMBERED(n, ...) PS_REGISTER_CLASS_AS(n, __VA_ARGS__)
#define PS_REGISTER_CLASS_AS(n, ...) \
  static const ps::detail::ClassRegistration<__VA_ARGS__> psRegistration##n(#__VA_ARGS__);  // NOLINT(cert-err58-cpp)
