#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "store/base/psId.h"
#include "store/schema/Field.h"

template <class T>
class pstRef;
template <class T>
class pstVArray;
class psHandleBase;

// What PS_FIELDS computes and checks while it is compiled.
namespace ps::detail {

// Has access to what PS_FIELDS declares, whatever is private.
struct FieldAccess {
  // The pointer names the class that declares the function: a class that inherits a description has none of its own.
  template <class C, class = void>
  struct Description {
    static constexpr bool exists = false;
  };
  template <class C>
  struct Description<C, std::void_t<decltype(&C::psDescribed)>> {
    static constexpr bool exists = std::is_same_v<decltype(&C::psDescribed), void (C::*)() const>;
  };

  template <class C>
  static constexpr auto fields() {
    return C::template psFieldTable<C>();
  }

  template <class C, class = void>
  struct Version {
    static constexpr StructureVersion value{};
  };
  template <class C>
  struct Version<C, std::void_t<decltype(C::psStructVersion)>> {
    static constexpr StructureVersion value = C::psStructVersion;
  };
};

template <class... Names>
constexpr StructureVersion structureVersion(std::uint32_t number, Names... formerNames) {
  static_assert(sizeof...(Names) <= mostFormerNames, "PS_STRUCT_VERSION takes at most 4 former names");
  return {number, {std::string_view(formerNames)...}};
}

template <class C>
inline constexpr bool isDescribed = FieldAccess::Description<C>::exists;
template <class C>
inline constexpr auto fieldsOf = FieldAccess::fields<C>();

// The name of a type as the compiler writes it.
template <class T>
constexpr std::string_view typeName() {
  const std::string_view function = __PRETTY_FUNCTION__;
  const std::size_t begin = function.find("T = ") + 4;
  return function.substr(begin, function.find_first_of(";]", begin) - begin);
}

// The description of a struct, as DescribedStructure<T>::value.
template <class T>
struct DescribedStructure;

template <class T>
struct IsReference : std::false_type {};
template <class T>
struct IsReference<pstRef<T>> : std::true_type {};
template <class T>
struct ElementOf {
  using type = void;
};
template <class T>
struct ElementOf<pstVArray<T>> {
  using type = T;
};
template <class T>
constexpr bool isArray = !std::is_void_v<typename ElementOf<T>::type>;
template <class T>
constexpr bool isText = std::is_same_v<T, std::string> || std::is_same_v<T, std::string_view>;

// A single value: not a fixed array.
template <class T>
constexpr FieldKind kindOf() {
  if constexpr (std::is_enum_v<T>) return kindOf<std::underlying_type_t<T>>();
  if constexpr (std::is_same_v<T, bool>) return FieldKind::boolean;
  if constexpr (std::is_same_v<T, char>) return FieldKind::character;
  if constexpr (std::is_floating_point_v<T>) return FieldKind::floating;
  if constexpr (std::is_integral_v<T>)
    return std::is_signed_v<T> ? FieldKind::signedInteger : FieldKind::unsignedInteger;
  if constexpr (std::is_same_v<T, psId>) return FieldKind::identifier;
  if constexpr (IsReference<T>::value) return FieldKind::reference;
  return isArray<T> ? FieldKind::array : FieldKind::structure;
}

template <class T>
constexpr bool isStorable() {
  using Element = typename ElementOf<T>::type;
  if constexpr (!std::is_void_v<Element>) {
    return isStorable<Element>();
  } else {
    return (std::is_arithmetic_v<T> && !std::is_same_v<T, long double>) || std::is_enum_v<T> ||
           std::is_same_v<T, psId> || IsReference<T>::value || isDescribed<T>;
  }
}

// One sentence for each thing that people try. The class and the member are in the line of the error.
template <class T>
constexpr void requireStorable() {
  constexpr bool isPointer = std::is_pointer_v<T> || std::is_member_pointer_v<T>;
  constexpr bool isHandle = std::is_base_of_v<psHandleBase, T>;
  static_assert(!isText<T>,
                "PS_FIELDS: a std::string or std::string_view cannot be stored, since it points outside the store; use "
                "ps::String or pstVArray<char>");
  static_assert(!isPointer,
                "PS_FIELDS: a pointer cannot be stored, since it means nothing in another process; use pstRef<T>");
  static_assert(!isHandle, "PS_FIELDS: a handle cannot be stored, since it holds an address; use pstRef<T>");
  static_assert(
      isText<T> || isPointer || isHandle || isStorable<T>(),
      "PS_FIELDS: a member of this type cannot be stored; use numbers, enumerations, psId, pstRef, pstVArray, "
      "fixed arrays of these, or structs that have PS_FIELDS themselves; a std::vector becomes a pstVArray");
}

// 1, or the elements of a fixed array.
template <class T>
constexpr std::uint32_t countOf() {
  if constexpr (std::is_array_v<T>)
    return static_cast<std::uint32_t>(std::extent_v<T>) * countOf<std::remove_extent_t<T>>();
  else
    return 1;
}

template <class Self, class Pointer>
struct Member;
template <class Self, class Owner, class T>
struct Member<Self, T Owner::*> {
  static_assert(std::is_same_v<Self, Owner>,
                "PS_FIELDS names a member of a base class; the base names it in a PS_FIELDS of its own");
  using type = std::remove_cv_t<T>;
};

template <class Self, class Pointer, class... Names>
constexpr Field field(std::size_t offset, std::string_view name, Names... formerNames) {
  static_assert(sizeof...(Names) <= mostFormerNames, "PS_RENAMED takes at most 4 names");
  using T = typename Member<Self, Pointer>::type;
  using One = std::remove_all_extents_t<T>;
  requireStorable<One>();
  Field field{name, {std::string_view(formerNames)...}};
  field.offset = static_cast<std::uint32_t>(offset);
  field.size = sizeof(One);
  field.alignment = alignof(One);
  field.count = countOf<T>();
  if constexpr (isStorable<One>()) {
    field.kind = kindOf<One>();
    using Element = typename ElementOf<One>::type;
    if constexpr (!std::is_void_v<Element>) {
      field.element = kindOf<Element>();
      field.elementSize = sizeof(Element);
      if constexpr (isDescribed<Element>) field.structure = &DescribedStructure<Element>::value;
    } else if constexpr (isDescribed<One>) {
      field.structure = &DescribedStructure<One>::value;
    }
  }
  return field;
}

template <class... Fields>
constexpr std::array<Field, sizeof...(Fields)> fieldTable(const Fields&... fields) {
  return {{fields...}};
}

constexpr std::size_t roundedUp(std::size_t n, std::size_t alignment) {
  return (n + alignment - 1) / alignment * alignment;
}

template <std::size_t N>
constexpr std::array<Field, N> byOffset(std::array<Field, N> fields) {
  for (std::size_t i = 1; i < N; ++i) {
    for (std::size_t j = i; j > 0 && fields[j].offset < fields[j - 1].offset; --j) {
      const Field moved = fields[j];
      fields[j] = fields[j - 1];
      fields[j - 1] = moved;
    }
  }
  return fields;
}

template <class C, class = void>
struct BaseOf {
  using type = void;
};
template <class C>
struct BaseOf<C, std::void_t<typename C::psBase>> {
  using type = std::conditional_t<std::is_same_v<typename C::psBase, C>, void, typename C::psBase>;
};

// Where the fields of a class end. This is not its size: a derived class may begin in the base's tail padding.
template <class C>
constexpr std::size_t fieldsEnd() {
  if constexpr (std::is_void_v<C>) {
    return 0;
  } else if constexpr (isDescribed<C>) {
    std::size_t end = fieldsEnd<typename BaseOf<C>::type>();
    for (const Field& field : fieldsOf<C>) {
      const std::size_t behind = field.offset + std::size_t{field.size} * field.count;
      if (behind > end) end = behind;
    }
    return end;
  } else {
    return sizeof(C);
  }
}

// The first hole that alignment does not explain: its offset, or the size of the object when there is none.
template <class C>
constexpr std::size_t firstHole() {
  using Base = typename BaseOf<C>::type;
  constexpr bool isOpaqueBase = !std::is_void_v<Base> && !isDescribed<Base>;
  std::size_t at = fieldsEnd<Base>();
  for (const Field& field : byOffset(fieldsOf<C>)) {
    if (isOpaqueBase && field.offset < at) at = field.offset;  // in its tail padding
    if (field.offset != roundedUp(at, field.alignment)) return at;
    at = field.offset + std::size_t{field.size} * field.count;
  }
  return roundedUp(at, alignof(C)) == sizeof(C) ? sizeof(C) : at;
}

// The compiler's message shows the numbers.
template <class C, std::size_t HoleAt, std::size_t SizeOfObject>
struct Covers {
  static constexpr bool all = HoleAt == SizeOfObject;
};

template <class C>
constexpr bool isCovered() {
  static_assert(Covers<C, firstHole<C>(), sizeof(C)>::all,
                "PS_FIELDS leaves out a member of this class: it is at the first number of Covers<class, hole, size>");
  return true;
}

template <class T>
void initialize(void* object) {
  if constexpr (std::is_default_constructible_v<T>) ::new (object) T();
}

template <class T>
struct DescribedStructure {
  static_assert(isCovered<T>());
  static constexpr Structure value{typeName<T>(),      FieldAccess::Version<T>::value,
                                   sizeof(T),          alignof(T),
                                   fieldsOf<T>.data(), static_cast<std::uint32_t>(fieldsOf<T>.size()),
                                   &initialize<T>};
};

// What one class of a chain of base classes keeps.
struct LevelDescription {
  unsigned int number = 0;
  const Field* fields = nullptr;
  std::uint32_t count = 0;
  std::uint32_t begin = 0;  // without fields: the bytes that it keeps
  std::uint32_t end = 0;
};

template <class C>
constexpr bool hasDescription() {
  if constexpr (std::is_void_v<C>)
    return false;
  else
    return isDescribed<C> || hasDescription<typename BaseOf<C>::type>();
}

// The levels of a class and its bases, but for psObj.
template <class C>
void describeLevels(std::vector<LevelDescription>& levels) {
  using Base = typename BaseOf<C>::type;
  if constexpr (!std::is_void_v<Base>) {
    LevelDescription level;
    level.number = C::pstTypeN;
    if constexpr (isDescribed<C>) {
      static_assert(isCovered<C>());
      level.fields = fieldsOf<C>.data();
      level.count = static_cast<std::uint32_t>(fieldsOf<C>.size());
    } else if constexpr (sizeof(C) > sizeof(Base)) {
      level.begin = static_cast<std::uint32_t>(fieldsEnd<Base>());
      level.end = sizeof(C);
    }
    levels.push_back(level);
    describeLevels<Base>(levels);
  }
}

}  // namespace ps::detail
