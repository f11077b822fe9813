#include "store/cache/PageContents.h"

#include <algorithm>
#include <cstring>

#include "store/base/RecordBytes.h"
#include "store/cache/NothingOpened.h"
#include "store/cache/PackedStorage.h"
#include "store/cache/PageRecord.h"

namespace ps::detail {

namespace {

struct Format1Header {
  std::uint64_t tailHash;
  std::uint32_t length;
  std::uint16_t nextSlot;
  std::uint16_t objects;
};
static_assert(sizeof(Format1Header) == 16);

// Stands before each object of a record in format 1.
struct Format1Object {
  std::uint32_t type;
  std::uint32_t size;
  std::uint16_t slot;
  std::uint16_t reserved;
};
static_assert(sizeof(Format1Object) == 12);

// Whether a page can hold an object that a record describes so. Everything behind takes this for granted.
bool isPossible(const RecordedObject& object) {
  const std::uint32_t type = object.type & ~namedFlag;
  if (!isStorage(type)) {
    const bool isClassOfObjects = type == objectTypeN || type > storageWith(Rows::all);
    return isClassOfObjects && object.size >= sizeof(void*) && !object.isPacked;
  }
  if (type != object.type) return false;
  const bool holdsReferences = object.size % sizeof(psId) == 0 && object.size <= largestWithRows && object.layout == 0;
  return rowsOf(type) == Rows::none || holdsReferences;
}

bool readFormat1(std::string_view record, PageContents& contents) {
  const auto header = numberIn<Format1Header>(record.data());
  contents.nextSlot = header.nextSlot;
  if (header.nextSlot == 0) return false;
  std::size_t position = sizeof header;
  for (std::uint32_t i = 0; i < header.objects; ++i) {
    if (position + sizeof(Format1Object) > record.size()) return false;
    const auto stored = numberIn<Format1Object>(record.data() + position);
    position += sizeof stored;
    const std::size_t size = storedSize(stored.type, stored.size);
    if (padded(size) > record.size() - position) return false;
    contents.objects.push_back({stored.type, stored.size, stored.slot, 0, false, record.substr(position, size)});
    if (!isPossible(contents.objects.back())) return false;
    position += padded(size);
  }
  return header.length == record.size();
}

// What the directory says of a group before the slots of its objects.
struct GroupHead {
  explicit GroupHead(RecordReader& reader) {
    const std::uint32_t form = reader.varint();
    isPacked = (form & packedGroup) != 0;
    isConsecutive = (form & consecutiveGroup) != 0;
    type = reader.varint() | ((form & namedGroup) != 0 ? namedFlag : 0);
    size = reader.varint();
    const std::uint32_t layoutNumber = reader.varint();
    layout = static_cast<std::uint16_t>(layoutNumber);
    isKnown = form <= (packedGroup | consecutiveGroup | namedGroup | elementClassGroup) && layout == layoutNumber;
    if ((form & elementClassGroup) != 0) reader.varint();
    count = reader.varint();
  }

  std::uint32_t type;
  std::uint32_t size;
  std::uint16_t layout;
  bool isPacked;
  bool isConsecutive;
  bool isKnown;  // false when no release writes such a group
  std::uint32_t count;
};

// Reads the directory of a record, which says where the objects are.
class Directory {
 public:
  Directory(std::string_view record, const RecordHeader& header) : record_(record), position_(header.headLength) {}

  // The objects of one group.
  bool readGroup(RecordReader& reader, PageContents& contents) {
    const GroupHead head(reader);
    const std::size_t first = contents.objects.size();
    // Objects without bytes could otherwise be any number.
    if (!reader.isSound() || !head.isKnown || head.count > contents.nextSlot - first) return false;
    std::uint32_t slot = 0;
    for (std::uint32_t i = 0; i < head.count; ++i) {
      slot += i == 0 || !head.isConsecutive ? reader.varint() : 1;
      if (slot > 0xFFFF) return false;
      contents.objects.push_back(
          {head.type, head.size, static_cast<std::uint16_t>(slot), head.layout, head.isPacked, {}});
    }
    for (std::size_t i = first; i < contents.objects.size(); ++i) {
      RecordedObject& object = contents.objects[i];
      const std::size_t size = head.isPacked ? std::size_t{reader.varint()} * 8 : storedSize(object.type, object.size);
      if (!reader.isSound() || padded(size) > record_.size() - position_) return false;
      object.bytes = record_.substr(position_, size);
      if (!isPossible(object)) return false;
      if (head.isPacked && !isPackedForm(object.bytes, object.type, object.size)) return false;
      position_ += padded(size);
    }
    return true;
  }

