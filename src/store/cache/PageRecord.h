#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/cache/Page.h"

// The form of a page image in the store (docs/format.md). It is packed, without gaps and without the first word of
// objects. So no pointer is ever stored, and a page's contents alone decide its record.
//
// A record is kept in chunks, a value each, so that a change in a large array writes one chunk and not the array. The
// first 8 bytes of a chunk are its checksum, seeded with its key. The first chunk continues with a RecordHeader, whose
// tailHash covers the checksums of the other chunks. So records with equal first chunks are equal.
namespace ps::detail {

struct RecordHeader {
  std::uint64_t tailHash;
  std::uint32_t length;  // of the whole record without the chunks' checksums
  std::uint16_t nextSlot;
  std::uint16_t objects;
};
static_assert(sizeof(RecordHeader) == 16);

// Bytes of a record in one chunk. With its checksum, such a chunk is what LMDB keeps in whole pages of its own. A page
// image of any allowed size fits in one chunk.
constexpr std::size_t chunkPayload = 32752 - sizeof(std::uint64_t);

// The checksum of a chunk's payload under its key.
std::uint64_t chunkChecksum(std::string_view key, std::string_view payload);

// The payload of a value when its checksum is right; otherwise an empty view.
std::string_view verifiedPayload(std::string_view key, std::string_view value, std::uint64_t& checksum);

// Writes the record of a page, with its header's tailHash still zero, and returns null. Or returns the first object
// that is of another class than it would be stored as; then there is no record.
const ObjectHeader* encodePage(const Page& page, std::string& record);

// The checksums of the objects that can be opened, by slot.
std::vector<std::pair<std::uint16_t, std::uint64_t>> objectChecksums(const Page& page);

// What a record needs in memory.
struct RecordShape {
  RecordHeader header;
  std::size_t bytes;  // of the objects, with their headers
};

// False when the record contradicts itself.
bool readShape(std::string_view record, RecordShape& shape);

// Lays the record's objects out in the page. The page's frame has room for shape and for a slot table of the given
// length. Objects that cannot be opened in this process are noted as foreign.
void decodePage(std::string_view record, const RecordShape& shape, std::size_t slots, Page& page);

// Puts the record's content into an image that had other content of the same objects, without moving any object. False
// when an object has no place; the content of the image is then undefined.
bool restorePage(std::string_view record, const RecordShape& shape, Page& page);

}  // namespace ps::detail
