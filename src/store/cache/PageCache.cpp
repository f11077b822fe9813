#include "store/cache/PageCache.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/base/psChecked.h"
#include "store/cache/Arena.h"
#include "store/cache/PageFill.h"
#include "store/cache/PageRecord.h"
#include "store/cache/PagelessObject.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

// A slot for every 48 bytes: the smallest object that is worth a reference takes that much with its header.
constexpr std::size_t bytesPerSlot = 48;

std::uint32_t tableKey(const psId& container) { return std::uint32_t{container.get_DB()} << 16 | container.get_OC(); }

bool precedes(const Page* a, const Page* b) {
  const psId& left = a->frame->pageId;
  const psId& right = b->frame->pageId;
  if (left.get_DB() != right.get_DB()) return left.get_DB() < right.get_DB();
  if (left.get_OC() != right.get_OC()) return left.get_OC() < right.get_OC();
  return left.get_page() < right.get_page();
}

// Whether each object begins where the slot table can say. False also when that takes a list of the objects to tell.
bool isAddressable(const PartialRecord& part) {
  return objectsBegin(part.nextSlot()) + part.bytesInMemory() <= 0xFFFFU * alignment;
}

}  // namespace

void releaseDetached(Frame* frame) {
  Page* const page = frame->page;
  if (page == nullptr) {
    PagelessObject::of(frame)->destroy();
    return;
  }
  Arena::instance().release(frame, page->bytes);
  delete page;
}

Frame* frameOfAddress(const void* address) { return Arena::frameOf(address); }

PageCache::~PageCache() { dropAll(); }

void PageCache::dropAll() {
  while (!resident_.empty()) discard(*resident_.back());
}

void PageCache::attach(Engine& engine, std::uint32_t pageSize) {
  engine_ = &engine;
  hasSeveralWriters_ = engine.hasSeveralWriters();
  chunks_.attach(engine);
  classes_.attach(engine);
  pageSize_ = pageSize;
}

void PageCache::limit(std::size_t bytes) {
  limit_ = std::max(bytes, leastLimit);
  evictFor(0, 2 * resident_.size());
}

void PageCache::begin(std::uint64_t readStamp, std::uint64_t updateStamp) {
  readStamp_ = readStamp;
  updateStamp_ = updateStamp;
  partOf_ = nullptr;
}

void PageCache::noteChanges(const std::vector<std::string>& keys) {
  for (const std::string& key : keys) {
    if (!StoreKey::isOfPage(key)) continue;
    Frame* const frame = residentFrame(head_, StoreKey::pageAt(key));
    if (frame != nullptr) frame->page->isOutdated = true;
  }
}

void PageCache::noteAnyChange() {
  for (Page* const page : resident_) page->isOutdated = true;
}

void PageCache::announce(const psId* ids, std::size_t n) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < n; ++i) {
    if (ids[i].get_page() == 0) continue;
    const Frame* const frame = residentFrame(head_, ids[i]);
    if (frame != nullptr && (frame->readStamp == readStamp_ || !frame->page->isOutdated)) continue;
    std::string key{std::string_view(StoreKey::chunk(ids[i], 0))};
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(std::move(key));
  }
  if (keys.size() > 1) engine_->prefetch(keys);
}

PageCache::Fetch PageCache::fetch(const psId& id, Page*& page) {
  const Fetch held = hold(id, page);
  if (held == Fetch::absent) return load(pageOf(id), page);
  return held == Fetch::present && page->isPartial ? complete(*page) : held;
}

PageCache::Fetch PageCache::fetchObject(const psId& id, Page*& page) {
  // A view of a record does not last where the engine is far away.
  if (updateStamp_ != SessionHead::noStamp || hasSeveralWriters_) return fetch(id, page);
  Fetch held = hold(id, page);
  if (held == Fetch::absent) held = loadPartly(pageOf(id), page);
  const bool isMissing = held == Fetch::present && page->isPartial && liveObject(page->frame, id.get_slot()) == nullptr;
  return isMissing ? layOut(*page, id.get_slot()) : held;
}

// The image of a page, if it is in memory and current.
PageCache::Fetch PageCache::hold(const psId& id, Page*& page) {
  Frame* const frame = residentFrame(head_, id);
  if (frame == nullptr) return Fetch::absent;
  const Fetch held = frame->readStamp == readStamp_ ? Fetch::present : revalidate(id, *frame->page);
  if (held != Fetch::present) return held;
  frame->touched = head_.loads;
  page = frame->page;
  return Fetch::present;
}

