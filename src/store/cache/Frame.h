#pragma once

#include <cstddef>
#include <cstdint>

#include "store/base/psExport.h"
#include "store/base/psId.h"

class psObj;

// The part of the page cache that is compiled into the application: it finds an object that is already in memory.
// Applications do not use these names.
namespace ps::detail {

struct Page;

constexpr std::size_t cacheLine = 64;
constexpr std::size_t imageAlignment = 1024;

// What an open needs of a page image in memory: one cache line. Frames are in a table of their own and not at the
// starts of the images. Images are aligned to powers of 2, so the heads of all pages would compete for the same few
// lines of the processor's caches.
struct alignas(cacheLine) Frame {
  // Set in pins when the frame no longer belongs to its page. The last unpin then frees it.
  static constexpr std::uint32_t detached = 0x80000000U;

  std::uint64_t readStamp;    // equals the session's while the image is known to be current
  std::uint64_t updateStamp;  // equals the session's while the page counts as changed
  std::uint32_t pins;
  std::uint32_t touched;  // the session's clock of page loads at the last open
  // Begins with the slot table. Element n is the distance of object n from the image's start, in units of 16 bytes; 0
  // when there is no object that can be opened.
  char* image;
  std::uint32_t slotLimit;     // the highest slot number that the slot table has room for
  std::uint32_t regularSlots;  // objects 1 to this one stand where the page's PageLink says
  psId pageId;                 // (DB, OC, page, 0)
  Page* page;                  // null for the frame of a container, database or federation
  std::uint64_t session;       // serial number of the session that the image belongs to
};
static_assert(sizeof(Frame) == cacheLine);

// In ObjectHeader::type: the object has names, or is a scope of names.
constexpr std::uint32_t namedFlag = 0x80000000U;

// Directly before every object.
struct ObjectHeader {
  std::uint32_t type;   // class number, and namedFlag
  std::uint32_t size;   // bytes of the object
  std::uint32_t frame;  // index in the table of frames
  std::uint16_t slot;
  std::uint16_t room;  // bytes that the object may grow to in place, in units of 16; 0: all that its page has
};
static_assert(sizeof(ObjectHeader) == 16);

// Where a page is in memory; all zero when it is not. Most pages hold objects of one class, at equal distances. The
// place of such an object is known without reading the frame or the slot table, so neither has to arrive from memory
// before the object is loaded.
struct PageLink {
  std::uint32_t frame;   // index in the table of frames; none has index 0
  std::uint32_t stride;  // bytes from one regular object to the next
  std::uintptr_t first;  // address of object 1
};

// Where the pages of a database's containers are, by the containers' numbers. The first page of each container is here
// directly, since most containers have no other. All others are in a table of the container; frame in its element 0 is
// the number of elements.
struct DatabaseTable {
  static constexpr std::size_t size = 65536;

  PageLink firstPages[size];
  PageLink* pages[size];
};

// What the inlined paths read of the thread's session.
struct SessionHead {
  // No frame has this stamp. In a session whose readStamp it is, every open is decided out of line.
  static constexpr std::uint64_t noStamp = ~std::uint64_t{0};

  std::uint64_t readStamp = noStamp;
  std::uint64_t updateStamp = noStamp;
  DatabaseTable* const* databases = nullptr;
  std::uint32_t databaseLimit = 0;  // number of elements of databases
  std::uint32_t loads = 0;          // the cache's clock: each page load moves it, that of a large page by more
  std::uint64_t opens = 0;
  std::uint64_t refusals = 0;
  std::uint64_t noteStamp = 0;    // notes of another stamp are forgotten
  std::uint64_t failures = 0;     // the refusals, and opens of what does not exist, which are none
  std::uint64_t changeStamp = 0;  // moves with the other stamps, and when a layer above says so: see noteChange
  std::uint64_t arrayEdits = 0;   // moves when an array of a collection is opened to be changed
  bool filledRows = false;        // something was noted in rows that is not stored; see mayNoteInRow
  std::uint64_t serial = 0;       // no other session of the process has it; 0 without one

  // Classes of which one was found to derive from the other: for each wanted class of a few the one that was asked for
  // last.
  static constexpr std::size_t ancestries = 8;
  std::uint64_t knownAncestries[ancestries] = {};

  static std::uint64_t ancestry(std::uint32_t type, std::uint32_t wanted) { return std::uint64_t{type} << 32 | wanted; }
  std::uint64_t& knownAncestry(std::uint32_t wanted) { return knownAncestries[wanted % ancestries]; }
};

// Never null. A thread without a session sees noSession, in which nothing is resident.
extern SessionHead noSession;
PS_API extern __thread SessionHead* currentSession __attribute__((tls_model("initial-exec")));

// The address range that holds every page image of the process; empty before the first store is opened.
PS_API extern std::uintptr_t arenaBegin;
PS_API extern std::uintptr_t arenaSize;

// The frames of all images of the process.
PS_API extern Frame* frameTable;

inline bool isInArena(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address) - arenaBegin < arenaSize;
}

