#include "store/session/ObjectSpace.h"

#include <algorithm>
#include <cstring>

#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"
#include "store/cache/PageRecord.h"
#include "store/engine/StoreKey.h"
#include "store/session/Opening.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

// An object that cannot be opened in this process; null when the slot holds none of those.
const ForeignObject* foreignIn(const Page& page, std::uint16_t slot) {
  const auto found = std::find_if(page.foreign.begin(), page.foreign.end(),
                                  [slot](const ForeignObject& object) { return object.slot == slot; });
  return found != page.foreign.end() ? &*found : nullptr;
}

// The header of the object in a slot, whether or not it can be opened; null when there is none.
const ObjectHeader* headerInSlot(const Page& page, std::uint16_t slot) {
  const char* const object = liveObject(page.frame, slot);
  if (object != nullptr) return headerOf(object);
  const ForeignObject* const foreign = foreignIn(page, slot);
  return foreign != nullptr ? headerAt(page.frame, foreign->offset) : nullptr;
}

PageSequence pagesOf(CatalogEntry& container) { return {container.id(), container.nextNumber}; }

// What to place something near that goes into a container, which may be a later one of the place.
psId nearIn(const CatalogEntry& container, const psId& near) {
  return containerOf(near) == container.id() ? near : container.id();
}

}  // namespace

// The page of an identifier. One that cannot be read is a refusal.
PageCache::Fetch ObjectSpace::fetch(const psId& id, Page*& page) {
  const PageCache::Fetch found = session_.cache().fetch(id, page);
  if (found == PageCache::Fetch::unreadable) session_.refuse(session_.cache().error());
  return found;
}

// The same for who needs the object alone.
PageCache::Fetch ObjectSpace::fetchObject(const psId& id, Page*& page) {
  const PageCache::Fetch found = session_.cache().fetchObject(id, page);
  if (found == PageCache::Fetch::unreadable) session_.refuse(session_.cache().error());
  return found;
}

psObj* ObjectSpace::open(const psId& id, psMode mode, unsigned int wanted) {
  if (id.isNull()) return nullptr;
  if (!session_.isReadyFor("an open")) return session_.endRefused();
  if (mode == pscUpdate && session_.mode() != pscUpdate) return refuseUpdate(id);
  if (!session_.admits(id, mode)) return nullptr;
  psObj* const object = guardMemory<psObj*>(
      nullptr, [&] { return id.get_page() == 0 ? openEntry(id, mode, wanted) : openInPage(id, mode, wanted); });
  if (object != nullptr) ++session_.opens;
  return object;
}

psObj* ObjectSpace::refuseUpdate(const psId& id) {
  return guardMemory<psObj*>(nullptr, [&] {
    return session_.refuse(
        psErrorKind::usage,
        textOf(id) + " cannot be opened for update in a read transaction; begin one with psSession::begin(pscUpdate)");
  });
}

psObj* ObjectSpace::openEntry(const psId& id, psMode mode, unsigned int wanted) {
  CatalogEntry* entry = nullptr;
  const Engine::Lookup found = session_.directory().find(id, entry);
  if (found == Engine::Lookup::absent) return session_.reportAbsent(id);
  if (found != Engine::Lookup::found) return nullptr;
  if (!isOfWanted(id, entry->header, wanted)) return nullptr;
  if (mode == pscUpdate) session_.catalog().change(*entry);
  pin(entry->frame);
  return entry->asObject();
}

psObj* ObjectSpace::openInPage(const psId& id, psMode mode, unsigned int wanted) {
  Page* page = nullptr;
  const PageCache::Fetch found = fetchObject(id, page);
  if (found == PageCache::Fetch::unreadable) return nullptr;
  if (found == PageCache::Fetch::absent) return session_.reportAbsent(id);
  char* const object = liveObject(page->frame, id.get_slot());
  if (object == nullptr) {
    const ForeignObject* const foreign = foreignIn(*page, id.get_slot());
    return foreign != nullptr ? refuseForeign(*page, *foreign) : session_.reportAbsent(id);
  }
  if (!isOfWanted(id, *headerOf(object), wanted)) return nullptr;
  if (mode == pscUpdate && !change(*page)) return nullptr;
  pin(page->frame);
  return reinterpret_cast<psObj*>(object);
}

