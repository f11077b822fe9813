#include "inspect/StoreSurveyor.h"

#include <algorithm>
#include <utility>

#include "core/psCollection.h"
#include "store/base/IdParts.h"
#include "store/base/RecordBytes.h"
#include "store/cache/PageRecord.h"
#include "store/catalog/CatalogEntry.h"
#include "store/engine/StoreKey.h"
#include "store/verify/ContentChecker.h"

namespace ps::detail {

namespace {

constexpr std::uint64_t recordsPerCall = 4096;
constexpr std::size_t containerKeySize = 5;
constexpr std::size_t databaseKeySize = 3;
constexpr std::size_t chunkKeySize = 11;

// What an LMDB file of 4096-byte pages uses for a value: a place in a leaf, or whole pages where it has its own.
std::uint64_t bytesInFile(std::size_t key, std::size_t value) {
  constexpr std::size_t pageSize = 4096;
  constexpr std::size_t pageHeader = 16;
  constexpr std::size_t nodeHeader = 10;
  constexpr std::size_t largestInLeaf = (pageSize - pageHeader) / 2;
  if (nodeHeader + key + value <= largestInLeaf) return nodeHeader + key + value;
  return nodeHeader + key + (value + pageHeader + pageSize - 1) / pageSize * pageSize;
}

}  // namespace

bool StoreSurveyor::run() {
  Engine& engine = session_.engine();
  const std::uint64_t total = engine.records();
  std::uint64_t done = 0;
  bool goes = true;
  const bool isRead = engine.scan("", [&](std::string_view key, std::string_view value) {
    look(key, value);
    if (++done % recordsPerCall == 0 && progress_ != nullptr) goes = progress_(done, std::max(done, total));
    return goes;
  });
  if (!isRead) return session_.fail(engine.error());
  if (!goes) return session_.fail(psErrorKind::usage, "the survey was stopped");
  endPage();
  for (auto& [id, container] : containers_) {
    const auto database = databases_.find(id.get_DB());
    if (database != databases_.end()) found_.databases[database->second].containers.push_back(std::move(container));
  }
  for (psDatabaseInfo& database : found_.databases)
    std::sort(database.containers.begin(), database.containers.end(),
              [](const psContainerInfo& a, const psContainerInfo& b) { return orderOf(a.id) < orderOf(b.id); });
  return progress_ == nullptr || progress_(done, done) || session_.fail(psErrorKind::usage, "the survey was stopped");
}

void StoreSurveyor::look(std::string_view key, std::string_view value) {
  found_.recordBytes += key.size() + value.size();
  switch (key.empty() ? '\0' : key[0]) {
    case 'C':
      return addContainer(key, value);
    case 'D':
      return addDatabase(key, value);
    case StoreKey::byName:
      ++found_.names;
      return;
    case 'P':
      return addChunk(key, value);
    default:
      return;
  }
}

void StoreSurveyor::addContainer(std::string_view key, std::string_view value) {
  if (key.size() != containerKeySize) return;
  psContainerInfo& container = containerAt(psId(StoreKey::numberAt(key, 1), StoreKey::numberAt(key, 3), 0, 0));
  CatalogEntry entry{};
  if (!entry.decode(key, value)) return;
  container.name = entry.name;
  container.nextPage = entry.nextNumber;
  container.isGarbageCollectable = entry.header.type == collectedContainerTypeN;
}

void StoreSurveyor::addDatabase(std::string_view key, std::string_view value) {
  if (key.size() != databaseKeySize) return;
  const std::uint16_t number = StoreKey::numberAt(key, 1);
  databases_.emplace(number, found_.databases.size());
  psDatabaseInfo& database = found_.databases.emplace_back();
  database.id = psId(number, 0, 0, 0);
  CatalogEntry entry{};
  if (!entry.decode(key, value)) return;
  database.name = entry.name;
  database.nextContainer = entry.nextNumber;
}

psContainerInfo& StoreSurveyor::containerAt(const psId& id) {
  psContainerInfo& container = containers_[id];
  container.id = id;
  return container;
}

// A page with a chunk that does not match its checksum, or without one, is counted and not looked into.
void StoreSurveyor::addChunk(std::string_view key, std::string_view value) {
  if (key.size() != chunkKeySize) return;
  const psId page(StoreKey::numberAt(key, 1), StoreKey::numberAt(key, 3), StoreKey::numberAt(key, 5), 0);
  if (page != page_) {
    endPage();
    beginPage(page);
  }
  psContainerInfo& container = containerAt(containerOf(page));
  container.recordBytes += value.size();
  container.fileBytes += bytesInFile(key.size(), value.size());
  std::uint64_t checksum = 0;
  const std::string_view payload = verifiedPayload(key, value, checksum);
  const std::uint32_t chunk = std::uint32_t{StoreKey::numberAt(key, 7)} << 16 | StoreKey::numberAt(key, 9);
  isSound_ = isSound_ && !payload.empty() && chunk == chunks_++;
  if (isSound_) record_.append(payload);
}

void StoreSurveyor::beginPage(const psId& page) {
  page_ = page;
  record_.clear();
  isSound_ = true;
  chunks_ = 0;
}

void StoreSurveyor::endPage() {
  if (page_.isNull()) return;
  psContainerInfo& container = containerAt(containerOf(page_));
  ++container.pages;
  if (isSound_ && sizeOfRecord(record_).bytes == record_.size() && readContents(record_, contents_)) {
    countObjects(container);
  } else {
    ++container.unreadablePages;
    ++found_.unreadablePages;
  }
  page_ = psId();
}

// The storage of arrays counts with the objects of its page that have them, in the order of slots.
void StoreSurveyor::countObjects(psContainerInfo& container) {
  std::unordered_map<std::uint16_t, unsigned int> owners;  // of storage, by its slot
  for (const RecordedObject& object : contents_.objects) {
    const unsigned int type = object.type & ~namedFlag;
    const ClassInfo* const info = isStorage(type) ? nullptr : classOf_(type);
    if (info == nullptr) continue;
    for (const std::uint32_t offset : info->arrayOffsets) {
      if (offset < omitted(object.type) || offset + sizeof(psId) > object.size) continue;
      const auto storage = numberIn<psId>(object.bytes.data() + offset - omitted(object.type));
      if (pageOf(storage) == page_) owners.emplace(storage.get_slot(), type);
    }
  }
  for (const RecordedObject& object : contents_.objects) {
    const unsigned int type = object.type & ~namedFlag;
    const auto owner = owners.find(object.slot);
    psObjectCount count;
    count.objects = isStorage(type) ? 0 : 1;
    count.bytes = padded(object.bytes.size());
    const unsigned int counted = !isStorage(type) ? type : owner != owners.end() ? owner->second : storageType;
    container.classes[counted].add(count);
    container.all.add(count);
    container.imageBytes += object.sizeInMemory();
    found_.classes[counted].add(count);
    if (!isStorage(type) && isCollection(type))
      found_.collections.push_back(psId(page_.get_DB(), page_.get_OC(), page_.get_page(), object.slot));
  }
}

bool StoreSurveyor::isCollection(unsigned int typeN) {
  const auto known = isCollection_.find(typeN);
  if (known != isCollection_.end()) return known->second;
  const ContentChecker* const checker = ContentChecker::instance();
  return isCollection_[typeN] =
             checker != nullptr && TypeRegistry::instance().find(typeN) != nullptr && checker->isWhole(typeN);
}

}  // namespace ps::detail
