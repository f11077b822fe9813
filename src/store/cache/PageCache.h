#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/base/psSessionCounters.h"
#include "store/cache/ClassTable.h"
#include "store/cache/Page.h"
#include "store/cache/PageChunks.h"
#include "store/cache/PageReader.h"
#include "store/cache/PageRecord.h"
#include "store/cache/PageTable.h"
#include "store/cache/PartialRecord.h"
#include "store/cache/StorageOrders.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// A container as a sequence of pages.
struct PageSequence {
  psId container;
  std::uint32_t& nextNumber;  // of the next fresh page
};

// The page images that one session has in memory, and the translation from identifiers to addresses.
//
// An image keeps its address from its first use until it is evicted. An image is not evicted while it is pinned, or
// when it was opened within the last 16 page loads, so a reference into a page outlives the calls around it. With
// images of at most 1/512 of the limit, as most are, it is not evicted within the last 256. A changed image leaves
// memory only by being written into the engine's transaction. When it comes back it counts as changed again, so a write
// after an update open is never lost.
//
// What brings something into memory, or writes, throws std::bad_alloc when there is none; the images that are there
// stay whole. The end of a transaction needs no memory, nor does the destructor.
class PageCache {
 public:
  static constexpr std::uint32_t highestPage = 65535;

  enum class Fetch { present, absent, unreadable };

  static constexpr std::size_t leastLimit = std::size_t{4} << 20;
  static constexpr std::uint32_t protectedLoads = 16;  // at least; see ticksFor

  PageCache(SessionHead& head, psSessionCounters& counters) : head_(head), counters_(counters) {}
  PageCache(const PageCache&) = delete;
  PageCache& operator=(const PageCache&) = delete;
  // Pinned images stay readable.
  ~PageCache();

  void attach(Engine& engine, std::uint32_t pageSize);
  // Evicts what is beyond the limit, as far as that can be evicted.
  void limit(std::size_t bytes);
  // See psSessionOptions::updateLimit.
  void updateLimit(std::size_t bytes) { updateLimit_ = bytes; }
  // Memory that the running update takes beside the images, or will when it is committed.
  std::size_t uncommittedBytes() const;

  // Starts a transaction. Images that were read under another stamp are compared with the engine at their first use;
  // with an engine that tells what others have changed, they are good unless it has. Each update needs a stamp of its
  // own then, so that it notes what it relies on.
  void begin(std::uint64_t readStamp, std::uint64_t updateStamp);
  // Others have been found to change pages at the same time: new objects get pages of this session's own.
  void noteOthers() { hasOthers_ = true; }
  // What the engine has told: keys of chunks of pages, or that anything may have changed.
  void noteChanges(const std::vector<std::string>& keys);
  void noteAnyChange();
  // Writes every changed image into the engine's transaction; false when the engine refuses.
  bool writeChanges();
  void afterCommit();
  // Whether something refers to an image that the transaction has changed, so that it is to be restored after an abort.
  bool isChangeInUse() const;
  // Forgets the transaction's changes. With an engine that reads the state before the transaction, pinned images get
  // their old content in place. Without one, or where that is impossible, they are detached.
  void afterAbort(bool engineReads);

  // The image of a page, current and in memory. The slot does not matter.
  Fetch fetch(const psId& id, Page*& page);
  // The same for who needs the object of the slot alone: in a read transaction other objects may not be laid out yet.
  Fetch fetchObject(const psId& id, Page*& page);
  // Asks an engine on a server for the pages that are not in memory, of objects that are about to be fetched.
  void announce(const psId* ids, std::size_t n);
  // The same for pages of a container that are fetched one after the other.
  void announcePages(psId id);
  bool hasSeveralWriters() const { return hasSeveralWriters_; }
  // Lays out all objects of a current page.
  Fetch complete(Page& page);

  // Whether the update may change a current image, or take so many more bytes, within the limit for updates. It always
  // may change what it has changed already, and always write that.
  bool mayChange(const Page& page);
  bool mayTake(std::size_t more, const psId& where);
  // Marks a current image as changed in this transaction.
  void change(Page& page);