// Frees a frame that no longer stands for anything, and its image.
PS_API void releaseDetached(Frame* frame);
// The frame of any address in a page image.
Frame* frameOfAddress(const void* address);

inline ObjectHeader* headerOf(const void* object) {
  return reinterpret_cast<ObjectHeader*>(const_cast<void*>(object)) - 1;
}

inline Frame* frameOfObject(const void* object) { return frameTable + headerOf(object)->frame; }

// The identifier that belongs to the address of an object or of an array's storage. The object may have been destroyed.
inline psId idAt(const void* object) {
  psId id = frameOfObject(object)->pageId;
  id.set_slot(headerOf(object)->slot);
  return id;
}

// The slot table of a page; element 0 is always 0.
inline std::uint16_t* slotsOf(const Frame* frame) { return reinterpret_cast<std::uint16_t*>(frame->image); }

inline void pin(Frame* frame) { ++frame->pins; }

inline void unpin(Frame* frame) {
  if (PS_UNLIKELY(--frame->pins == Frame::detached)) releaseDetached(frame);
}

inline constexpr PageLink noPage{};

inline const PageLink& linkOf(const SessionHead& session, const psId& id) {
  if (PS_UNLIKELY(id.get_DB() >= session.databaseLimit)) return noPage;
  const DatabaseTable& database = *session.databases[id.get_DB()];
  if (PS_LIKELY(id.get_page() == 1)) return database.firstPages[id.get_OC()];
  const PageLink* const pages = database.pages[id.get_OC()];
  if (pages == nullptr || id.get_page() >= pages[0].frame || id.get_page() == 0) return noPage;
  return pages[id.get_page()];
}

inline Frame* residentFrame(const SessionHead& session, const psId& id) {
  const PageLink& link = linkOf(session, id);
  return link.frame != 0 ? frameTable + link.frame : nullptr;
}

// The address of object slot of a page if it is a regular one; otherwise any number.
inline std::uintptr_t regularAddress(const PageLink& link, std::uint32_t slot) {
  return link.first + std::uintptr_t{slot - 1} * link.stride;
}

// The object of an identifier when its image is in memory and current, else null.
inline char* residentObject(SessionHead& session, const psId& id, Frame*& frame) {
  const PageLink& link = linkOf(session, id);
  frame = frameTable + link.frame;
  if (PS_UNLIKELY(link.frame == 0 || frame->readStamp != session.readStamp)) return nullptr;
  const std::uint32_t slot = id.get_slot();
  char* object = nullptr;
  if (PS_LIKELY(slot - 1 < frame->regularSlots)) {
    object = reinterpret_cast<char*>(regularAddress(link, slot));
  } else {
    const std::size_t offset = slot <= frame->slotLimit ? slotsOf(frame)[slot] : 0;
    if (PS_UNLIKELY(offset == 0)) return nullptr;
    object = frame->image + offset * 16;
  }
  frame->touched = session.loads;
  return object;
}

// The address may be invalid.
PS_ALWAYS_INLINE void prefetchAddress(std::uintptr_t address) {
  __builtin_prefetch(reinterpret_cast<const void*>(address));
}

// Brings the beginning of an object that is in memory, and what opening it takes, into the processor's caches. Always
// inlined: the compiler would take a call that only prefetches to have no effect, and would drop it.
PS_ALWAYS_INLINE void prefetchObject(const psId& id) {
  const PageLink& link = linkOf(*currentSession, id);
  const std::uintptr_t object = regularAddress(link, id.get_slot());
  __builtin_prefetch(frameTable + link.frame);
  prefetchAddress(object - sizeof(ObjectHeader));
  prefetchAddress(object + cacheLine / 2 - 1);
}

// The same for an object in a page that was used before. The object need not be a regular one.
PS_ALWAYS_INLINE void prefetchResident(const psId& id) {
  Frame* frame = nullptr;
  const char* const object = residentObject(*currentSession, id, frame);
  if (object == nullptr) return;
  __builtin_prefetch(object - sizeof(ObjectHeader));
  __builtin_prefetch(object + cacheLine / 2 - 1);
}

