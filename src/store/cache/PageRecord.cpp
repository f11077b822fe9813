#include "store/cache/PageRecord.h"

#include <xxhash.h>

#include <algorithm>
#include <cstring>

#include "store/base/IdText.h"
#include "store/base/RecordBytes.h"
#include "store/cache/PackedStorage.h"
#include "store/cache/PageFill.h"
#include "store/cache/TypeRegistry.h"

namespace ps::detail {

namespace {

constexpr std::size_t headAlignment = 8;
constexpr std::size_t roundUp(std::size_t size, std::size_t to) { return (size + to - 1) / to * to; }

// Writes the record of a page. Objects of one class, size, layout and form are a group: the directory says once what
// they have in common, and their bytes lie one after another.
class PageEncoder {
 public:
  explicit PageEncoder(std::uint32_t nextSlot) : nextSlot_(nextSlot) {}

  // Takes the objects of a page. Null, or the first one that cannot be written.
  const ObjectHeader* collect(const Page& page, ClassTable& classes);
  void collect(const std::vector<LaidOutObject>& objects);
  void write(EncodedPage& encoded) const;

 private:
  struct Item {
    const ObjectHeader* object;
    std::uint32_t group;
    std::size_t packed;  // where its packed form begins and how long it is; 0 bytes for others
    std::size_t packedBytes;
  };
  struct Group {
    std::uint32_t type;
    std::uint32_t size;
    std::uint16_t layout;
    bool isPacked;
    bool isConsecutive = true;
    std::uint32_t count = 0;
    std::uint16_t lastSlot = 0;
    std::size_t begin = 0;  // of its items

    // Of these, every object in memory is aligned as an array of references is. They come first.
    bool isAligned() const { return isStorage(type) && size % headAlignment == 0; }
  };

  void add(const ObjectHeader& object, std::uint16_t layout);
  bool addStorage(const ObjectHeader& object, const Page& page, ClassTable& classes);
  void completeGroups();
  void sortByGroup();
  std::uint32_t groupFor(const ObjectHeader& object, std::uint16_t layout, bool isPacked);
  void writeDirectory(std::string& record) const;
  void writeGroup(std::uint32_t index, std::string& directory) const;
  void writeObjects(std::string& record) const;
  std::string_view largeObject() const;
  static void padForEngine(std::string& objects);
  // The groups in the order of the directory.
  template <class Visit>
  void forEachGroup(Visit visit) const {
    for (const bool aligned : {true, false}) {
      for (std::uint32_t i = 0; i < groups_.size(); ++i) {
        if (groups_[i].isAligned() == aligned) visit(i);
      }
    }
  }
  template <class Visit>
  void forEachItem(std::uint32_t group, Visit visit) const {
    const auto begin = items_.begin() + static_cast<std::ptrdiff_t>(groups_[group].begin);
    std::for_each(begin, begin + groups_[group].count, visit);
  }

