#include "store/cache/PageRecord.h"

#include <xxhash.h>

#include <algorithm>
#include <cstring>

#include "store/cache/TypeRegistry.h"

namespace ps::detail {

namespace {

// Stands before each object of a record.
struct StoredObject {
  std::uint32_t type;
  std::uint32_t size;
  std::uint16_t slot;
  std::uint16_t reserved;
};
static_assert(sizeof(StoredObject) == 12);

// Bytes at the start of an object that are not stored: the virtual table pointer.
std::size_t omitted(std::uint32_t type) { return (type & ~namedFlag) == storageType ? 0 : sizeof(void*); }

std::size_t storedSize(std::uint32_t type, std::uint32_t size) {
  const std::size_t bytes = size - std::min<std::size_t>(size, omitted(type));
  return (bytes + 3) / 4 * 4;
}

void appendObject(const ObjectHeader& header, std::string& record) {
  const StoredObject stored{header.type, header.size, header.slot, 0};
  record.append(reinterpret_cast<const char*>(&stored), sizeof stored);
  const char* const body = reinterpret_cast<const char*>(&header + 1);
  const std::size_t skip = omitted(header.type);
  record.append(body + skip, header.size - std::min<std::size_t>(header.size, skip));
  record.resize((record.size() + 3) / 4 * 4);
}

// Walks the objects of a record; the visitor gets each one's head and stored bytes. False when the record is cut short.
template <class Visitor>
bool forEachObject(std::string_view record, const RecordHeader& header, Visitor&& visit) {
  std::size_t position = sizeof(RecordHeader);
  std::uint32_t type = 0;
  std::uint32_t sizeInMemory = 0;
  std::size_t size = 0;
  for (std::uint32_t i = 0; i < header.objects; ++i) {
    if (position + sizeof(StoredObject) > record.size()) return false;
    StoredObject stored;
    std::memcpy(&stored, record.data() + position, sizeof stored);
    position += sizeof stored;
    // Most objects are as long as the one before. Predicting that, the processor need not wait to know where the next
    // is.
    if (PS_UNLIKELY(stored.type != type || stored.size != sizeInMemory)) {
      type = stored.type;
      sizeInMemory = stored.size;
      size = storedSize(type, sizeInMemory);
    }
    if (size > record.size() - position || stored.slot == 0 || stored.slot >= header.nextSlot) return false;
    if (!visit(stored, record.data() + position)) return false;
    position += size;
  }
  return true;
}

void copyBody(const StoredObject& stored, const char* bytes, char* body) {
  const std::size_t skip = std::min<std::size_t>(stored.size, omitted(stored.type));
  std::memcpy(body + skip, bytes, stored.size - skip);
}

}  // namespace

void setSlot(Page& page, std::uint16_t slot, std::uint16_t offset) {
  std::uint32_t& regular = page.frame->regularSlots;
  slotsOf(page.frame)[slot] = offset;
  if (offset == 0) {
    regular = std::min<std::uint32_t>(regular, slot - 1U);
    return;
  }
  if (slot != regular + 1) return;
  if (slot == 1) page.regularBegin = offset;
  if (slot == 2) page.regularStride = static_cast<std::uint16_t>(offset - page.regularBegin);
  if (offset == page.regularBegin + std::size_t{slot - 1U} * page.regularStride) regular = slot;
}

std::uint64_t chunkChecksum(std::string_view key, std::string_view payload) {
  return XXH3_64bits_withSeed(payload.data(), payload.size(), XXH3_64bits(key.data(), key.size()));
}

std::string_view verifiedPayload(std::string_view key, std::string_view value, std::uint64_t& checksum) {
  if (value.size() < sizeof checksum) return {};
  // What is not in the processor's caches arrives sooner when all of it is prefetched at once.
  for (std::size_t i = 0; i < value.size(); i += cacheLine) __builtin_prefetch(value.data() + i);
  std::memcpy(&checksum, value.data(), sizeof checksum);
  const std::string_view payload = value.substr(sizeof checksum);
  return chunkChecksum(key, payload) == checksum ? payload : std::string_view{};
}

const ObjectHeader* encodePage(const Page& page, std::string& record) {
  record.assign(sizeof(RecordHeader), '\0');
  RecordHeader header{};
  header.nextSlot = static_cast<std::uint16_t>(page.nextSlot);
  const std::uint16_t* const slots = slotsOf(page.frame);
  const std::uint32_t end = std::min<std::uint32_t>(page.nextSlot, page.frame->slotLimit + 1U);
  ClassLookup classOf;
  for (std::uint32_t slot = 1; slot < end; ++slot) {
    if (slots[slot] == 0) continue;
    const ObjectHeader& object = *headerAt(page.frame, slots[slot]);
    const ClassInfo* const info = omitted(object.type) != 0 ? classOf(object.type & ~namedFlag) : nullptr;
    if (info != nullptr && !isOfClass(*info, &object + 1)) return &object;
    appendObject(object, record);
    ++header.objects;
  }
  for (const auto& [slot, offset] : page.foreign) {
    appendObject(*headerAt(page.frame, offset), record);
    ++header.objects;
  }
  header.length = static_cast<std::uint32_t>(record.size());
  std::memcpy(record.data(), &header, sizeof header);
  return nullptr;
}

std::vector<std::pair<std::uint16_t, std::uint64_t>> objectChecksums(const Page& page) {
  std::vector<std::pair<std::uint16_t, std::uint64_t>> checksums;
  const std::uint16_t* const slots = slotsOf(page.frame);
  const std::uint32_t end = std::min<std::uint32_t>(page.nextSlot, page.frame->slotLimit + 1U);
  for (std::uint32_t slot = 1; slot < end; ++slot) {
    if (slots[slot] == 0) continue;
    const ObjectHeader& header = *headerAt(page.frame, slots[slot]);
    const std::size_t skip = std::min<std::size_t>(header.size, omitted(header.type));
    const char* const body = reinterpret_cast<const char*>(&header + 1);
    checksums.emplace_back(static_cast<std::uint16_t>(slot), XXH3_64bits(body + skip, header.size - skip));
  }
  return checksums;
}

bool readShape(std::string_view record, RecordShape& shape) {
  if (record.size() < sizeof(RecordHeader)) return false;
  std::memcpy(&shape.header, record.data(), sizeof(RecordHeader));
  shape.bytes = 0;
  return shape.header.length == record.size() &&
         forEachObject(record, shape.header, [&shape](const StoredObject& stored, const char*) {
           shape.bytes += sizeof(ObjectHeader) + aligned(stored.size);
           return true;
         });
}

void decodePage(std::string_view record, const RecordShape& shape, std::size_t slots, Page& page) {
  Frame* const frame = page.frame;
  std::memset(frame->image, 0, objectsBegin(slots));
  frame->slotLimit = static_cast<std::uint32_t>(slots);
  page.nextSlot = shape.header.nextSlot;
  page.objects = shape.header.objects;
  page.used = objectsBegin(slots);
  ClassLookup classOf;
  forEachObject(record, shape.header, [&](const StoredObject& stored, const char* bytes) {
    const auto offset = static_cast<std::uint16_t>((page.used + sizeof(ObjectHeader)) / alignment);
    char* const body = bodyAt(frame, offset);
    const auto index = static_cast<std::uint32_t>(frame - frameTable);
    *headerAt(frame, offset) = {stored.type, stored.size, index, stored.slot, roomFor(stored.size)};
    copyBody(stored, bytes, body);
    page.used += sizeof(ObjectHeader) + aligned(stored.size);
    const ClassInfo* const info = omitted(stored.type) != 0 ? classOf(stored.type & ~namedFlag) : nullptr;
    const bool usable =
        omitted(stored.type) == 0 || (info != nullptr && info->virtualTable != 0 && info->size == stored.size);
    if (!usable) {
      page.foreign.emplace_back(stored.slot, offset);
      return true;
    }
    if (info != nullptr) std::memcpy(body, &info->virtualTable, sizeof info->virtualTable);
    setSlot(page, stored.slot, offset);
    return true;
  });
}

bool restorePage(std::string_view record, const RecordShape& shape, Page& page) {
  Frame* const frame = page.frame;
  const std::uint16_t* const table = slotsOf(frame);
  std::vector<std::pair<std::uint16_t, std::uint16_t>> places = page.freed;
  const auto placeOf = [&](std::uint16_t slot) -> std::uint16_t {
    if (slot <= frame->slotLimit && table[slot] != 0) return table[slot];
    const auto sameSlot = [slot](const auto& place) { return place.first == slot; };
    const auto found = std::find_if(places.begin(), places.end(), sameSlot);
    return found == places.end() ? 0 : found->second;
  };
  if (!page.foreign.empty()) return false;
  std::vector<std::uint16_t> kept(std::size_t{frame->slotLimit} + 1, 0);
  ClassLookup classOf;
  const bool complete = forEachObject(record, shape.header, [&](const StoredObject& stored, const char* bytes) {
    const std::uint16_t offset = placeOf(stored.slot);
    if (offset == 0 || capacityOf(page, *headerAt(frame, offset)) < stored.size) return false;
    headerAt(frame, offset)->type = stored.type;
    headerAt(frame, offset)->size = stored.size;
    copyBody(stored, bytes, bodyAt(frame, offset));
    if (omitted(stored.type) != 0) {
      // A destructor that ran has put back the virtual table of the base.
      const ClassInfo* const info = classOf(stored.type & ~namedFlag);
      if (info == nullptr) return false;
      std::memcpy(bodyAt(frame, offset), &info->virtualTable, sizeof info->virtualTable);
    }
    kept[stored.slot] = offset;
    return true;
  });
  if (!complete) return false;
  for (std::size_t slot = 1; slot < kept.size(); ++slot) setSlot(page, static_cast<std::uint16_t>(slot), kept[slot]);
  page.objects = shape.header.objects;
  return true;
}

}  // namespace ps::detail