// Whether an image that was read in an earlier transaction is still what the store holds: when it is not, it is dropped
// and so absent; when nobody can tell, it stays, to be asked about again.
PageCache::Fetch PageCache::revalidate(const psId& id, Page& page) {
  bool isKnown = true;
  const bool isGood = isAsStored(id, page, isKnown);
  if (!isKnown) return failWith(engine_->error());
  if (isGood) {
    page.frame->readStamp = readStamp_;
    return Fetch::present;
  }
  discard(page);
  return Fetch::absent;
}

bool PageCache::isAsStored(const psId& id, const Page& page, bool& isKnown) {
  const std::string_view stamp(reinterpret_cast<const char*>(page.checksums.data()), sizeof(std::uint64_t));
  if (hasSeveralWriters_) {
    const bool isGood = !page.isOutdated && !page.filled;
    if (isGood && updateStamp_ != SessionHead::noStamp) engine_->noteRead(StoreKey::chunk(id, 0), stamp);
    return isGood;
  }
  std::string_view value;
  const Engine::Lookup found = engine_->get(StoreKey::chunk(id, 0), value);
  isKnown = found != Engine::Lookup::failed;
  return found == Engine::Lookup::found && !page.filled && value.substr(0, sizeof(std::uint64_t)) == stamp;
}

// Reads a page; readMissing is then to be called with its image.
PageCache::Fetch PageCache::read(const psId& id, std::vector<std::uint64_t>& checksums) {
  const Engine::Lookup found = reader_.read(id, checksums);
  if (found == Engine::Lookup::failed) return failWith(reader_.error());
  return found == Engine::Lookup::found ? Fetch::present : Fetch::absent;
}

PageCache::Fetch PageCache::failWith(StoreError error) {
  error_ = std::move(error);
  return Fetch::unreadable;
}

// An image that is being filled, and is taken out of the cache again when that is not done to its end.
class PageCache::FreshImage {
 public:
  FreshImage(PageCache& cache, Page& page) : cache_(cache), page_(&page) {}
  FreshImage(const FreshImage&) = delete;
  FreshImage& operator=(const FreshImage&) = delete;
  ~FreshImage() {
    if (page_ != nullptr) cache_.discard(*page_);
  }

  void keep() { page_ = nullptr; }

 private:
  PageCache& cache_;
  Page* page_;
};

PageCache::Fetch PageCache::load(const psId& id, Page*& page) {
  if (id.get_page() == 0 || id.get_OC() == 0) return Fetch::absent;
  std::vector<std::uint64_t> checksums;
  const Fetch found = read(id, checksums);
  if (found != Fetch::present) return found;
  std::size_t slots = 0;
  const PageContents& contents = reader_.contents();
  if (!isAddressable(contents)) {
    return failWith({psErrorKind::schema, pageText(id) +
                                              " would take more than 1 MiB, since its classes have grown so much; " +
                                              "convert it with a program whose classes grow in smaller steps"});
  }
  page = imageFor(id, contents.nextSlot, contents.objects.size(), bytesInMemory(contents), slots);
  if (page == nullptr) return Fetch::unreadable;
  FreshImage fresh(*this, *page);
  decodePage(contents, slots, *page);
  if (!reader_.readMissing(*page, checksums)) return failWith(reader_.error());
  table_.link(*page);
  page->checksums = std::move(checksums);
  noteContents(*page);
  fresh.keep();
  if (!spilled_.empty() && spilled_.count(id.bits()) != 0) change(*page);
  return Fetch::present;
}

// In a read transaction the directory of a page's record is enough to begin with. Objects are laid out, and the blocks
// verified in which they lie, when they are opened: of a page of a collection larger than memory mostly one or two.
PageCache::Fetch PageCache::loadPartly(const psId& id, Page*& page) {
  const bool isPage = id.get_page() != 0 && id.get_OC() != 0;
  if (!isPage || !readPart(id) || !isAddressable(part_)) return load(pageOf(id), page);
  std::size_t slots = 0;
  page = imageFor(pageOf(id), part_.nextSlot(), part_.objects(), part_.bytesInMemory(), slots);
  if (page == nullptr) return Fetch::unreadable;
  FreshImage fresh(*this, *page);
  beginPage(part_.nextSlot(), slots, *page);
  page->objects = static_cast<std::uint32_t>(part_.objects());
  page->isPartial = true;
  page->checksums = {part_.checksum()};
  fresh.keep();
  partOf_ = page;
  return Fetch::present;
}