// Whether an object may be opened as one of the wanted class. If not, that is a refusal.
bool ObjectSpace::isOfWanted(const psId& id, const ObjectHeader& object, unsigned int wanted) {
  const std::uint32_t type = object.type & ~namedFlag;
  const TypeRegistry& classes = TypeRegistry::instance();
  if (wanted == objectTypeN ? !isStorage(type) : classes.isKindOf(type, wanted)) return true;
  const auto text = [&classes](unsigned int number) {
    const ClassInfo* const info = classes.find(number);
    return (info != nullptr ? "class " + info->name + ", number " : "class number ") + std::to_string(number);
  };
  session_.refuse(psErrorKind::damaged, textOf(id) + " is " +
                                            (isStorage(type) ? "the storage of an array" : "of " + text(type)) +
                                            ", but something refers to it as to an object" +
                                            (wanted == objectTypeN ? "" : " of " + text(wanted)) +
                                            "; restore the store from a backup, or delete what refers to it");
  return false;
}

// Says why an object that exists cannot be opened in this process.
psObj* ObjectSpace::refuseForeign(const Page& page, const ForeignObject& object) {
  const StoreError error = refusalOf(formOf(session_.cache().classes(), page, object), page, object);
  return session_.refuse(error.kind, error.text);
}

bool ObjectSpace::exists(const psId& id) {
  return guardMemory(true, [&] {
    if (!session_.isReading() || id.isNull()) return false;
    CatalogEntry* entry = nullptr;
    if (id.get_page() == 0) return session_.catalog().find(id, entry) != Engine::Lookup::absent;
    Page* page = nullptr;
    const PageCache::Fetch found = session_.cache().fetchObject(id, page);
    if (found != PageCache::Fetch::present) return found == PageCache::Fetch::unreadable;
    return headerInSlot(*page, id.get_slot()) != nullptr;
  });
}

std::uint32_t ObjectSpace::typeOf(const psId& id) {
  return guardMemory(std::uint32_t{0}, [&]() -> std::uint32_t {
    if (!session_.isReading() || id.isNull()) return 0;
    if (id.get_page() == 0) {
      const CatalogEntry* const found = session_.directory().entry(id);
      return found != nullptr ? found->header.type : 0;
    }
    Page* page = nullptr;
    if (fetchObject(id, page) != PageCache::Fetch::present) return 0;
    const ObjectHeader* const header = headerInSlot(*page, id.get_slot());
    return header != nullptr ? header->type & ~namedFlag : 0;
  });
}

void* ObjectSpace::storage(const psId& id) {
  return guardMemory<void*>(nullptr, [&]() -> void* {
    if (!session_.isReadyFor("reading an array")) return session_.endRefused();
    Page* page = nullptr;
    const PageCache::Fetch found = fetchObject(id, page);
    if (found == PageCache::Fetch::unreadable) return nullptr;
    char* const storage = found == PageCache::Fetch::present ? liveObject(page->frame, id.get_slot()) : nullptr;
    if (storage != nullptr && isStorage(headerOf(storage)->type)) return storage;
    if (storage != nullptr) {
      return session_.refuse(psErrorKind::damaged, textOf(id) +
                                                       " is an object, but an array names it as its storage; " +
                                                       "restore the store from a backup, or delete the array's object");
    }
    const ForeignObject* const foreign = found == PageCache::Fetch::present ? foreignIn(*page, id.get_slot()) : nullptr;
    if (foreign != nullptr) return refuseForeign(*page, *foreign);
    return session_.refuse(psErrorKind::damaged,
                           "the storage of an array, " + textOf(id) +
                               ", does not exist; restore the store from a backup, or the array's object was deleted");
  });
}