 private:
  std::string_view record_;
  std::size_t position_;
};

// Where the directory begins.
std::size_t directoryBegin(std::string_view record, const RecordHeader& header) {
  return header.size() + blocksOf(record.size() - header.headLength) * sizeof(std::uint32_t);
}

bool hasSoundHead(std::string_view record, const RecordHeader& header) {
  if (header.form() > RecordHeader::severalChunks || header.nextSlot == 0) return false;
  if (header.length() != record.size() || header.headLength > record.size()) return false;
  return header.headLength >= directoryBegin(record, header);
}

RecordReader directoryOf(std::string_view record, const RecordHeader& header) {
  const std::size_t begin = directoryBegin(record, header);
  return RecordReader(record.substr(begin, header.headLength - begin));
}

bool readFormat2(std::string_view record, PageContents& contents) {
  const auto header = numberIn<RecordHeader>(record.data());
  contents.nextSlot = header.nextSlot;
  if (!hasSoundHead(record, header)) return false;
  RecordReader reader = directoryOf(record, header);
  Directory directory(record, header);
  for (std::uint32_t groups = reader.varint(); groups > 0; --groups) {
    if (!directory.readGroup(reader, contents)) return false;
  }
  return reader.isSound();
}

// Brings the objects into the order of their slots. False when a slot has two, or is none.
bool orderBySlot(PageContents& contents) {
  std::vector<RecordedObject>& objects = contents.objects;
  contents.places.assign(std::size_t{contents.nextSlot} + 1, 0);
  std::uint32_t last = 0;
  bool isInOrder = true;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const std::uint16_t slot = objects[i].slot;
    if (slot == 0 || slot >= contents.nextSlot || contents.places[slot] != 0) return false;
    contents.places[slot] = static_cast<std::uint16_t>(i + 1);
    isInOrder = isInOrder && slot > last;
    last = slot;
  }
  if (isInOrder) return true;
  contents.ordered.clear();
  for (const std::uint16_t place : contents.places) {
    if (place != 0) contents.ordered.push_back(objects[place - 1U]);
  }
  objects.swap(contents.ordered);
  return true;
}

}  // namespace

bool isFormat1(std::string_view record) { return numberIn<RecordHeader>(record.data()).form() == 0; }

bool RecordedObject::outgrows() const {
  if (form == nullptr || form->change == nullptr || !isStorage(type)) return false;
  const LayoutChange& change = *form->change;
  return std::uint64_t{size / change.sizeBefore()} * change.sizeAfter() > largestStorage;
}

std::uint32_t RecordedObject::sizeLaidOut() const {
  if (form == nullptr || form->change == nullptr || outgrows()) return size;
  const LayoutChange& change = *form->change;
  return isStorage(type) ? size / change.sizeBefore() * change.sizeAfter() : change.sizeAfter();
}

std::size_t RecordedObject::sizeInMemory() const {
  if (form == nullptr || form->change == nullptr) return size + rowBytes(rowsOf(type), size);
  // One whose conversion fails is laid out as it is stored.
  return std::max(size, sizeLaidOut());
}

void RecordedObject::layOutAsStored(char* body) const {
  if (isPacked) {
    unpack(bytes, type, size, body);
  } else {
    std::memcpy(body + std::min<std::size_t>(size, omitted(type)), bytes.data(), bytes.size());
    std::memset(body + size, 0, rowBytes(rowsOf(type), size));
  }
}

bool RecordedObject::convert(char* body, std::string& complaint) const {
  const LayoutChange& change = *form->change;
  if (outgrows()) {
    complaint = "it would take more than 4 GiB";
    return false;
  }
  if (!isStorage(type)) {
    if (!change.runsFunctions()) return change.apply(bytes.data(), omitted(type), body, complaint);
    const NothingOpened here;
    if (!change.apply(bytes.data(), omitted(type), body, complaint)) return false;
    if (here.refused()) complaint = "its function opens, creates or changes something; it may use the old object alone";
    return !here.refused();
  }
  std::string unpacked;
  if (isPacked) {
    unpacked.resize(size);
    unpack(bytes, type, size, unpacked.data());
  }
  const char* from = isPacked ? unpacked.data() : bytes.data();
  for (std::uint32_t n = size / change.sizeBefore(); n > 0; --n) {
    if (!change.apply(from, 0, body, complaint)) return false;
    from += change.sizeBefore();
    body += change.sizeAfter();
  }
  return true;
}