// Reads the directory of a page's record, of which an object is about to be opened. False when the record cannot be
// read in parts.
bool PageCache::readPart(const psId& id) {
  partOf_ = nullptr;
  const StoreKey key = StoreKey::chunk(id, 0);
  std::string_view value;
  if (engine_->get(key, value) != Engine::Lookup::found) return false;
  const std::string_view payload = chunks_.noticingDisk(value, [&] {
    prefetchPart(value, id.get_slot());
    return partlyVerified(key, value);
  });
  return !payload.empty() && part_.read(payload, classes_);
}

// Lays out one object of a partial page, if it has one in the slot. Where many are opened, lays out all.
PageCache::Fetch PageCache::layOut(Page& page, std::uint16_t slot) {
  constexpr std::uint8_t few = 8;
  psId id = page.frame->pageId;
  id.set_slot(slot);
  if (partOf_ != &page) {
    // In a page that cannot be laid out as a whole, what is sound can still be opened.
    if (page.opened >= few && complete(page) == Fetch::present) return Fetch::present;
    if (!readPart(id)) return complete(page);
    partOf_ = &page;
  }
  RecordedObject object{};
  std::size_t bytesBefore = 0;
  if (!part_.find(slot, object, bytesBefore)) return Fetch::present;
  const bool isRight = part_.hasRight(StoreKey::chunk(id, 0), object);
  if (!isRight || !decodeObject(object, bytesBefore, page)) return complete(page);
  if (page.opened < few) ++page.opened;
  if (slot <= 2) table_.link(page);
  return Fetch::present;
}

PageCache::Fetch PageCache::complete(Page& page) {
  if (!page.isPartial) return Fetch::present;
  std::vector<std::uint64_t> checksums;
  const psId id = pageOf(page.frame->pageId);
  const Fetch found = read(id, checksums);
  if (found == Fetch::unreadable) return found;
  if (found == Fetch::absent || checksums != page.checksums) return failWith(damageOf(id, mismatch));
  decodePage(reader_.contents(), page.frame->slotLimit, page);
  page.isPartial = false;
  table_.link(page);
  noteContents(page);
  return Fetch::present;
}

// An image for so many objects, which take so many bytes in it, and for a slot table of the length that is returned in
// slots.
Page* PageCache::imageFor(const psId& id, std::uint16_t nextSlot, std::size_t objects, std::size_t bytes,
                          std::size_t& slots) {
  slots = nextSlot - 1U;
  std::size_t needed = objectsBegin(slots) + bytes;
  // Where objects may be added, the image gets the room of a whole page: it cannot be moved to more room later, and
  // each page left half empty takes one of the container's numbers. Most containers hold one array in one page and will
  // not grow: those are kept small. The smallest are not, since they may be the first object of many.
  const bool mayGrow =
      objects > 2 || id.get_page() > 1 || (updateStamp_ != SessionHead::noStamp && needed <= pageSize_ / 8);
  if (mayGrow && needed < pageSize_ / 4 * 3) {
    slots = std::max<std::size_t>(slots, pageSize_ / bytesPerSlot);
    needed = std::max<std::size_t>(pageSize_, objectsBegin(slots) + bytes);
  }
  Page* const page = newImage(id, needed);
  if (page == nullptr) return nullptr;
  page->stored = true;
  ++counters_.pageReads;
  return page;
}

// How far the load of an image moves the clock: so that the images that are protected because they were opened lately
// take no more than half of the limit, unless that would be less than protectedLoads images. As far as it may where the
// limit is exceeded, as when objects are created and all others are used again and again.
std::uint32_t PageCache::ticksFor(std::size_t bytes) const {
  constexpr std::size_t most = protectedTicks / protectedLoads;
  const std::size_t tick = limit_ / (2 * std::size_t{protectedTicks});
  if (counters_.residentBytes > limit_) return most;
  return static_cast<std::uint32_t>(std::min((bytes + tick - 1) / tick, most));
}