psId ObjectSpace::next(const psId& container, const psId& after, unsigned int typeN) {
  return guardMemory(psId(), [&] {
    const CatalogEntry* const entry = session_.directory().entry(container);
    if (entry == nullptr) return psId();
    // Storage is not counted: a container that holds storage alone counts as empty.
    if (entry->live == 0) {
      session_.engine().noteCount(StoreKey::container(container.get_DB(), container.get_OC()));
      return psId();
    }
    psId object = container;
    std::uint32_t slot = after.get_slot() + 1U;
    for (std::uint32_t number = std::max<std::uint32_t>(after.get_page(), 1); number < entry->nextNumber;
         ++number, slot = 1) {
      object.set_page(static_cast<unsigned short>(number));
      Page* page = nullptr;
      session_.cache().announcePages(object);
      if (fetch(object, page) != PageCache::Fetch::present) continue;
      for (; slot < page->nextSlot; ++slot) {
        object.set_slot(static_cast<unsigned short>(slot));
        const std::uint32_t type = typeOf(object);
        if (type == 0 || isStorage(type)) continue;
        if (typeN == psObj::pstTypeN || TypeRegistry::instance().isKindOf(type, typeN)) return object;
      }
    }
    // Where others create at the same time, an update relies on that there are no more pages.
    if (session_.engine().hasSeveralWriters() && entry->nextNumber <= PageCache::highestPage) {
      object.set_page(static_cast<unsigned short>(entry->nextNumber));
      session_.engine().noteEnd(StoreKey::page(object), StoreKey::pagesOf(object.get_DB(), object.get_OC()));
    }
    return psId();
  });
}

bool ObjectSpace::changePageOf(const void* address) {
  return guardMemory(false, [&] {
    Frame* const frame = frameOfAddress(address);
    if (session_.mode() != pscUpdate || !session_.isCurrent(*frame)) return false;
    if (session_.cache().complete(*frame->page) != PageCache::Fetch::present) {
      session_.refuse(session_.cache().error());
      return false;
    }
    return change(*frame->page);
  });
}

// Marks a page as changed. That is refused where the update has reached its limit.
bool ObjectSpace::change(Page& page) {
  if (!session_.cache().mayChange(page)) {
    session_.refuse(session_.cache().error());
    return false;
  }
  session_.cache().change(page);
  return true;
}

void* ObjectSpace::create(std::uint32_t type, std::size_t size, const psId& near) {
  return guardMemory<void*>(nullptr, [&]() -> void* {
    const ClassInfo* const info = classOf_(type);
    if (info == nullptr || info->virtualTable == 0 || !info->isOfProgram()) {
      session_.fail(psErrorKind::unknownClass, "class number " + std::to_string(type) +
                                                   " is not registered; put PS_REGISTER_CLASS into one source file");
      return nullptr;
    }
    if (info->size != size) {
      session_.fail(psErrorKind::unknownClass, "an object of " + std::to_string(size) + " bytes was asked for class " +
                                                   info->name + " of " + std::to_string(info->size) +
                                                   "; a class derived from it needs its own PS_PERSISTENT_CLASS");
      return nullptr;
    }
    CatalogEntry* in = nullptr;
    if (near.get_OC() != 0 && session_.directory().findContainerOf(near, in) == Engine::Lookup::failed) return nullptr;
    if (in == nullptr) {
      session_.fail(psErrorKind::usage,
                    "there is no container to place an object of class " + info->name + " in: near " + textOf(near));
      return nullptr;
    }
    // The library's own objects stay beside what they are parts of; see docs/format.md on chains and entries.
    if (near.get_page() == 0 || type > psHighestLibraryTypeN) in = session_.places().next(*in);
    if (in == nullptr) return nullptr;
    char* const object = session_.cache().allocate(pagesOf(*in), nearIn(*in, near), type,
                                                   static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(size));
    if (object == nullptr) {
      session_.fail(session_.cache().error());
      return nullptr;
    }
    session_.catalog().change(*in);
    ++in->live;
    // So that the object is one of its class even before its constructor runs.
    std::memcpy(object, &info->virtualTable, sizeof info->virtualTable);
    return object;
  });
}

