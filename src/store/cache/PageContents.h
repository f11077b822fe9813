#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/cache/ClassTable.h"
#include "store/cache/StorageRows.h"

// The objects of a page's record, in either format of records (docs/format.md). Every reader of records uses this.
// PageRecord writes them, in the present format.
namespace ps::detail {

// An object as it is stored. The bytes are in the record.
struct RecordedObject {
  std::uint32_t type;  // with namedFlag; of storage, with its rows
  std::uint32_t size;  // in memory, in the layout in which it is stored
  std::uint16_t slot;
  std::uint16_t layout;
  bool isPacked;  // bytes are a packed form of storage
  std::string_view bytes;
  const ObjectForm* form = nullptr;  // see resolve

  // Whether it is storage that would be too large once it is converted. It is laid out as it is stored then.
  bool outgrows() const;
  // Bytes of an object as it is laid out, without rows.
  std::uint32_t sizeLaidOut() const;
  // Bytes of the place that it takes.
  std::size_t sizeInMemory() const;
  // Writes the object's bytes, but for the virtual table pointer of one that is as it is stored.
  void layOutAsStored(char* body) const;
  // Writes the bytes of one whose layout has changed. False, with the complaint, when a function of the application has
  // failed.
  bool convert(char* body, std::string& complaint) const;
};

struct PageContents {
  std::uint16_t nextSlot = 0;
  std::vector<RecordedObject> objects;  // in the order of their slots
  std::size_t missing = 0;              // bytes at the end of the only object; see readLargeObject
  // For bringing them into that order; kept for their memory.
  std::vector<std::uint16_t> places;
  std::vector<RecordedObject> ordered;
};

// The objects of a page whose slots are consecutive and that are all alike but for their bytes.
struct UniformContents {
  RecordedObject first;
  std::uint32_t count = 0;

  RecordedObject object(std::uint32_t index) const;
};

// Bytes at the start of an object that are not stored: the virtual table pointer.
constexpr std::size_t omitted(std::uint32_t type) { return isStorage(type & ~namedFlag) ? 0 : sizeof(void*); }
// Bytes that an object takes in a record unless it is packed, but for the padding.
constexpr std::size_t storedSize(std::uint32_t type, std::uint32_t size) {
  return size > omitted(type) ? size - omitted(type) : 0;
}
constexpr std::size_t padded(std::size_t size) { return (size + 3) / 4 * 4; }

// What must be known to read a record that consists of several chunks. 0 bytes when the record is too short to tell.
struct RecordSize {
  std::uint32_t bytes;
  std::uint64_t tailHash;  // of the checksums of all chunks but the first
};
RecordSize sizeOfRecord(std::string_view firstChunk);

// Finds out how the objects become objects in memory.
void resolve(ClassTable& classes, RecordedObject& object);
void resolve(ClassTable& classes, PageContents& contents);

// Whether a record that has room for a header is in format 1.
bool isFormat1(std::string_view record);

// False when the record contradicts itself.
bool readContents(std::string_view record, PageContents& contents);

// Reads the first of several chunks, if the page consists of one large object: with its first bytes, and missing says
// how many more the other chunks have. False for others.
bool readLargeObject(std::string_view firstChunk, PageContents& contents);

// False also for records of other pages. This costs the same for any number of objects.
bool readUniform(std::string_view record, UniformContents& contents);

}  // namespace ps::detail