// An image without content, in the tables; null when there is no memory for it.
Page* PageCache::newImage(const psId& id, std::size_t bytes) {
  makeRoom(bytes);
  // All that takes memory comes first.
  auto made = std::make_unique<Page>();
  if (resident_.capacity() == resident_.size()) resident_.reserve(2 * resident_.size() + 16);
  changed_.reserve(resident_.capacity());
  std::size_t granted = 0;
  Frame* const frame = table_.linkFor(id) != nullptr ? Arena::instance().allocate(bytes, granted) : nullptr;
  if (frame == nullptr) {
    error_ = {psErrorKind::memory,
              "there is no memory for " + pageText(id) + "; lower the session's cacheLimit or close handles"};
    return nullptr;
  }
  Page* const page = made.release();
  page->frame = frame;
  page->bytes = granted;
  page->residentIndex = resident_.size();
  frame->page = page;
  frame->pageId = id;
  frame->session = head_.serial;
  frame->readStamp = readStamp_;
  head_.loads += ticksFor(granted);
  frame->touched = head_.loads;
  page->lastTouched = frame->touched;
  resident_.push_back(page);
  table_.link(*page);
  counters_.residentBytes += granted;
  counters_.peakResidentBytes = std::max(counters_.peakResidentBytes, counters_.residentBytes);
  return page;
}

std::size_t PageCache::uncommittedBytes() const {
  return (engine_ != nullptr ? engine_->uncommittedBytes() : 0) + unwrittenBytes_;
}

// What the engine will take for a changed image. One that it has already is written in place.
std::size_t PageCache::bytesToWrite(const Page& page) const {
  const bool isThere = !spilled_.empty() && spilled_.count(page.frame->pageId.bits()) != 0;
  return isThere ? 0 : std::max<std::size_t>(page.used, std::min<std::size_t>(page.bytes, pageSize_));
}

void PageCache::countUnwritten(Page& page) {
  const std::size_t bytes = page.changed ? bytesToWrite(page) : 0;
  unwrittenBytes_ += bytes - page.unwrittenBytes;
  page.unwrittenBytes = bytes;
}

bool PageCache::mayTake(std::size_t more, const psId& where) {
  if (updateLimit_ == 0 || more == 0) return true;
  const std::size_t held = uncommittedBytes();
  if (held + more <= updateLimit_) return true;
  error_ = {psErrorKind::full, (where.get_page() != 0 ? pageText(where) : textOf(where)) +
                                   " cannot be changed: the update holds " + std::to_string(held) +
                                   " bytes in memory, and with " + std::to_string(more) +
                                   " more it would exceed the session's updateLimit of " +
                                   std::to_string(updateLimit_) + "; commit in smaller steps, or raise updateLimit"};
  return false;
}

bool PageCache::mayChange(const Page& page) {
  return updateLimit_ == 0 || page.changed || mayTake(bytesToWrite(page), page.frame->pageId);
}

void PageCache::change(Page& page) {
  if (!page.changed) checkContents(page);
  page.frame->updateStamp = updateStamp_;
  if (page.changed) return;
  page.changed = true;
  page.changedIndex = changed_.size();
  changed_.push_back(&page);
  countUnwritten(page);
}

char* PageCache::allocate(PageSequence pages, const psId& near, std::uint32_t type, std::uint32_t size,
                          std::uint32_t capacity) {
  Page* page = nullptr;
  Frame* const nearby = near.get_page() != 0 ? residentFrame(head_, near) : nullptr;
  const bool isUsable =
      nearby != nullptr && nearby->readStamp == readStamp_ && complete(*nearby->page) == Fetch::present;
  if (isUsable && fits(*nearby->page, type, size, capacity)) page = nearby->page;
  const psId last = pageToFill(pages);
  if (page == nullptr && last.get_page() != 0) {
    if (fetch(last, page) != Fetch::present || !fits(*page, type, size, capacity)) page = nullptr;
  }
  if (page != nullptr && !mayChange(*page)) return nullptr;
  if (page == nullptr) page = newPage(pages, capacity);
  if (page == nullptr) return nullptr;
  change(*page);
  const auto offset = static_cast<std::uint16_t>((page->used + sizeof(ObjectHeader)) / alignment);
  const std::size_t room = aligned(capacity);
  char* const body = bodyAt(page->frame, offset);
  std::memset(body, 0, room);
  const auto slot = static_cast<std::uint16_t>(page->nextSlot++);
  *headerAt(page->frame, offset) = {type, size, static_cast<std::uint32_t>(page->frame - frameTable), slot,
                                    roomFor(room)};
  setSlot(*page, slot, offset);
  if (slot <= 2) table_.link(*page);
  page->used += sizeof(ObjectHeader) + room;
  noteRecorded(*page, type, size, recordedSize(type, size));
  ++page->objects;
  countUnwritten(*page);
  return body;
}