  // A place for a new object: zeroed, with its header. Null when the container is full, memory is short, or the limit
  // for updates is reached. Tries the page of near, then the container's last page, then a new page.
  char* allocate(PageSequence pages, const psId& near, std::uint32_t type, std::uint32_t size, std::uint32_t capacity);
  // Grows or shrinks an object within its capacity, or into free memory directly after it. Added bytes are zero.
  bool resizeInPlace(Page& page, ObjectHeader& header, std::uint32_t size);
  // Removes an object from its image; the image counts as changed.
  void free(Page& page, std::uint16_t slot);

  // Says what the elements of an array are whose storage has the address, unless it is known.
  static void describeElements(void* storage, const Structure& elements);
  // The same for storage that has the content of other storage.
  static void describeLike(const void* from, void* to);

  // What the store says of classes.
  ClassTable& classes() { return classes_; }
  // Drops all images of a container that is being deleted.
  void dropContainer(std::uint16_t db, std::uint16_t oc);
  // The same for all pages, in a session that only reads: more can be read when they are loaded again.
  void dropAll();

  // In a checked build, reports objects that were written without being open for update. Called before a transaction
  // ends.
  void checkContents() const;

  // How many steps the clock hand has made, which is what making room has cost.
  std::uint64_t handSteps() const { return handSteps_; }

  // Why the last call failed.
  const StoreError& error() const { return error_; }

 private:
  class FreshImage;

  static constexpr std::uint32_t protectedTicks = 256;  // of the clock, SessionHead::loads

  Fetch hold(const psId& id, Page*& page);
  Fetch load(const psId& id, Page*& page);
  Fetch loadPartly(const psId& id, Page*& page);
  bool readPart(const psId& id);
  Fetch layOut(Page& page, std::uint16_t slot);
  Page* imageFor(const psId& id, std::uint16_t nextSlot, std::size_t objects, std::size_t bytes, std::size_t& slots);
  Fetch read(const psId& id, std::vector<std::uint64_t>& checksums);
  Fetch failWith(StoreError error);
  Page* newImage(const psId& id, std::size_t bytes);
  Page* newPage(PageSequence pages, std::size_t capacity);
  std::uint32_t freshPageNumber(PageSequence pages);
  psId pageToFill(const PageSequence& pages) const;
  std::size_t bytesToWrite(const Page& page) const;
  void countUnwritten(Page& page);
  Fetch revalidate(const psId& id, Page& page);
  bool isAsStored(const psId& id, const Page& page, bool& isKnown);
  bool restore(Page& page);
  bool readBack(Page& page);
  bool write(Page& page);
  std::uint32_t ticksFor(std::size_t bytes) const;
  void makeRoom(std::size_t bytes);
  void evictFor(std::size_t bytes, std::size_t steps);
  void prefetchAhead(std::size_t hand) const;
  bool evict(Page& page);
  void unlist(Page& page);
  void settle(Page& page);
  void noteContents(Page& page) const;
  void checkContents(Page& page) const;
  void discard(Page& page);

  SessionHead& head_;
  psSessionCounters& counters_;
  Engine* engine_ = nullptr;
  bool hasSeveralWriters_ = false;
  bool hasOthers_ = false;  // see noteOthers
  std::uint32_t pageSize_ = 0;
  std::size_t limit_ = leastLimit;
  std::size_t updateLimit_ = 0;
  std::size_t unwrittenBytes_ = 0;  // of changed images; see countUnwritten
  std::uint64_t readStamp_ = 0;
  std::uint64_t updateStamp_ = SessionHead::noStamp;

  PageChunks chunks_;
  ClassTable classes_;
  PageTable table_{head_};
  std::vector<Page*> resident_;
  std::size_t hand_ = 0;
  std::uint64_t handSteps_ = 0;
  std::uint64_t opensBefore_ = 0;                              // the last load
  std::vector<Page*> changed_;                                 // with room for all that are resident
  std::unordered_map<std::uint32_t, std::uint16_t> ownPages_;  // by container: the last that this session has made
  StorageOrders orders_;                       // of pages that were written, to be carried out before the commit
  std::unordered_set<std::uint64_t> spilled_;  // changed pages that are in the engine's transaction but not in memory

  // Kept for their memory. Making room for the page that is being read may write another.
  PageReader reader_{chunks_, classes_};
  PartialRecord part_;            // the record that was last read in part
  const Page* partOf_ = nullptr;  // whose it is; null when the engine may not keep it any more
  EncodedPage written_;
  StoreError error_;
};

}  // namespace ps::detail
