#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/schema/Field.h"
#include "store/schema/OrderShape.h"

namespace ps::detail {

class RecordReader;

// A persistent member, as a program or a store describes it.
struct FieldShape {
  std::string name;
  std::vector<std::string> formerNames;  // not stored
  FieldKind kind{};
  std::uint32_t offset = 0;  // in bytes, from the beginning of the object or, in a structure, of the structure
  std::uint32_t size = 0;    // of one, in bytes
  std::uint32_t count = 1;
  std::string structure;                      // of a structure: the name of its type
  std::vector<std::string> formerStructures;  // the names that it had; not stored
  std::uint32_t version = 0;                  // of a structure
  std::vector<FieldShape> parts;              // of a structure: its members; of an array: what its elements are

  FieldShape() = default;
  explicit FieldShape(const Field& field);
  // A structure that is not a member.
  explicit FieldShape(const Structure& described);

  std::uint32_t bytes() const { return size * count; }
};

// Whether a value of the kind can have so many bytes: it is read as that many.
bool isSizeOf(FieldKind kind, std::uint64_t size);

// What a field is, for people: "int32", "array of reference", a structure with its members.
std::string kindText(const FieldShape& field);

// What one class of a chain of base classes keeps.
struct ClassLevel {
  unsigned int number = 0;
  std::uint32_t version = 0;
  std::vector<FieldShape> fields;  // none when the class has no description
};

// The members of all descriptions that a store can have. What is made of a description takes memory for each, and a
// forged one of few bytes can have very many.
constexpr std::uint64_t mostMembersInStore = std::uint64_t{1} << 24;

// How a program lays out the objects of a class.
struct ClassShape {
  std::uint32_t size = 0;  // in memory, in bytes
  std::uint32_t alignment = 0;
  unsigned int base = 0;
  std::vector<ClassLevel> levels;  // the class itself, then its bases, but for psObj
  OrderShape order;                // of a comparator; two layouts may differ in it and still go together

  std::uint32_t version() const { return levels.front().version; }
  // Whether the fields of the class or of a base are known, or it has a version.
  bool isDescribed() const;
  const ClassLevel* level(unsigned int number) const;
  // How many members there are when each element of a fixed array of structures counts, and the keys of the order.
  std::uint64_t members() const;

  std::string encode() const;
  // The layout of a class that has this number. False when the bytes contradict themselves.
  bool decode(std::string_view bytes, unsigned int number);

  // For messages: the version and the fields.
  std::string text() const;

 private:
  bool isSound(unsigned int number) const;
};

// How a description in the store relates to the program's. Two layouts differ in age when a class, a base or a
// structure that both have differs in its version.
struct ShapeRelation {
  bool isOlder = false;  // the store's is, in a version
  bool isNewer = false;  // the same; both may hold
  std::string newer;     // names what is newer in the store, with both versions
  bool hasSameFields = false;
};

// Those that are not empty.
std::vector<std::string> namesIn(const FormerNames& names);

ShapeRelation relate(const ClassShape& stored, const ClassShape& program);

}  // namespace ps::detail