bool PageCache::resizeInPlace(Page& page, ObjectHeader& header, std::uint32_t size) {
  char* const body = reinterpret_cast<char*>(&header + 1);
  const std::size_t capacity = capacityOf(page, header);
  // What is behind the elements would move with their number.
  if (isStorage(header.type)) header.type = storageType;
  if (size > capacity) {
    const std::size_t end = static_cast<std::size_t>(body - page.frame->image) + capacity;
    const std::size_t more = aligned(size) - capacity;
    if (end != page.used || page.used + more > page.bytes) return false;
    const std::size_t counted = std::max(page.used, page.unwrittenBytes);
    if (!mayTake(std::max(page.used + more, counted) - counted, page.frame->pageId)) return false;
    page.used += more;
    header.room = roomFor(capacity + more);
    countUnwritten(page);
  }
  if (size > header.size) std::memset(body + header.size, 0, size - header.size);
  header.size = size;
  return true;
}

// The page that is tried for a new object: the last one, or the last that this session has made. After a conflict
// others are known to fill pages at the same time: then it may be none.
psId PageCache::pageToFill(const PageSequence& pages) const {
  psId id = pages.container;
  const auto own = ownPages_.find(tableKey(id));
  const bool isOwn = own != ownPages_.end() && own->second < pages.nextNumber;
  const std::uint32_t last = hasOthers_ ? 0 : pages.nextNumber - 1;
  id.set_page(isOwn ? own->second : static_cast<unsigned short>(last));
  return id;
}

Page* PageCache::newPage(PageSequence pages, std::size_t capacity) {
  const std::size_t onPage = pageSize_ - objectsBegin(pageSize_ / bytesPerSlot) - sizeof(ObjectHeader);
  const bool alone = capacity > onPage;
  const std::size_t slots = alone ? 1 : pageSize_ / bytesPerSlot;
  const std::size_t bytes = alone ? objectsBegin(slots) + sizeof(ObjectHeader) + aligned(capacity) : pageSize_;
  const std::uint32_t number = freshPageNumber(pages);
  psId id = pages.container;
  id.set_page(static_cast<unsigned short>(number));
  if (number == 0 || !mayTake(bytes, id)) return nullptr;
  if (hasSeveralWriters_) {  // before there is an image, which a lack of memory would leave behind
    engine_->noteRead(StoreKey::chunk(id, 0), {});
    ownPages_[tableKey(id)] = id.get_page();
  }
  Page* const page = newImage(id, bytes);
  if (page == nullptr) return nullptr;
  std::memset(page->frame->image, 0, objectsBegin(slots));
  page->frame->slotLimit = static_cast<std::uint32_t>(slots);
  page->used = objectsBegin(slots);
  page->created = true;
  pages.nextNumber = std::max(pages.nextNumber, number + 1);
  return page;
}

void PageCache::announcePages(psId id) {
  constexpr std::uint32_t ahead = 64;
  if (!hasSeveralWriters_ || residentFrame(head_, id) != nullptr) return;
  std::vector<psId> ids;
  for (std::uint32_t number = id.get_page(); ids.size() < ahead && number <= highestPage; ++number) {
    id.set_page(static_cast<unsigned short>(number));
    ids.push_back(id);
  }
  announce(ids.data(), ids.size());
}

// The next page number of a container: one above those in use, or when none is left, one whose page is gone; 0 when
// there is neither.
std::uint32_t PageCache::freshPageNumber(PageSequence pages) {
  psId id = pages.container;
  if (pages.nextNumber <= highestPage) {
    const std::uint32_t number = engine_->takeNumber(StoreKey::container(id.get_DB(), id.get_OC()), pages.nextNumber);
    if (number == 0) error_ = engine_->error();
    if (number <= highestPage) return number;
  }
  for (std::uint32_t number = 1; number <= highestPage; ++number) {
    id.set_page(static_cast<unsigned short>(number));
    std::string_view value;
    if (residentFrame(head_, id) != nullptr) continue;
    announcePages(id);
    const Engine::Lookup found = engine_->get(StoreKey::chunk(id, 0), value);
    if (found == Engine::Lookup::absent) return number;
    if (found == Engine::Lookup::failed) {
      error_ = engine_->error();
      return 0;
    }
  }
  error_ = {psErrorKind::full, "container (" + std::to_string(id.get_DB()) + "," + std::to_string(id.get_OC()) +
                                   ") is full: it has 65,535 pages; place further objects in another container"};
  return 0;
}

