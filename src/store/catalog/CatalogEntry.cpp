#include "store/catalog/CatalogEntry.h"

#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "store/base/IdParts.h"
#include "store/cache/Arena.h"
#include "store/cache/PageRecord.h"
#include "store/cache/TypeRegistry.h"

namespace ps::detail {

namespace {

// Entries lie in the arena, since the addresses of containers and databases must be known for the store's; they are too
// small for blocks of their own.
class EntryPool {
 public:
  static EntryPool& instance() {
    static EntryPool* const pool = new EntryPool;
    return *pool;
  }

  void* allocate() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (free_.empty() && !grow()) return nullptr;
    void* const entry = free_.back();
    free_.pop_back();
    return entry;
  }

  std::mutex& mutex() { return mutex_; }

  void release(void* entry) {
    const std::lock_guard<std::mutex> lock(mutex_);
    free_.push_back(entry);  // for which grow has made room
  }

 private:
  bool grow() {
    constexpr std::size_t blockSize = std::size_t{64} << 10;
    constexpr std::size_t more = blockSize / sizeof(CatalogEntry);
    if (free_.capacity() < all_ + more) free_.reserve(2 * (all_ + more));
    std::size_t granted = 0;
    const Frame* const block = Arena::instance().allocate(blockSize, granted);
    if (block == nullptr) return false;
    all_ += more;
    for (std::size_t i = more; i > 0; --i) {
      free_.push_back(block->image + (i - 1) * sizeof(CatalogEntry));
    }
    return true;
  }

  std::mutex mutex_;
  std::size_t all_ = 0;      // entries
  std::vector<void*> free_;  // with room for all
};

struct StoredEntry {
  std::uint32_t type;
  std::uint32_t nextNumber;
  std::uint32_t live;
  std::uint32_t pageSize;
};

}  // namespace

CatalogEntry* CatalogEntry::create(std::uint32_t type, const psId& id) {
  void* const memory = EntryPool::instance().allocate();
  if (memory == nullptr) return nullptr;
  auto* const entry = ::new (memory) CatalogEntry{};
  try {
    entry->frame = Arena::instance().allocateFrame(reinterpret_cast<char*>(static_cast<PagelessObject*>(entry)));
  } catch (const std::bad_alloc&) {
    EntryPool::instance().release(memory);
    return nullptr;
  }
  entry->frame->pageId = pageOf(id);
  entry->header = {type, sizeof(void*), static_cast<std::uint32_t>(entry->frame - frameTable), id.get_slot(), 1};
  const ClassInfo* const info = TypeRegistry::instance().find(type);
  if (info != nullptr) std::memcpy(entry->object, &info->virtualTable, sizeof info->virtualTable);
  return entry;
}

void CatalogEntry::retire(CatalogEntry* entry) {
  entry->frame->readStamp = 0;
  entry->frame->pins |= Frame::detached;
  if (entry->frame->pins == Frame::detached) entry->destroy();
}

void CatalogEntry::destroy() {
  Arena::instance().releaseFrame(frame);
  void* const memory = this;
  this->~CatalogEntry();
  EntryPool::instance().release(memory);
}

void CatalogEntry::lockForFork() { EntryPool::instance().mutex().lock(); }
void CatalogEntry::unlockAfterFork() { EntryPool::instance().mutex().unlock(); }

std::string CatalogEntry::encode(std::string_view key) const {
  const StoredEntry fields{header.type, nextNumber, live, pageSize};
  std::string record(sizeof(std::uint64_t), '\0');
  record.append(reinterpret_cast<const char*>(&fields), sizeof fields);
  record.append(name);
  const std::uint64_t checksum = chunkChecksum(key, std::string_view(record).substr(sizeof(std::uint64_t)));
  std::memcpy(record.data(), &checksum, sizeof checksum);
  return record;
}

bool CatalogEntry::decode(std::string_view key, std::string_view record) {
  std::uint64_t checksum = 0;
  const std::string_view payload = verifiedPayload(key, record, checksum);
  StoredEntry fields{};
  if (payload.size() < sizeof fields) return false;
  name = payload.substr(sizeof fields);  // first, since it takes memory
  std::memcpy(&fields, payload.data(), sizeof fields);
  header.type = fields.type;
  nextNumber = fields.nextNumber;
  live = fields.live;
  pageSize = fields.pageSize;
  return true;
}

}  // namespace ps::detail