// The same for an object with its array, of which the given bytes from begin on are needed. The array's storage is
// after the object when both were made in an empty page.
PS_ALWAYS_INLINE void prefetchWithStorage(const psId& id, std::size_t begin, std::size_t bytes) {
  const PageLink& link = linkOf(*currentSession, id);
  prefetchObject(id);
  const std::uintptr_t storage = regularAddress(link, id.get_slot() + 1U);
  // Prefetches the part of the slot table that leads to the first 127 objects; a bucket and its chains are seldom more.
  const std::uintptr_t slotTable = link.first & -std::uintptr_t{imageAlignment};
  for (std::size_t i = 0; i < 4 * cacheLine; i += cacheLine) prefetchAddress(slotTable + i);
  prefetchAddress(storage - sizeof(ObjectHeader));
  for (std::size_t i = begin; i < begin + bytes; i += cacheLine) prefetchAddress(storage + i);
}

// The same for bytes of the array's storage alone.
PS_ALWAYS_INLINE void prefetchStorage(const psId& id, std::size_t begin, std::size_t bytes) {
  const std::uintptr_t storage = regularAddress(linkOf(*currentSession, id), id.get_slot() + 1U);
  for (std::size_t i = begin; i < begin + bytes; i += cacheLine) prefetchAddress(storage + i);
}

// References that a layer above notes beside an object while its page stays in memory. There are count of them. They
// are all null at first, after an abort, and when another session has committed. They stay at their address while the
// page is pinned, until they are asked for with another count. Null for objects outside the store, and in a session in
// which every open is decided out of line.
psId* notesBeside(const psObj* object, int count);
// Forgets the notes beside an object in memory. The second function forgets those beside all objects of the session.
void dropNotes(const psObj* object);
inline void dropAllNotes() {
  ++currentSession->noteStamp;
  ++currentSession->changeStamp;
}

// Whether something may be noted in the rows behind an array's elements (StorageRows.h). In an update the array must be
// open for update, so that the row is stored, or restored, with it. What is noted in a read transaction is known to
// this session alone: it is gone when another session has committed, or an update begins.
bool mayNoteInRow(const void* storage);

// Makes those look again who keep what they have found in the session until it may have changed. They also do so when a
// transaction begins or ends, and when all notes are forgotten.
inline void noteChange() { ++currentSession->changeStamp; }
inline std::uint64_t changeStamp() { return currentSession->changeStamp; }

// A number that is another one after anything in the session may have changed, elements within their arrays too.
inline std::uint64_t editStamp() { return currentSession->changeStamp + currentSession->arrayEdits; }

// Whether an object, or the storage of an array, is in memory and its page counts as changed.
inline bool isResidentForUpdate(const psId& id) {
  SessionHead& session = *currentSession;
  Frame* frame = nullptr;
  return residentObject(session, id, frame) != nullptr && frame->updateStamp == session.updateStamp;
}

// The class number of an object that is in memory and current; 0 for all others.
inline std::uint32_t residentType(const psId& id) {
  Frame* frame = nullptr;
  const char* const object = residentObject(*currentSession, id, frame);
  return PS_LIKELY(object != nullptr) ? headerOf(object)->type & ~namedFlag : 0;
}

// Whether an object that was opened before, or the storage of an array, can be used as it is in the running
// transaction.
inline bool isCurrent(const void* object) { return frameOfObject(object)->readStamp == currentSession->readStamp; }

// The same, and whether it is the object of the identifier.
inline bool isCurrent(const void* object, const psId& id) {
  const ObjectHeader& header = *headerOf(object);
  const Frame& frame = frameTable[header.frame];
  return frame.readStamp == currentSession->readStamp &&
         PS_LIKELY((frame.pageId.bits() ^ id.bits()) == std::uint64_t{header.slot} << 48);
}

// Keeps the page of an address in memory while it lives. The address is that of an object or its array, not of a
// container. An address outside the store needs nothing.
class PagePin {
 public:
  explicit PagePin(const void* address) : PagePin(isInArena(address) ? frameOfAddress(address) : nullptr) {}
  // The same, faster, for the address of an object or of the first of an array's elements.
  static PagePin atObject(const void* object) { return PagePin(isInArena(object) ? frameOfObject(object) : nullptr); }
  PagePin(const PagePin&) = delete;
  PagePin& operator=(const PagePin&) = delete;
  ~PagePin() {
    if (frame_ != nullptr) unpin(frame_);
  }

 private:
  explicit PagePin(Frame* frame) : frame_(frame) {
    if (frame_ != nullptr) pin(frame_);
  }

  Frame* frame_;
};

// Number of opens that the calling thread's session has refused so far. An algorithm that sees it change has met
// something that it could not read, and must not take it for absent.
inline std::uint64_t refusalCount() { return currentSession->refusals; }
inline std::uint64_t failureCount() { return currentSession->failures; }

// Opening a null reference does not count as opening what does not exist.
inline void countAbsence(SessionHead& session) { ++session.failures; }
inline void countRefusal(SessionHead& session) {
  ++session.refusals;
  ++session.failures;
}

}  // namespace ps::detail