void resolve(ClassTable& classes, RecordedObject& object) {
  object.form = &classes.formOf(object.type & ~namedFlag, object.layout, object.size);
}

void resolve(ClassTable& classes, PageContents& contents) {
  for (RecordedObject& object : contents.objects) resolve(classes, object);
}

RecordSize sizeOfRecord(std::string_view firstChunk) {
  if (firstChunk.size() < sizeof(RecordHeader)) return {};
  const auto header = numberIn<RecordHeader>(firstChunk.data());
  const bool isOlder = header.form() == 0;
  if (isOlder && firstChunk.size() < sizeof(Format1Header)) return {};
  if (isOlder) return {header.length(), numberIn<Format1Header>(firstChunk.data()).tailHash};
  const bool isSplit = header.form() == RecordHeader::severalChunks;
  if (firstChunk.size() < header.size()) return {};
  return {header.length(), isSplit ? numberIn<std::uint64_t>(firstChunk.data() + sizeof header) : 0};
}

RecordedObject UniformContents::object(std::uint32_t index) const {
  RecordedObject object = first;
  object.slot = static_cast<std::uint16_t>(first.slot + index);
  object.bytes = {first.bytes.data() + index * padded(first.bytes.size()), first.bytes.size()};
  return object;
}

bool readUniform(std::string_view record, UniformContents& contents) {
  const auto header = numberIn<RecordHeader>(record.data());
  if (isFormat1(record) || !hasSoundHead(record, header)) return false;
  RecordReader reader = directoryOf(record, header);
  if (reader.varint() != 1) return false;
  const GroupHead head(reader);
  const std::uint32_t slot = reader.varint();
  if (!reader.isSound() || head.isPacked || !head.isConsecutive || head.count == 0) return false;
  if (slot == 0 || slot >= header.nextSlot || head.count > header.nextSlot - slot) return false;
  const std::size_t size = storedSize(head.type, head.size);
  if (padded(size) * head.count > record.size() - header.headLength) return false;
  contents.count = head.count;
  contents.first = {head.type,   head.size, static_cast<std::uint16_t>(slot),
                    head.layout, false,     record.substr(header.headLength, size)};
  return head.isKnown && isPossible(contents.first);
}

bool readLargeObject(std::string_view firstChunk, PageContents& contents) {
  const auto header = numberIn<RecordHeader>(firstChunk.data());
  const bool isSplit = header.form() == RecordHeader::severalChunks && header.length() > firstChunk.size();
  if (!isSplit || header.nextSlot == 0) return false;
  if (header.headLength < header.size() || header.headLength > firstChunk.size()) return false;
  const std::size_t objectBytes = header.length() - header.headLength;
  RecordReader reader(firstChunk.substr(header.size(), header.headLength - header.size()));
  if (blocksOf(objectBytes) != 0 || reader.varint() != 1) return false;
  const GroupHead head(reader);
  const std::uint32_t slot = reader.varint();
  const std::size_t size = storedSize(head.type, head.size);
  if (!reader.isSound() || !head.isKnown || head.isPacked || head.count != 1 || padded(size) != objectBytes)
    return false;
  if (slot == 0 || slot >= header.nextSlot) return false;
  const RecordedObject object{head.type,   head.size, static_cast<std::uint16_t>(slot),
                              head.layout, false,     firstChunk.substr(header.headLength)};
  if (!isPossible(object) || object.bytes.size() > size) return false;
  contents.nextSlot = header.nextSlot;
  contents.objects.assign(1, object);
  contents.missing = size - object.bytes.size();
  return true;
}

bool readContents(std::string_view record, PageContents& contents) {
  contents.objects.clear();
  contents.missing = 0;
  return (isFormat1(record) ? readFormat1(record, contents) : readFormat2(record, contents)) && orderBySlot(contents);
}

}  // namespace ps::detail
