#pragma once

#include <cstddef>

#include "store/schema/FieldMacros.h"
#include "store/schema/FieldTable.h"

// Names the persistent members of a class, so that the store keeps a description of what it holds, and old objects can
// be read when the class has changed. It stands anywhere in the class, and leaves private what is private:
//
//   class Package : public psObj {
//     PS_PERSISTENT_CLASS(Package, psObj, 20100)
//     PS_FIELDS(size_, section_, name_)
//     ...
//   };
//
// A struct that is a member of a persistent class, or an element of a pstVArray, has PS_FIELDS too.
//
// A member is a number, an enumeration, bool, psId, pstRef<T>, pstVArray<T>, a struct that has PS_FIELDS, or a fixed
// array of these. The compiler refuses other types, and says what to use. The elements of a pstVArray cannot have
// arrays themselves.
//
// The members must cover the object. The compiler finds one that was forgotten, unless it lies where there would be
// padding without it. psSession::open finds that one too, if it has an initialiser. A base class has a PS_FIELDS of its
// own. One that has none is kept as so many bytes.
//
// At most 64 members can be named.
#define PS_FIELDS(...)                                                                                            \
  friend struct ps::detail::FieldAccess;                                                                          \
  void psDescribed() const;                                                                                       \
  _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"") template <class psSelf> \
  static constexpr auto psFieldTable() {                                                                          \
    return ps::detail::fieldTable(PS_FOR_EACH(PS_FIELD, __VA_ARGS__));                                            \
  }                                                                                                               \
  _Pragma("GCC diagnostic pop")

// Stands in PS_FIELDS for a member that had other names before, at most 4: PS_FIELDS(size_, PS_RENAMED(title_,
// "name_")).
#define PS_RENAMED(member, ...) (member, __VA_ARGS__)

// The version of a struct that has PS_FIELDS, and names that it had before, with namespaces, at most 4:
// PS_STRUCT_VERSION(2, "shop::Line"). Raise the version when the fields or the name change. A struct without it has
// version 0.
#define PS_STRUCT_VERSION(...) static constexpr auto psStructVersion = ps::detail::structureVersion(__VA_ARGS__);

// What PS_FIELDS makes of each member.
#define PS_FIELD(member) PS_JOINED(PS_FIELD_, PS_IN_PARENTHESES(member))(member)
#define PS_FIELD_0(member) PS_FIELD_NAMED(member, #member)
#define PS_FIELD_1(member) PS_FIELD_RENAMED member
#define PS_FIELD_RENAMED(member, ...) PS_FIELD_NAMED(member, #member, __VA_ARGS__)
#define PS_FIELD_NAMED(member, ...) \
  ps::detail::field<psSelf, decltype(&psSelf::member)>(__builtin_offsetof(psSelf, member), __VA_ARGS__)