void PageCache::free(Page& page, std::uint16_t slot) {
  change(page);
  page.freed.emplace_back(slot, slotsOf(page.frame)[slot]);
  setSlot(page, slot, 0);
  --page.objects;
}

void PageCache::dropContainer(std::uint16_t db, std::uint16_t oc) {
  table_.visitContainer(db, oc, [this](Page& page) { discard(page); });
}

void PageCache::describeElements(void* storage, const Structure& elements) {
  frameOfObject(storage)->page->describedStorage.try_emplace(headerOf(storage)->slot, DescribedStorage{0, &elements});
}

void PageCache::describeLike(const void* from, void* to) {
  const std::map<std::uint16_t, DescribedStorage>& described = frameOfObject(from)->page->describedStorage;
  const auto found = described.find(headerOf(from)->slot);
  if (found == described.end()) return;
  const DescribedStorage copy = found->second;
  frameOfObject(to)->page->describedStorage[headerOf(to)->slot] = copy;
}

bool PageCache::writeChanges() {
  // What is done may change further pages, which have orders of their own.
  do {
    for (Page* const page : changed_) orders_.take(*page);
  } while (orders_.carryOut(*this));
  std::sort(changed_.begin(), changed_.end(), precedes);
  for (std::size_t i = 0; i < changed_.size(); ++i) changed_[i]->changedIndex = i;
  return std::all_of(changed_.begin(), changed_.end(), [this](Page* page) { return write(*page); });
}

bool PageCache::write(Page& page) {
  const psId& id = page.frame->pageId;
  if (page.objects != 0) {
    if (const ObjectHeader* const object = encodePage(page, classes_, written_)) {
      const ClassInfo* const info = TypeRegistry::instance().find(object->type & ~namedFlag);
      error_ = info == nullptr || isOfClass(*info, object + 1)
                   ? classes_.error()
                   : StoreError{psErrorKind::unknownClass,
                                textOf(idAt(object + 1)) + ": " + complaintAbout(*info, object + 1)};
      return false;
    }
  }
  bool isWritten = false;
  const bool done = page.objects == 0 ? chunks_.erase(id, page) : chunks_.write(id, written_, page, isWritten);
  if (isWritten) ++counters_.pageWrites;
  if (!done) error_ = chunks_.error();
  return done;
}

// Prefetches what the clock hand will look at soon.
void PageCache::prefetchAhead(std::size_t hand) const {
  constexpr std::size_t pagesAhead = 8;
  if (hand + 2 * pagesAhead >= resident_.size()) return;
  __builtin_prefetch(resident_[hand + 2 * pagesAhead]);
  __builtin_prefetch(resident_[hand + pagesAhead]->frame);
}

// Evicts until there is room for an image. Where hardly any image can be evicted, because most are pinned or in use,
// the clock hand gives up early and goes on from there at the next load. It makes so many steps in vain as objects were
// opened since the last load, and few more. So the cost of a load does not grow with the number of images that are
// pinned, and the hand keeps up with what is used.
void PageCache::makeRoom(std::size_t bytes) {
  constexpr std::size_t fewSteps = 64;
  constexpr std::size_t smallestImage = 1024;
  const std::uint64_t opens = head_.opens - std::exchange(opensBefore_, head_.opens);
  evictFor(bytes, std::min(fewSteps + opens + 2 * bytes / smallestImage, 2 * resident_.size()));
}

// Evicts images until another one has room. The clock hand takes those that were not opened since it last passed. It
// makes 2 steps for each image that it evicts, and so many others.
void PageCache::evictFor(std::size_t bytes, std::size_t steps) {
  while (counters_.residentBytes + bytes > limit_ && steps > 0 && !resident_.empty()) {
    ++handSteps_;
    if (hand_ >= resident_.size()) hand_ = 0;
    prefetchAhead(hand_);
    Page& page = *resident_[hand_];
    const std::uint32_t touched = page.frame->touched;
    if (page.frame->pins != 0 || head_.loads - touched <= protectedTicks) {
      ++hand_;
      --steps;
    } else if (touched != page.lastTouched) {
      page.lastTouched = touched;
      ++hand_;
      --steps;
    } else if (evict(page)) {
      ++steps;
    } else {
      return;
    }
  }
}

