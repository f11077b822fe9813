#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ps {

// What a persistent member is. The numbers are part of the stored format.
enum class FieldKind : std::uint8_t {
  boolean = 1,
  character = 2,
  signedInteger = 3,
  unsignedInteger = 4,
  floating = 5,
  identifier = 6,
  reference = 7,
  array = 8,      // a pstVArray
  structure = 9,  // a struct that has fields itself
  opaque = 10,    // what a class without a description keeps: so many bytes
};

struct Structure;

// The names that a member, or a struct, had before. The unused ones are empty.
constexpr std::size_t mostFormerNames = 4;
using FormerNames = std::array<std::string_view, mostFormerNames>;

// A persistent member of a class or struct, as PS_FIELDS describes it to the compiler: its name, kind, offset, size and
// alignment.
struct Field {
  std::string_view name;
  FormerNames formerNames{};  // see PS_RENAMED
  FieldKind kind{};
  std::uint32_t offset = 0;  // in bytes, from the beginning of the object
  std::uint32_t size = 0;    // of one, in bytes
  std::uint32_t alignment = 1;
  std::uint32_t count = 1;               // of a fixed array; 1 for a single one
  const Structure* structure = nullptr;  // of a structure, and of an array of structures
  FieldKind element{};                   // of an array
  std::uint32_t elementSize = 0;         // of an array
};

// The number and the formerNames that a PS_STRUCT_VERSION gives.
struct StructureVersion {
  std::uint32_t number = 0;
  FormerNames formerNames{};
};

// A struct whose objects are part of persistent ones: its name, version, size and alignment, and count fields.
struct Structure {
  std::string_view name;
  StructureVersion version{};
  std::uint32_t size = 0;
  std::uint32_t alignment = 1;
  const Field* fields = nullptr;
  std::uint32_t count = 0;
  void (*initialize)(void* object) = nullptr;  // makes one by its initialisers; the memory is zero before
};

}  // namespace ps
