#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/cache/ClassTable.h"
#include "store/cache/Page.h"
#include "store/cache/PageContents.h"
#include "store/cache/TypeRegistry.h"

// The form of a page image in the store (docs/format.md). It is packed, without gaps and without the first word of
// objects. So no pointer is ever stored, and a page's contents alone decide its record.
//
// A record is kept in chunks, a value each, so that a change in a large array writes one chunk and not the array. The
// first 8 bytes of a chunk are its checksum, seeded with its key. The first chunk continues with a RecordHeader. If
// there are others, a hash of their checksums follows it, so records with equal first chunks are equal.
namespace ps::detail {

struct RecordHeader {
  std::uint32_t headChecksum;  // of the rest of the head
  std::uint16_t headLength;    // of the header, the checksums of blocks and the directory; the objects' bytes follow
  std::uint16_t nextSlot;
  std::uint32_t lengthAndForm;  // of the whole record without the chunks' checksums, a multiple of 4, plus the form

  // The forms. Where this number is, format 1 has a plain length, so that neither is taken for the other.
  static constexpr std::uint32_t singleChunk = 1;
  static constexpr std::uint32_t severalChunks = 2;
  std::uint32_t form() const { return lengthAndForm % 4; }
  std::uint32_t length() const { return lengthAndForm - form(); }
  // With the hash of the other chunks' checksums.
  std::size_t size() const { return sizeof *this + (form() == severalChunks ? sizeof(std::uint64_t) : 0); }
};
static_assert(sizeof(RecordHeader) == 12);

// Bytes of a record in one chunk. With its checksum, such a chunk is what LMDB keeps in whole pages of its own. A page
// image of any allowed size fits in one chunk.
constexpr std::size_t chunkPayload = 32752 - sizeof(std::uint64_t);

// The form of a group in the directory.
enum : std::uint32_t {
  packedGroup = 1,       // each object is in a packed form, and has a length
  consecutiveGroup = 2,  // of the slots only the first is given
  namedGroup = 4,        // the objects have names, or are scopes of names
  elementClassGroup = 8  // the class of the collections' elements is given
};

// Objects' bytes have a checksum of 4 bytes per block, so that a part of a record can be verified. Short records, which
// are verified as a whole, and those that do not fit into one chunk have none.
constexpr std::size_t blockSize = 512;
constexpr std::size_t blocksOf(std::size_t objectBytes) {
  const bool has = objectBytes > 2 * blockSize && objectBytes <= 62 * blockSize;
  return has ? (objectBytes + blockSize - 1) / blockSize : 0;
}

// Prefetches what opening the object of one slot takes of a page's value.
void prefetchPart(std::string_view value, std::uint16_t slot);

// The payload of a value of which a part can be verified: a record of one chunk with checksums of blocks, whose head is
// right. An empty view for others.
std::string_view partlyVerified(std::string_view key, std::string_view value);

// Whether the blocks of such a payload in which an object's bytes lie are right.
bool hasRightBlocks(std::string_view key, std::string_view payload, std::string_view object);

// The checksum of a chunk's payload under its key.
std::uint64_t chunkChecksum(std::string_view key, std::string_view payload);

// The payload of a value when its checksum is right; otherwise an empty view.
std::string_view verifiedPayload(std::string_view key, std::string_view value, std::uint64_t& checksum);

// The record of a page. Of an object that takes more than a chunk, the bytes stay in the image.
struct EncodedPage {
  std::string begin;
  std::string_view large;  // follows, and then zeros up to a multiple of 4; mostly empty

  std::size_t size() const { return begin.size() + padded(large.size()); }
  // Some bytes of it, which are in the buffer where they are not together.
  std::string_view part(std::size_t at, std::size_t length, std::string& buffer) const;
};

// Writes the record of a page, without what sealRecord adds, and returns null. Or returns the first object that cannot
// be written; then there is no record. That object is of another class than it would be stored as, or classes has
// failed.
const ObjectHeader* encodePage(const Page& page, ClassTable& classes, EncodedPage& record);

// An object, or the storage of an array, that is laid out in memory behind its header.
struct LaidOutObject {
  const ObjectHeader* object;
  std::uint16_t layout;
};

// The same of objects that are in no page image, in the order of their slots.
void encodeObjects(const std::vector<LaidOutObject>& objects, std::uint16_t nextSlot, EncodedPage& record);

// Completes a record of one chunk or more, or the beginning of one: the checksums of its head and of its blocks, under
// the key of its first chunk, and the hash of the checksums of the others.
void sealRecord(std::string_view key, std::uint64_t tailHash, std::string& record);

// Whether the checksums of its head and of its blocks are right, in a record that readContents takes for one of the
// present format.
bool isSealed(std::string_view key, std::string_view record);

// The checksums of the objects that can be opened, by slot.
std::vector<std::pair<std::uint16_t, std::uint64_t>> objectChecksums(const Page& page);

// Bytes that the objects take in memory, with their headers.
std::size_t bytesInMemory(const PageContents& contents);

// Whether each object begins where the slot table can say.
bool isAddressable(const PageContents& contents);

// Makes an empty slot table of the given length in the page.
void beginPage(std::uint16_t nextSlot, std::size_t slots, Page& page);

// Lays out one object, for which the others before it take so many bytes in the image. False when it cannot be opened
// in this process.
bool decodeObject(const RecordedObject& object, std::size_t bytesBefore, Page& page);
// Bytes that an object takes in the image, with its header.
inline std::size_t bytesInImage(const RecordedObject& object) {
  return sizeof(ObjectHeader) + aligned(object.sizeInMemory());
}

// Lays the objects out in the page. The page's frame has room for them and for a slot table of the given length.
// Objects that cannot be opened in this process are noted as foreign.
void decodePage(const PageContents& contents, std::size_t slots, Page& page);

// What becomes of objects like one that cannot be opened, and why it cannot.
const ObjectForm& formOf(ClassTable& classes, const Page& page, const ForeignObject& object);
StoreError refusalOf(const ObjectForm& form, const Page& page, const ForeignObject& object);

// Puts the objects into an image that had other content of the same objects, without moving any object. False when an
// object has no place; the content of the image is then undefined.
bool restorePage(const PageContents& contents, Page& page);

}  // namespace ps::detail