  const std::uint32_t nextSlot_;
  std::vector<Item> items_;  // by group, and within a group in the order of slots
  std::vector<Group> groups_;
  std::string packed_;
};

const ObjectHeader* PageEncoder::collect(const Page& page, ClassTable& classes) {
  const std::uint16_t* const slots = slotsOf(page.frame);
  const std::uint32_t end = std::min<std::uint32_t>(page.nextSlot, page.frame->slotLimit + 1U);
  items_.reserve(page.objects);
  ClassLookup classOf;
  const ClassInfo* before = nullptr;
  std::uint16_t layout = 0;
  for (std::uint32_t slot = 1; slot < end; ++slot) {
    if (slots[slot] == 0) continue;
    const ObjectHeader& object = *headerAt(page.frame, slots[slot]);
    if (isStorage(object.type)) {
      if (!addStorage(object, page, classes)) return &object;
      continue;
    }
    const ClassInfo* const info = classOf(object.type & ~namedFlag);
    if (info == nullptr || !isOfClass(*info, &object + 1)) return &object;
    if (info != before) layout = classes.layoutOf(*info);
    if (layout == 0) return &object;
    before = info;
    add(object, layout);
  }
  for (const ForeignObject& foreign : page.foreign) add(*headerAt(page.frame, foreign.offset), foreign.layout);
  if (!page.foreign.empty()) {
    std::sort(items_.begin(), items_.end(),
              [](const Item& a, const Item& b) { return a.object->slot < b.object->slot; });
  }
  completeGroups();
  return nullptr;
}

void PageEncoder::collect(const std::vector<LaidOutObject>& objects) {
  for (const LaidOutObject& laidOut : objects) add(*laidOut.object, laidOut.layout);
  completeGroups();
}

void PageEncoder::completeGroups() {
  for (const Item& item : items_) {
    Group& group = groups_[item.group];
    group.isConsecutive &= group.count == 0 || item.object->slot == group.lastSlot + 1;
    group.lastSlot = item.object->slot;
    ++group.count;
  }
  if (groups_.size() > 1) sortByGroup();
}

void PageEncoder::sortByGroup() {
  std::size_t end = 0;
  for (Group& group : groups_) {
    group.begin = end;
    end += group.count;
  }
  std::vector<std::size_t> next(groups_.size());
  std::transform(groups_.begin(), groups_.end(), next.begin(), [](const Group& group) { return group.begin; });
  std::vector<Item> sorted(items_.size());
  for (const Item& item : items_) sorted[next[item.group]++] = item;
  items_ = std::move(sorted);
}

void PageEncoder::add(const ObjectHeader& object, std::uint16_t layout) {
  const std::size_t begin = packed_.size();
  const bool isPacked = isStorage(object.type) && appendPacked(object, packed_);
  items_.push_back({&object, groupFor(object, layout, isPacked), begin, packed_.size() - begin});
}

// False when the layout of its elements cannot be told.
bool PageEncoder::addStorage(const ObjectHeader& object, const Page& page, ClassTable& classes) {
  std::uint16_t layout = 0;
  const auto described = page.describedStorage.find(object.slot);
  if (described != page.describedStorage.end()) {
    const auto& [stored, elements] = described->second;
    layout = elements != nullptr ? classes.layoutOf(*elements) : stored;
    if (layout == 0) return false;
  }
  add(object, layout);
  return true;
}

std::uint32_t PageEncoder::groupFor(const ObjectHeader& object, std::uint16_t layout, bool isPacked) {
  std::uint32_t i = 0;
  for (; i < groups_.size(); ++i) {
    const Group& group = groups_[i];
    if (group.type == object.type && group.size == object.size && group.layout == layout && group.isPacked == isPacked)
      return i;
  }
  groups_.push_back({object.type, object.size, layout, isPacked});
  return i;
}

void PageEncoder::write(EncodedPage& encoded) const {
  std::string& record = encoded.begin;
  record.clear();
  encoded.large = largeObject();
  if (encoded.large.empty()) writeObjects(record);
  padForEngine(record);
  const std::size_t objectBytes = encoded.size();
  const bool isAligned =
      std::any_of(groups_.begin(), groups_.end(), [](const Group& group) { return group.isAligned(); });
  std::string directory;
  writeDirectory(directory);
  const std::size_t sums = blocksOf(objectBytes) * sizeof(std::uint32_t);
  RecordHeader header{};
  header.nextSlot = static_cast<std::uint16_t>(nextSlot_);
  for (const std::uint32_t form : {RecordHeader::singleChunk, RecordHeader::severalChunks}) {
    header.lengthAndForm = form;
    const std::size_t used = header.size() + sums + directory.size();
    header.headLength = static_cast<std::uint16_t>(isAligned ? roundUp(used, headAlignment) : padded(used));
    if (header.headLength + objectBytes <= chunkPayload) break;
  }
  header.lengthAndForm += static_cast<std::uint32_t>(header.headLength + objectBytes);
  std::string head(header.size() + sums, '\0');
  std::memcpy(head.data(), &header, sizeof header);
  head += directory;
  head.resize(header.headLength);
  record.insert(0, head);
}

// LMDB keeps values of at most 2,022 bytes within the pages of its tree. Of the larger of these only one or two fit
// into a page, and when one grows and is moved out, its page stays nearly empty. So they are padded to be kept outside.
void PageEncoder::padForEngine(std::string& objects) {
  constexpr std::size_t fewFit = 1024;
  constexpr std::size_t largestInside = 2022;
  if (objects.size() > fewFit && objects.size() <= largestInside) objects.resize(padded(largestInside));
}

void PageEncoder::writeDirectory(std::string& record) const {
  appendVarint(record, static_cast<std::uint32_t>(groups_.size()));
  forEachGroup([&](std::uint32_t i) { writeGroup(i, record); });
}

void PageEncoder::writeGroup(std::uint32_t index, std::string& directory) const {
  const Group& group = groups_[index];
  const std::uint32_t form = packedGroup * static_cast<std::uint32_t>(group.isPacked) +
                             consecutiveGroup * static_cast<std::uint32_t>(group.isConsecutive) +
                             namedGroup * static_cast<std::uint32_t>((group.type & namedFlag) != 0);
  for (const std::uint32_t number :
       {form, group.type & ~namedFlag, group.size, std::uint32_t{group.layout}, group.count}) {
    appendVarint(directory, number);
  }
  std::uint32_t last = 0;
  forEachItem(index, [&](const Item& item) {
    if (last == 0 || !group.isConsecutive) appendVarint(directory, item.object->slot - last);
    last = item.object->slot;
  });
  if (!group.isPacked) return;
  forEachItem(index, [&](const Item& item) {
    appendVarint(directory, static_cast<std::uint32_t>(item.packedBytes / headAlignment));
  });
}

// The bytes of an object that takes more than a chunk, and then has a page to itself; empty when there is none.
std::string_view PageEncoder::largeObject() const {
  if (items_.size() != 1 || groups_.front().isPacked) return {};
  const ObjectHeader& object = *items_.front().object;
  const std::size_t size = storedSize(object.type, object.size);
  if (size <= chunkPayload) return {};
  return {reinterpret_cast<const char*>(&object + 1) + omitted(object.type), size};
}

void PageEncoder::writeObjects(std::string& record) const {
  forEachGroup([&](std::uint32_t group) {
    forEachItem(group, [&](const Item& item) {
      const ObjectHeader& object = *item.object;
      if (groups_[group].isPacked) {
        record.append(packed_, item.packed, item.packedBytes);
      } else {
        const char* const body = reinterpret_cast<const char*>(&object + 1);
        record.append(body + omitted(object.type), storedSize(object.type, object.size));
        record.resize(padded(record.size()));
      }
    });
  });
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

namespace {

std::uint64_t seedOf(std::string_view key) { return XXH3_64bits(key.data(), key.size()); }

std::uint32_t headChecksum(std::string_view head, std::uint64_t seed) {
  head.remove_prefix(sizeof RecordHeader::headChecksum);
  return static_cast<std::uint32_t>(XXH3_64bits_withSeed(head.data(), head.size(), seed));
}

std::uint32_t blockChecksum(std::string_view objects, std::size_t i, std::uint64_t seed) {
  const std::string_view block = objects.substr(i * blockSize, blockSize);
  return static_cast<std::uint32_t>(XXH3_64bits_withSeed(block.data(), block.size(), seed + 1 + i));
}

}  // namespace

std::uint64_t chunkChecksum(std::string_view key, std::string_view payload) {
  return XXH3_64bits_withSeed(payload.data(), payload.size(), seedOf(key));
}

void prefetchPart(std::string_view value, std::uint16_t slot) {
  constexpr std::size_t head = sizeof(std::uint64_t) + sizeof(RecordHeader);
  constexpr std::uint16_t fewObjects = 4;  // of which one is large
  if (value.size() < head) return;
  for (std::size_t i = cacheLine; i < 3 * cacheLine; i += cacheLine) __builtin_prefetch(value.data() + i);
  const auto header = numberIn<RecordHeader>(value.data() + sizeof(std::uint64_t));
  std::size_t begin = 0;
  std::size_t end = value.size();
  if (header.nextSlot > fewObjects) {
    const std::size_t objects = value.size() - std::min<std::size_t>(value.size(), header.headLength);
    begin = header.headLength + objects * std::min<std::size_t>(slot, header.nextSlot) / header.nextSlot;
    begin -= std::min(begin, blockSize);
    end = std::min(end, begin + 2 * blockSize);
  }
  for (std::size_t i = begin; i < end; i += cacheLine) __builtin_prefetch(value.data() + i);
}

std::string_view partlyVerified(std::string_view key, std::string_view value) {
  if (value.size() < sizeof(std::uint64_t) + sizeof(RecordHeader)) return {};
  const std::string_view payload = value.substr(sizeof(std::uint64_t));
  const auto header = numberIn<RecordHeader>(payload.data());
  const bool isWhole = header.form() == RecordHeader::singleChunk && header.length() == payload.size();
  if (!isWhole || header.headLength < sizeof header || header.headLength > payload.size()) return {};
  if (blocksOf(payload.size() - header.headLength) == 0) return {};
  const bool isRight = headChecksum(payload.substr(0, header.headLength), seedOf(key)) == header.headChecksum;
  return isRight ? payload : std::string_view{};
}

bool hasRightBlocks(std::string_view key, std::string_view payload, std::string_view object) {
  const auto header = numberIn<RecordHeader>(payload.data());
  const std::string_view objects = payload.substr(header.headLength);
  const auto begin = static_cast<std::size_t>(object.data() - objects.data());
  for (std::size_t i = begin / blockSize; i * blockSize < begin + object.size(); ++i) {
    const char* const sum = payload.data() + header.size() + i * sizeof(std::uint32_t);
    if (blockChecksum(objects, i, seedOf(key)) != numberIn<std::uint32_t>(sum)) return false;
  }
  return true;
}

std::string_view verifiedPayload(std::string_view key, std::string_view value, std::uint64_t& checksum) {
  if (value.size() < sizeof checksum) return {};
  // What is not in the processor's caches arrives sooner when all of it is prefetched at once.
  for (std::size_t i = 0; i < value.size(); i += cacheLine) __builtin_prefetch(value.data() + i);
  std::memcpy(&checksum, value.data(), sizeof checksum);
  const std::string_view payload = value.substr(sizeof checksum);
  return chunkChecksum(key, payload) == checksum ? payload : std::string_view{};
}

std::string_view EncodedPage::part(std::size_t at, std::size_t length, std::string& buffer) const {
  if (at + length <= begin.size()) return std::string_view(begin).substr(at, length);
  if (at >= begin.size() && at + length <= begin.size() + large.size()) return large.substr(at - begin.size(), length);
  buffer.assign(begin, std::min(at, begin.size()), length);
  const std::size_t before = at + buffer.size() - begin.size();
  buffer.append(large.substr(before, length - buffer.size()));
  buffer.resize(length);
  return buffer;
}

const ObjectHeader* encodePage(const Page& page, ClassTable& classes, EncodedPage& record) {
  PageEncoder encoder(page.nextSlot);
  const ObjectHeader* const refused = encoder.collect(page, classes);
  if (refused == nullptr) encoder.write(record);
  return refused;
}

void encodeObjects(const std::vector<LaidOutObject>& objects, std::uint16_t nextSlot, EncodedPage& record) {
  PageEncoder encoder(nextSlot);
  encoder.collect(objects);
  encoder.write(record);
}

void sealRecord(std::string_view key, std::uint64_t tailHash, std::string& record) {
  const std::uint64_t seed = seedOf(key);
  RecordHeader header{};
  std::memcpy(&header, record.data(), sizeof header);
  const std::string_view objects = std::string_view(record).substr(header.headLength);
  char* sum = record.data() + header.size();
  for (std::size_t i = 0; i < blocksOf(objects.size()); ++i, sum += sizeof(std::uint32_t)) {
    const std::uint32_t checksum = blockChecksum(objects, i, seed);
    std::memcpy(sum, &checksum, sizeof checksum);
  }
  if (header.form() == RecordHeader::severalChunks)
    std::memcpy(record.data() + sizeof header, &tailHash, sizeof tailHash);
  const std::uint32_t checksum = headChecksum(std::string_view(record).substr(0, header.headLength), seed);
  std::memcpy(record.data(), &checksum, sizeof checksum);
}

bool isSealed(std::string_view key, std::string_view record) {
  const auto header = numberIn<RecordHeader>(record.data());
  const std::string_view objects = record.substr(header.headLength);
  const std::uint64_t seed = seedOf(key);
  for (std::size_t i = 0; i < blocksOf(objects.size()); ++i) {
    const char* const sum = record.data() + header.size() + i * sizeof(std::uint32_t);
    if (blockChecksum(objects, i, seed) != numberIn<std::uint32_t>(sum)) return false;
  }
  return headChecksum(record.substr(0, header.headLength), seed) == header.headChecksum;
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

std::size_t bytesInMemory(const PageContents& contents) {
  std::size_t bytes = 0;
  for (const RecordedObject& object : contents.objects) bytes += bytesInImage(object);
  return bytes;
}

bool isAddressable(const PageContents& contents) {
  if (contents.objects.empty()) return true;
  const std::size_t before = bytesInMemory(contents) - bytesInImage(contents.objects.back());
  return objectsBegin(contents.nextSlot) + before + sizeof(ObjectHeader) <= 0xFFFFU * alignment;
}

void beginPage(std::uint16_t nextSlot, std::size_t slots, Page& page) {
  std::memset(page.frame->image, 0, objectsBegin(slots));
  page.frame->slotLimit = static_cast<std::uint32_t>(slots);
  page.frame->regularSlots = 0;
  page.nextSlot = nextSlot;
  page.used = objectsBegin(slots);
}

namespace {

// Lays the object out at an offset, and enters it in the slot table unless it cannot be opened. What its conversion
// complained of is left in the complaint.
bool layOutAt(const RecordedObject& stored, std::uint16_t offset, std::string& complaint, Page& page) {
  const auto index = static_cast<std::uint32_t>(page.frame - frameTable);
  const ObjectForm& form = *stored.form;
  char* const body = bodyAt(page.frame, offset);
  ObjectHeader& header = *headerAt(page.frame, offset);
  header = {stored.type, stored.size, index, stored.slot, roomFor(stored.sizeInMemory())};
  bool isUsable = form.isUsable();
  if (isUsable && form.change != nullptr) {
    header.size = stored.sizeLaidOut();
    isUsable = stored.convert(body, complaint);
    if (!isUsable) header.size = stored.size;
  }
  if (!isUsable || form.change == nullptr) stored.layOutAsStored(body);
  if (!isUsable) return false;
  if (form.info != nullptr) std::memcpy(body, &form.info->virtualTable, sizeof form.info->virtualTable);
  setSlot(page, stored.slot, offset);
  return true;
}

// Notes what is to be done for a stored object, which has been laid out, when its page is written.
void noteForm(const RecordedObject& stored, Page& page) {
  const ObjectForm& form = *stored.form;
  page.hasOlder |= form.isOlder;
  if (isStorage(stored.type & ~namedFlag)) {
    if (stored.layout != 0) page.describedStorage[stored.slot] = {stored.layout, form.elements};
    return;
  }
  const auto storageAt = [](const char* array) { return numberIn<psId>(array); };
  if (form.change != nullptr) {
    for (const std::uint32_t offset : form.change->droppedArrays()) {
      const psId dropped = storageAt(stored.bytes.data() + offset - omitted(stored.type));
      if (!dropped.isNull()) page.droppedStorage.push_back(dropped);
    }
  }
  if (!form.namesArrays) return;
  for (const StructureArray& array : form.info->structureArrays) {
    const psId unnamed = storageAt(liveObject(page.frame, stored.slot) + array.offset);
    if (!unnamed.isNull()) page.unnamedArrays.push_back({unnamed, array.elements});
  }
}

void forgetForms(Page& page) {
  page.hasOlder = false;
  page.describedStorage.clear();
  page.droppedStorage.clear();
  page.unnamedArrays.clear();
}

std::uint16_t offsetBehind(std::size_t bytes) {
  return static_cast<std::uint16_t>((bytes + sizeof(ObjectHeader)) / alignment);
}

}  // namespace

bool decodeObject(const RecordedObject& object, std::size_t bytesBefore, Page& page) {
  std::string complaint;
  return layOutAt(object, offsetBehind(objectsBegin(page.frame->slotLimit) + bytesBefore), complaint, page);
}

void decodePage(const PageContents& contents, std::size_t slots, Page& page) {
  beginPage(contents.nextSlot, slots, page);
  forgetForms(page);
  page.foreign.clear();
  page.objects = static_cast<std::uint32_t>(contents.objects.size());
  page.recordBytes = 0;
  page.packableBytes = 0;
  for (const RecordedObject& stored : contents.objects) {
    const std::uint16_t offset = offsetBehind(page.used);
    page.used += bytesInImage(stored);
    const std::uint32_t size = stored.sizeLaidOut();
    noteRecorded(page, stored.type, size,
                 size == stored.size ? stored.bytes.size() + contents.missing : recordedSize(stored.type, size));
    std::string complaint;
    if (!layOutAt(stored, offset, complaint, page))
      page.foreign.push_back({stored.slot, offset, stored.layout, std::move(complaint)});
    else
      noteForm(stored, page);
  }
}

const ObjectForm& formOf(ClassTable& classes, const Page& page, const ForeignObject& object) {
  const ObjectHeader& header = *headerAt(page.frame, object.offset);
  return classes.formOf(header.type & ~namedFlag, object.layout, header.size);
}

StoreError refusalOf(const ObjectForm& form, const Page& page, const ForeignObject& object) {
  psId id = page.frame->pageId;
  id.set_slot(object.slot);
  if (!form.isUsable()) return {form.refusal.kind, textOf(id) + " is " + form.refusal.text};
  const std::string what = form.info != nullptr ? "class " + form.info->name : "the structure of its elements";
  return {psErrorKind::schema,
          textOf(id) + " cannot be converted for the present version of " + what + ": " + object.complaint};
}

bool restorePage(const PageContents& contents, Page& page) {
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
  for (const RecordedObject& stored : contents.objects) {
    const std::uint16_t offset = placeOf(stored.slot);
    if (offset == 0 || capacityOf(page, *headerAt(frame, offset)) < stored.sizeInMemory()) return false;
    const ObjectForm& form = *stored.form;
    std::string complaint;
    char* const body = bodyAt(frame, offset);
    headerAt(frame, offset)->type = stored.type;
    headerAt(frame, offset)->size = stored.sizeLaidOut();
    if (!form.isUsable() || (form.change != nullptr && !stored.convert(body, complaint))) return false;
    if (form.change == nullptr) stored.layOutAsStored(body);
    // A destructor that ran has put back the virtual table of the base.
    if (form.info != nullptr) std::memcpy(body, &form.info->virtualTable, sizeof form.info->virtualTable);
    kept[stored.slot] = offset;
  }
  for (std::size_t slot = 1; slot < kept.size(); ++slot) setSlot(page, static_cast<std::uint16_t>(slot), kept[slot]);
  forgetForms(page);
  for (const RecordedObject& stored : contents.objects) noteForm(stored, page);
  page.objects = static_cast<std::uint32_t>(contents.objects.size());
  return true;
}

}  // namespace ps::detail