bool PageCache::evict(Page& page) {
  if (page.changed) {
    orders_.take(page);
    if (updateStamp_ == SessionHead::noStamp || !write(page)) {
      // It stays, and the commit says why. The hand goes on to the others.
      page.frame->touched = head_.loads;
      return false;
    }
    spilled_.insert(page.frame->pageId.bits());
  } else {
    checkContents(page);
  }
  discard(page);
  return true;
}

// Takes a page out of the lists of resident and of changed pages.
void PageCache::unlist(Page& page) {
  settle(page);
  resident_.back()->residentIndex = page.residentIndex;
  resident_[page.residentIndex] = resident_.back();
  resident_.pop_back();
}

// Takes a page out of those that are changed.
void PageCache::settle(Page& page) {
  if (!page.changed) return;
  changed_.back()->changedIndex = page.changedIndex;
  changed_[page.changedIndex] = changed_.back();
  changed_.pop_back();
  page.changed = false;
  countUnwritten(page);
  page.frame->updateStamp = 0;
}

// Takes an image out of the cache: pinned ones are freed with their last pin.
void PageCache::discard(Page& page) {
  Frame* const frame = page.frame;
  if (partOf_ == &page) partOf_ = nullptr;
  unlist(page);
  *table_.linkFor(frame->pageId) = noPage;
  counters_.residentBytes -= page.bytes;
  frame->readStamp = 0;
  frame->pins |= Frame::detached;
  if (frame->pins == Frame::detached) releaseDetached(frame);
}

// Without memory for it, nothing is checked.
void PageCache::noteContents(Page& page) const {
  if (!isChecked) return;
  page.hasObjectChecksums = false;
  try {
    page.objectChecksums = objectChecksums(page);
    page.hasObjectChecksums = true;
  } catch (const std::bad_alloc&) {
    page.objectChecksums.clear();
  }
}

void PageCache::checkContents(Page& page) const {
  if (!isChecked || page.changed || page.isPartial || page.frame->readStamp != readStamp_) return;
  if (!page.hasObjectChecksums) return;
  auto now = objectChecksums(page);
  const auto difference =
      std::mismatch(now.begin(), now.end(), page.objectChecksums.begin(), page.objectChecksums.end());
  if (difference.first == now.end()) return;
  psId id = page.frame->pageId;
  id.set_slot(difference.first->first);
  page.objectChecksums = std::move(now);
  reportMisuse(textOf(id) + " or an array of it was written without being open for update, so the change would be " +
               "lost; open it with pscUpdate first, and an array with update()");
}

void PageCache::checkContents() const {
  if (!isChecked) return;
  try {
    for (Page* const page : resident_) checkContents(*page);
  } catch (const std::bad_alloc&) {
    return;
  }
}

void PageCache::afterCommit() {
  while (!changed_.empty()) {
    Page& page = *changed_.back();
    settle(page);
    page.created = false;
    page.isOutdated = false;
    page.hasOlder = false;
    page.freed.clear();
    if (page.objects == 0) {
      discard(page);
    } else {
      noteContents(page);
    }
  }
  spilled_.clear();
}

bool PageCache::isChangeInUse() const {
  return std::any_of(changed_.begin(), changed_.end(),
                     [](const Page* page) { return !page->created && page->frame->pins != 0; });
}

void PageCache::afterAbort(bool engineReads) {
  spilled_.clear();
  orders_.forget();
  classes_.afterAbort();
  while (!changed_.empty()) {
    Page& page = *changed_.back();
    settle(page);
    if (page.created || page.frame->pins == 0 || !engineReads || !restore(page)) discard(page);
  }
}

// False also when there is no memory for it.
bool PageCache::restore(Page& page) {
  try {
    return readBack(page);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool PageCache::readBack(Page& page) {
  std::vector<std::uint64_t> checksums;
  if (read(page.frame->pageId, checksums) != Fetch::present || !restorePage(reader_.contents(), page)) return false;
  if (!reader_.readMissing(page, checksums)) return false;
  page.checksums = std::move(checksums);
  page.stored = true;
  page.freed.clear();
  noteContents(page);
  return true;
}

}  // namespace ps::detail
