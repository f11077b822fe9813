#pragma once

#include <cstdint>
#include <forward_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "store/base/ClassNumbers.h"
#include "store/cache/Frame.h"
#include "store/schema/Field.h"

namespace ps::detail {

constexpr std::size_t alignment = 16;
constexpr std::size_t aligned(std::size_t size) { return (size + alignment - 1) / alignment * alignment; }

// See notesBeside.
struct ObjectNotes {
  const psObj* object;
  std::uint64_t stamp;  // equals the session's while the notes are good
  std::vector<psId> references;
};

// An object that is kept as it is but cannot be opened here: its ObjectForm says why, unless its own conversion failed.
struct ForeignObject {
  std::uint16_t slot;
  std::uint16_t offset;
  std::uint16_t layout;
  std::string complaint;
};

// The storage of an array whose elements are described structures.
struct DescribedStorage {
  std::uint16_t layout;       // in which it is stored
  const Structure* elements;  // what it has in memory; null when this process does not know the structure
};

// An array of described structures whose storage does not say so yet.
struct UnnamedArray {
  psId storage;
  const Structure* elements;
};

// What the cache knows of a page image in memory, besides its Frame.
struct Page {
  Frame* frame = nullptr;
  std::size_t bytes = 0;  // of the block that the image has
  std::size_t used = 0;   // from the image's start; the rest is free. Freed objects leave gaps until the
                          // image is read again: an address is never given to a second object.
  // What its objects take in the record, and what those of them do that may take less; see noteRecorded.
  std::size_t recordBytes = 0;
  std::size_t packableBytes = 0;
  std::uint32_t nextSlot = 1;  // slot numbers below it are taken or were
  // Where object 1 is, and how far object 2 is from it, in units of 16 bytes like the slot table's elements.
  // Frame::regularSlots says for which objects this holds.
  std::uint16_t regularBegin = 0;
  std::uint16_t regularStride = 0;
  std::uint32_t objects = 0;             // live, storage included; at 0 the page is erased when it is written
  bool changed = false;                  // must be written
  bool filled = false;                   // see noteFilled
  bool created = false;                  // by the running transaction
  bool hasOlder = false;                 // some objects would be written in another layout
  bool isOutdated = false;               // somebody else has changed it, or may have
  bool isPartial = false;                // objects are laid out when they are opened
  std::uint8_t opened = 0;               // how many of a partial page have been
  bool stored = false;                   // the engine has it, as far as the running transaction can see
  std::uint32_t lastTouched = 0;         // the frame's stamp when the clock hand last passed
  std::size_t residentIndex = 0;         // in the cache's list of resident pages
  std::size_t changedIndex = 0;          // in its list of changed pages
  std::size_t unwrittenBytes = 0;        // counted in PageCache::uncommittedBytes
  std::vector<std::uint64_t> checksums;  // of the stored record's chunks
  // In a checked build, the checksums of the objects when the image was last known to be right: slot, checksum.
  std::vector<std::pair<std::uint16_t, std::uint64_t>> objectChecksums;
  bool hasObjectChecksums = false;

  std::vector<ForeignObject> foreign;
  std::map<std::uint16_t, DescribedStorage> describedStorage;  // by slot
  // What is to be done elsewhere when the page is written: conversions have left storage without an owner; objects that
  // get a description have arrays that need one too.
  std::vector<psId> droppedStorage;
  std::vector<UnnamedArray> unnamedArrays;
  // Objects that the running transaction deleted; their bytes are still in place.
  std::vector<std::pair<std::uint16_t, std::uint16_t>> freed;
  std::forward_list<ObjectNotes> notes;
};

// The object at an offset from the slot table.
inline char* bodyAt(const Frame* frame, std::uint16_t offset) { return frame->image + std::size_t{offset} * alignment; }
inline ObjectHeader* headerAt(const Frame* frame, std::uint16_t offset) { return headerOf(bodyAt(frame, offset)); }

// The object of a slot. Null when the slot has none that can be opened here.
inline char* liveObject(const Frame* frame, std::uint32_t slot) {
  const std::uint16_t offset = slot <= frame->slotLimit ? slotsOf(frame)[slot] : std::uint16_t{0};
  return offset != 0 ? bodyAt(frame, offset) : nullptr;
}

// Sets an element of the slot table, and what is known of the regular objects. Offset 0 removes the object.
void setSlot(Page& page, std::uint16_t slot, std::uint16_t offset);

// The offset of the first object's header when the slot table has room for the given number of slots.
constexpr std::size_t objectsBegin(std::size_t slots) { return aligned((slots + 1) * sizeof(std::uint16_t)); }

// The size in bytes to which an object may grow in place.
inline std::size_t capacityOf(const Page& page, const ObjectHeader& header) {
  if (header.room != 0) return std::size_t{header.room} * alignment;
  const char* const body = reinterpret_cast<const char*>(&header + 1);
  return page.bytes - static_cast<std::size_t>(body - page.frame->image);
}

// ObjectHeader::room for a number of bytes. Objects of that many units have a page to themselves.
inline std::uint16_t roomFor(std::size_t bytes) {
  const std::size_t units = aligned(bytes) / alignment;
  return units <= 0xFFFF ? static_cast<std::uint16_t>(units) : 0;
}

}  // namespace ps::detail