void* ObjectSpace::createStorage(const psId& near, std::uint32_t size, std::uint32_t capacity, Rows rows) {
  return guardMemory<void*>(nullptr, [&]() -> void* {
    CatalogEntry* in = nullptr;
    if (session_.directory().findContainerOf(near, in) == Engine::Lookup::failed) return nullptr;
    if (in == nullptr) {
      session_.fail(psErrorKind::absent, "the container of " + textOf(near) + " does not exist");
      return nullptr;
    }
    if (in->nextNumber > PageCache::highestPage) in = session_.places().afterFull(*in);
    if (in == nullptr) return nullptr;
    char* const storage = session_.cache().allocate(pagesOf(*in), nearIn(*in, near), storageWith(rows), size, capacity);
    if (storage == nullptr) {
      session_.fail(session_.cache().error());
      return nullptr;
    }
    session_.catalog().change(*in);
    return storage;
  });
}

bool ObjectSpace::free(const psId& id) {
  return guardMemory(false, [&] {
    Page* page = nullptr;
    const char* const object =
        fetch(id, page) == PageCache::Fetch::present ? liveObject(page->frame, id.get_slot()) : nullptr;
    if (object == nullptr) return false;
    const std::uint32_t type = headerOf(object)->type;
    if (isStorage(type)) {
      session_.cache().free(*page, id.get_slot());
      return true;
    }
    // By now the object's destructor has run.
    WholeChange whole(session_.engine());
    CatalogEntry* in = nullptr;
    if (session_.directory().findContainerOf(id, in) == Engine::Lookup::failed) return false;
    if ((type & namedFlag) != 0 && !session_.directory().forgetNames(id)) return false;
    session_.cache().free(*page, id.get_slot());
    if (in != nullptr) {
      session_.catalog().change(*in);
      --in->live;
    }
    return whole.done();
  });
}

void ObjectSpace::freeStorage(const psId& id) {
  guardMemory(false, [&] {
    Page* page = nullptr;
    if (id.isNull() || fetch(id, page) != PageCache::Fetch::present) return false;
    const char* const storage = liveObject(page->frame, id.get_slot());
    const bool isThere = storage != nullptr && isStorage(headerOf(storage)->type);
    if (isThere) session_.cache().free(*page, id.get_slot());
    return isThere;
  });
}

bool ObjectSpace::discard(const psObj* object) {
  return guardMemory(false, [&] {
    const psId id = idAt(object);
    if (!session_.isCurrent(object))
      return session_.fail(psErrorKind::usage,
                           textOf(id) + " cannot be deleted: it was not opened in this transaction");
    return id.get_page() == 0 ? session_.directory().remove(id) : free(id);
  });
}

bool ObjectSpace::destroy(const psId& id, psObj* openForUpdate) {
  if (std::find(beingDeleted_.begin(), beingDeleted_.end(), id) != beingDeleted_.end()) return false;
  // A handle may have kept the memory of an object that is deleted already.
  if (openForUpdate != nullptr && !exists(id)) {
    return guardMemory(false, [&] { return session_.fail(psErrorKind::absent, textOf(id) + " does not exist"); });
  }
  const SessionCore::Working working(session_);
  psObj* const object = openForUpdate != nullptr ? openForUpdate : open(id, pscUpdate);
  if (object == nullptr) return false;
  if (openForUpdate != nullptr) pin(frameOfObject(object));
  const PinnedObject pinned(object);
  bool done = false;
  if (id.get_page() == 0) {
    done = session_.directory().remove(id);
  } else if (isDeletable(id, object) && noteDeletion(id)) {
    const NothingThrown here;
    object->~psObj();
    beingDeleted_.erase(std::find(beingDeleted_.begin(), beingDeleted_.end(), id));
    done = free(id);
    if (!done) revive(object);
  }
  return done;
}

bool ObjectSpace::noteDeletion(const psId& id) {
  return guardMemory(false, [&] {
    beingDeleted_.push_back(id);
    return true;
  });
}

void ObjectSpace::revive(void* object) {
  const ClassInfo* const info = TypeRegistry::instance().find(headerOf(object)->type & ~namedFlag);
  if (info != nullptr) std::memcpy(object, &info->virtualTable, sizeof info->virtualTable);
}

bool ObjectSpace::isDeletable(const psId& id, const psObj* object) {
  CatalogEntry* in = nullptr;
  if (session_.directory().findContainerOf(id, in) == Engine::Lookup::failed) return false;
  return (headerOf(object)->type & namedFlag) == 0 || session_.directory().canReadNames(id);
}

}  // namespace ps::detail
