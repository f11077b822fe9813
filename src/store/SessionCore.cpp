#include "store/SessionCore.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "store/cache/Arena.h"
#include "store/cache/StoreKey.h"
#include "store/cache/TypeRegistry.h"
#include "store/psError.h"

namespace ps::detail {

namespace {

SessionHead noSession;

constexpr const char* abandonedText =
    "the session that this thread had open was destroyed on another thread: it is closed, and a transaction that was "
    "open in it was aborted; destroy sessions on the threads that opened them";

// Stamps are unique in the process: 0 is an image that stands for nothing, 1 one that must be checked.
std::uint64_t freshStamp() {
  static std::atomic<std::uint64_t> last{1};
  return ++last;
}

// The calling thread's hold on its session. What has a destructor may be gone while objects of static lifetime still
// end their sessions.
thread_local std::shared_ptr<SessionCore>* held = nullptr;

// Ends a thread's session with the thread.
struct ThreadEnd {
  ThreadEnd() = default;
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    // The main thread ends with the process, but the destructors of static objects come after this.
    if (held != nullptr && ::getpid() != ::gettid()) (*held)->end();
  }
};

// Gives a pin back.
class PinnedFrame {
 public:
  explicit PinnedFrame(Frame* frame) : frame_(frame) {}
  PinnedFrame(const PinnedFrame&) = delete;
  PinnedFrame& operator=(const PinnedFrame&) = delete;
  ~PinnedFrame() { unpin(frame_); }

 private:
  Frame* frame_;
};

bool isPageSize(unsigned int size) { return size >= 4096 && size <= 32768 && (size & (size - 1)) == 0; }

}  // namespace

__thread SessionHead* currentSession __attribute__((tls_model("initial-exec"))) = &noSession;

SessionCore* SessionCore::current() {
  if (currentSession == &noSession) return nullptr;
  auto* const session = static_cast<SessionCore*>(currentSession);
  if (!session->abandoned_) return session;
  countRefusal(*session);
  session->shut();
  return nullptr;
}

SessionCore* SessionCore::required() {
  SessionCore* const session = current();
  if (session == nullptr && currentSession != &noSession)
    signalStoreError({psErrorKind::usage, abandonedText});
  else if (session == nullptr)
    signalStoreError({psErrorKind::usage, "no session is open on this thread; call psSession::open first"});
  return session;
}

SessionCore* SessionCore::updating(const char* what) {
  SessionCore* const session = required();
  if (session == nullptr || !session->usable(what)) return nullptr;
  if (session->mode_ == pscUpdate) return session;
  session->fail(psErrorKind::usage,
                std::string(what) + " needs an update transaction; begin one with psSession::begin(pscUpdate)");
  return nullptr;
}

SessionCore::~SessionCore() {
  if (currentSession == this) currentSession = &noSession;
}

// Closes the store, if no operation is at work on it. What callers hold of the session stays readable.
void SessionCore::shut() {
  if (working_ != 0 || engine_ == nullptr) return;
  if (mode_ != pscNoOpen && !forked) abort();
  engine_.reset();
  mode_ = pscNoOpen;
  updateStamps();
}

void SessionCore::end() {
  shut();
  ended_ = true;
  currentSession = &noSession;
  const std::unique_ptr<std::shared_ptr<SessionCore>> last(std::exchange(held, nullptr));
}

// Ends the thread's session if its psSession was destroyed on another thread.
void SessionCore::endAbandoned() {
  if (held == nullptr || !(*held)->abandoned_ || (*held)->working_ != 0) return;
  (*held)->end();
  signalStoreError({psErrorKind::usage, abandonedText});
}

bool SessionCore::fail(const StoreError& error) {
  // The engine's messages name the store themselves.
  const bool named = path_.empty() || error.text.rfind("Cannot ", 0) == 0;
  signalStoreError({error.kind, named ? error.text : "store " + path_ + ": " + error.text});
  return false;
}

// Whether the session can be used at all by this process, and is in a transaction.
bool SessionCore::usable(const char* what) {
  if (forked) {
    return fail(psErrorKind::usage,
                std::string(what) +
                    " in a forked child: the session belongs to the parent process; open a session of the child's own");
  }
  if (mode_ == pscNoOpen)
    return fail(psErrorKind::usage, std::string(what) + " outside a transaction; call psSession::begin first");
  return true;
}

bool SessionCore::open(const std::string& path, const psSessionOptions& options) {
  endAbandoned();
  if (currentSession != &noSession) {
    return fail(psErrorKind::usage,
                "this thread has a session open already; close it first, or open the other one on a thread of its own");
  }
  if (!isPageSize(options.pageSize)) {
    return fail(psErrorKind::usage,
                "pageSize " + std::to_string(options.pageSize) + " is not a power of two from 4096 to 32768");
  }
  psDoFileInit();
  TypeRegistry::instance().initialize();
  if (const std::string conflict = TypeRegistry::instance().conflict(); !conflict.empty())
    return fail(psErrorKind::usage, conflict);
  if (!Arena::instance().reserve())
    return fail(psErrorKind::memory,
                "the process may not reserve 256 MiB of address space; raise its limit (ulimit -v)");
  StoreError error;
  engine_ = openEngine(path, options, error);
  if (engine_ == nullptr) return fail(error);
  path_ = path;
  serial = freshStamp();
  changeStamp = serial << 32;
  catalog_.attach(*engine_, serial);
  cache_.limit(options.cacheLimit);
  if (!openFederation(options)) {
    engine_.reset();
    path_.clear();
    return false;
  }
  cache_.attach(*engine_, pageSize);
  currentSession = this;
  held = new std::shared_ptr<SessionCore>(shared_from_this());
  thread_local const ThreadEnd threadEnd;
  static_cast<void>(threadEnd);
  return true;
}

bool SessionCore::openFederation(const psSessionOptions& options) {
  if (!engine_->begin(false)) return fail(engine_->error());
  std::string_view record;
  const Engine::Lookup found = engine_->get(StoreKey::federation(), record);
  bool empty = true;
  const bool read = found != Engine::Lookup::failed &&
                    (found == Engine::Lookup::found ||
                     engine_->scan("", [&empty](std::string_view, std::string_view) { return empty = false; }));
  const StoreError error = engine_->error();
  const bool done = found == Engine::Lookup::found && readFederation();
  engine_->abort();
  if (!read) return fail(error);
  if (found == Engine::Lookup::found) return done;
  if (!empty)
    return fail(psErrorKind::usage,
                "the file holds something else than a store of persistent objects; choose another path");
  if (options.readOnly) return fail(psErrorKind::absent, "the file holds no store yet; open it once without readOnly");
  return createFederation(options);
}

bool SessionCore::createFederation(const psSessionOptions& options) {
  if (!engine_->begin(true)) return fail(engine_->error());
  std::string_view record;
  const Engine::Lookup found = engine_->get(StoreKey::federation(), record);
  if (found != Engine::Lookup::absent) {
    // Another process was faster.
    const bool done = found == Engine::Lookup::found ? readFederation() : fail(engine_->error());
    engine_->abort();
    return done;
  }
  pageSize = options.pageSize;
  startTransaction(pscUpdate);
  const bool written = catalog_.createFederation(storeFormat, pageSize) != nullptr && catalog_.writeChanges();
  const bool done = written && engine_->commit() == Engine::Commit::committed;
  if (done) {
    catalog_.afterCommit();
  } else {
    fail(engine_->error());
    engine_->abort();
    catalog_.afterAbort();
  }
  version_ = engine_->version();
  endTransaction();
  return done;
}

bool SessionCore::readFederation() {
  startTransaction(pscRead);
  CatalogEntry* federation = nullptr;
  const Engine::Lookup found = catalog_.find(Catalog::federationId(), federation);
  endTransaction();
  if (found != Engine::Lookup::found) return fail(catalog_.error());
  if (federation->name != storeFormat) {
    return fail(psErrorKind::usage, "the file is in format \"" + federation->name +
                                        "\", but this release of pscollections reads \"" + std::string(storeFormat) +
                                        "\"; use the release that wrote it, or a newer one");
  }
  pageSize = federation->pageSize;
  if (!isPageSize(pageSize))
    return fail(psErrorKind::damaged, "the store's page size is damaged; restore the store from a backup");
  return true;
}

// The engine's transaction has begun.
void SessionCore::startTransaction(psMode mode) {
  mode_ = mode;
  if (epoch_ == 0 || engine_->version() != version_) {
    epoch_ = freshStamp();
    ++noteStamp;
    version_ = engine_->version();
  }
  update_ = mode == pscUpdate ? freshStamp() : noStamp;
  catalog_.begin(epoch_, update_);
  cache_.begin(epoch_, update_);
  updateStamps();
}

void SessionCore::endTransaction() {
  kept_.clear();
  mode_ = pscNoOpen;
  update_ = noStamp;
  updateStamps();
}

void SessionCore::updateStamps() {
  const bool inlined = mode_ != pscNoOpen && guard == nullptr && !forked;
  readStamp = inlined ? epoch_ : noStamp;
  updateStamp = inlined ? update_ : noStamp;
  ++changeStamp;
}

bool SessionCore::begin(psMode mode) {
  if (forked) return usable("begin");
  if (mode_ != pscNoOpen) {
    return fail(psErrorKind::usage, std::string("begin inside ") + (mode_ == pscUpdate ? "an update" : "a read") +
                                        " transaction; commit or abort it first");
  }
  if (mode != pscRead && mode != pscUpdate) return fail(psErrorKind::usage, "begin takes pscRead or pscUpdate");
  if (!engine_->begin(mode == pscUpdate)) return fail(engine_->error());
  startTransaction(mode);
  pehSessionDataGetFunction()->clear();
  return true;
}

bool SessionCore::commit() {
  if (!usable("commit")) return false;
  cache_.checkContents();
  if (mode_ == pscRead) {
    engine_->abort();
    endTransaction();
    return true;
  }
  StoreError error;
  if (!cache_.writeChanges()) error = cache_.error();
  if (error.empty() && !catalog_.writeChanges()) error = catalog_.error();
  if (error.empty()) {
    const Engine::Commit outcome = engine_->commit();
    if (outcome == Engine::Commit::committed) {
      cache_.afterCommit();
      catalog_.afterCommit();
      version_ = engine_->version();
      endTransaction();
      return true;
    }
    error = engine_->error();
    // Nobody knows which of the two states the store is in: everything in memory is checked again.
    if (outcome == Engine::Commit::unknown) {
      epoch_ = 0;
      version_ = ~std::uint64_t{0};
    }
  }
  abort();
  return fail(error);
}

bool SessionCore::abort() {
  if (!usable("abort")) return false;
  cache_.checkContents();
  engine_->abort();
  if (mode_ == pscUpdate) {
    catalog_.afterAbort();
    // Images that are in use get their old content in place, when the store is still as this transaction found it.
    const bool reads = engine_->begin(false) && engine_->version() == version_;
    cache_.afterAbort(reads);
    engine_->abort();
    beingDeleted_.clear();
    ++noteStamp;
  }
  endTransaction();
  return true;
}

psObj* SessionCore::refuse(const StoreError& error) {
  fail(error);
  return endRefused();
}

psObj* SessionCore::endRefused() {
  countRefusal(*this);
  ++counters.refusals;
  psThrowException(pehSessionDataGetFunction());
  return nullptr;
}

psObj* SessionCore::reportAbsent(const psId& id) {
  countAbsence(*this);
  fail(psErrorKind::absent, textOf(id) + " does not exist");
  return nullptr;
}

// What a look-up in the catalog gave, with a failure signalled and counted.
Engine::Lookup SessionCore::answer(Engine::Lookup found) {
  if (found == Engine::Lookup::failed) refuse(catalog_.error());
  return found;
}

// Signals why the catalog refused something; false, for return.
bool SessionCore::failAsCatalog() {
  if (catalog_.couldNotRead()) return refuse(catalog_.error()) != nullptr;
  return fail(catalog_.error());
}

Engine::Lookup SessionCore::find(const psId& id, CatalogEntry*& entry, bool* changed) {
  return answer(catalog_.find(id, entry, changed));
}

CatalogEntry* SessionCore::entry(const psId& id) {
  CatalogEntry* found = nullptr;
  return find(id, found) == Engine::Lookup::found ? found : nullptr;
}

Engine::Lookup SessionCore::findDatabase(std::string_view name, CatalogEntry*& entry) {
  return answer(catalog_.databaseNamed(name, entry));
}

Engine::Lookup SessionCore::findContainer(const psId& database, std::string_view name, CatalogEntry*& entry) {
  CatalogEntry* in = nullptr;
  entry = nullptr;
  if (database.get_DB() == 0) return Engine::Lookup::absent;
  const Engine::Lookup found = find(psId(database.get_DB(), 0, 0, 0), in);
  return found == Engine::Lookup::found ? answer(catalog_.containerNamed(*in, name, entry)) : found;
}

Engine::Lookup SessionCore::findNamed(const psId& scope, std::string_view name, psId& object) {
  NameIndex names(*engine_);
  const Engine::Lookup found = names.find(scope, name, object);
  if (found == Engine::Lookup::failed) refuse(names.error());
  // Names go with their objects.
  if (found != Engine::Lookup::found || exists(object)) return found;
  refuse(psErrorKind::damaged, "\"" + std::string(name.substr(1)) + "\" in " + textOf(scope) + " leads to " +
                                   textOf(object) + ", which does not exist; restore the store from a backup");
  return Engine::Lookup::failed;
}

bool SessionCore::membersOf(const CatalogEntry& scope, std::vector<psId>& members) {
  return catalog_.membersOf(scope, members) || failAsCatalog();
}

bool SessionCore::admits(const psId& id, psMode mode) {
  const Working working(*this);
  if (guard == nullptr || guard(id, mode)) return true;
  refuse(psErrorKind::denied, "the session's open guard refused " + textOf(id));
  return false;
}

psObj* SessionCore::openObject(const psId& id, psMode mode) {
  if (id.isNull()) return nullptr;
  if (!usable("an open")) return endRefused();
  if (mode == pscUpdate && mode_ != pscUpdate) {
    return refuse(
        psErrorKind::usage,
        textOf(id) + " cannot be opened for update in a read transaction; begin one with psSession::begin(pscUpdate)");
  }
  if (!admits(id, mode)) return nullptr;
  psObj* const object = id.get_page() == 0 ? openEntry(id, mode) : openInPage(id, mode);
  if (object != nullptr) ++opens;
  return object;
}

psObj* SessionCore::openEntry(const psId& id, psMode mode) {
  CatalogEntry* entry = nullptr;
  const Engine::Lookup found = find(id, entry);
  if (found == Engine::Lookup::absent) return reportAbsent(id);
  if (found != Engine::Lookup::found) return nullptr;
  if (mode == pscUpdate) catalog_.change(*entry);
  pin(entry->frame);
  return entry->asObject();
}

psObj* SessionCore::openInPage(const psId& id, psMode mode) {
  Page* page = nullptr;
  const PageCache::Fetch found = cache_.fetch(id, page);
  if (found == PageCache::Fetch::unreadable) return refuse(cache_.error());
  const std::uint16_t* const slots = found == PageCache::Fetch::present ? slotsOf(page->frame) : nullptr;
  const bool here =
      slots != nullptr && id.get_slot() != 0 && id.get_slot() <= page->frame->slotLimit && slots[id.get_slot()] != 0;
  if (!here) {
    const std::string foreign = slots != nullptr ? foreignText(id, *page) : std::string();
    if (!foreign.empty()) return refuse(psErrorKind::unknownClass, foreign);
    return reportAbsent(id);
  }
  if (mode == pscUpdate) cache_.change(*page);
  pin(page->frame);
  return reinterpret_cast<psObj*>(bodyAt(page->frame, slots[id.get_slot()]));
}

// Why an object that is there cannot be opened in this process; empty when it is not there.
std::string SessionCore::foreignText(const psId& id, const Page& page) const {
  const auto found = std::find_if(page.foreign.begin(), page.foreign.end(),
                                  [&id](const auto& object) { return object.first == id.get_slot(); });
  if (found == page.foreign.end()) return {};
  const ObjectHeader& header = *headerAt(page.frame, found->second);
  const std::uint32_t type = header.type & ~namedFlag;
  const ClassInfo* const info = TypeRegistry::instance().find(type);
  if (info == nullptr || info->virtualTable == 0) {
    return textOf(id) + " is of class number " + std::to_string(type) +
           ", which this program does not register; link the library that defines it (PS_REGISTER_CLASS)";
  }
  return textOf(id) + " of class " + info->name + " (number " + std::to_string(type) + ") is stored with " +
         std::to_string(header.size) + " bytes, but the class has " + std::to_string(info->size) +
         "; give a class whose fields change a new number, and convert the objects";
}

bool SessionCore::isUpdatable(const psObj* object) const {
  return mode_ == pscUpdate && isUsable(object) && frameOfObject(object)->updateStamp == update_;
}

bool SessionCore::exists(const psId& id) {
  if (mode_ == pscNoOpen || forked || id.isNull()) return false;
  CatalogEntry* entry = nullptr;
  if (id.get_page() == 0) return catalog_.find(id, entry) != Engine::Lookup::absent;
  Page* page = nullptr;
  const PageCache::Fetch found = cache_.fetch(id, page);
  if (found != PageCache::Fetch::present) return found == PageCache::Fetch::unreadable;
  const std::uint16_t* const slots = slotsOf(page->frame);
  return id.get_slot() != 0 &&
         ((id.get_slot() <= page->frame->slotLimit && slots[id.get_slot()] != 0) || !foreignText(id, *page).empty());
}

std::uint32_t SessionCore::typeOf(const psId& id) {
  if (mode_ == pscNoOpen || forked || id.isNull()) return 0;
  if (id.get_page() == 0) {
    const CatalogEntry* const found = entry(id);
    return found != nullptr ? found->header.type : 0;
  }
  Page* page = nullptr;
  const PageCache::Fetch found = cache_.fetch(id, page);
  if (found == PageCache::Fetch::unreadable) refuse(cache_.error());
  if (found != PageCache::Fetch::present || id.get_slot() == 0) return 0;
  const std::uint16_t* const slots = slotsOf(page->frame);
  if (id.get_slot() <= page->frame->slotLimit && slots[id.get_slot()] != 0) {
    return headerAt(page->frame, slots[id.get_slot()])->type & ~namedFlag;
  }
  for (const auto& [slot, offset] : page->foreign) {
    if (slot == id.get_slot()) return headerAt(page->frame, offset)->type & ~namedFlag;
  }
  return 0;
}

void* SessionCore::storage(const psId& id) {
  if (!usable("reading an array")) return endRefused();
  Page* page = nullptr;
  const PageCache::Fetch found = cache_.fetch(id, page);
  if (found == PageCache::Fetch::unreadable) return refuse(cache_.error());
  const std::uint16_t* const slots = found == PageCache::Fetch::present ? slotsOf(page->frame) : nullptr;
  if (slots == nullptr || id.get_slot() == 0 || id.get_slot() > page->frame->slotLimit || slots[id.get_slot()] == 0) {
    return refuse(psErrorKind::damaged,
                  "the storage of an array, " + textOf(id) +
                      ", is not there; restore the store from a backup, or the array's object was deleted");
  }
  return bodyAt(page->frame, slots[id.get_slot()]);
}

bool SessionCore::changePageOf(const void* address) {
  Frame* const frame = frameOfAddress(address);
  if (mode_ != pscUpdate || forked || frame->readStamp != epoch_) return false;
  cache_.change(*frame->page);
  return true;
}

void* SessionCore::create(std::uint32_t type, std::size_t size, const psId& near) {
  const ClassInfo* const info = classOf_(type);
  if (info == nullptr || info->virtualTable == 0) {
    fail(psErrorKind::unknownClass,
         "class number " + std::to_string(type) + " is not registered; put PS_REGISTER_CLASS into one source file");
    return nullptr;
  }
  if (info->size != size) {
    fail(psErrorKind::unknownClass, "an object of " + std::to_string(size) + " bytes was asked for class " +
                                        info->name + " of " + std::to_string(info->size) +
                                        "; a class derived from it needs its own PS_PERSISTENT_CLASS");
    return nullptr;
  }
  CatalogEntry* in = nullptr;
  const psId place(near.get_DB(), near.get_OC(), 0, 0);
  if (near.get_OC() != 0 && find(place, in) == Engine::Lookup::failed) return nullptr;
  if (in == nullptr) {
    fail(psErrorKind::usage,
         "there is no container to place an object of class " + info->name + " in: near " + textOf(near));
    return nullptr;
  }
  char* const object =
      cache_.allocate(*in, near, type, static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(size));
  if (object == nullptr) {
    fail(cache_.error());
    return nullptr;
  }
  ++in->live;
  catalog_.change(*in);
  // So that the object is one of its class even before its constructor runs.
  std::memcpy(object, &info->virtualTable, sizeof info->virtualTable);
  return object;
}

void* SessionCore::createStorage(const psId& near, std::uint32_t size, std::uint32_t capacity) {
  CatalogEntry* in = nullptr;
  if (find(psId(near.get_DB(), near.get_OC(), 0, 0), in) == Engine::Lookup::failed) return nullptr;
  char* const storage = in != nullptr ? cache_.allocate(*in, near, storageType, size, capacity) : nullptr;
  if (storage == nullptr) {
    fail(in != nullptr ? cache_.error()
                       : StoreError{psErrorKind::absent, "the container of " + textOf(near) + " does not exist"});
    return nullptr;
  }
  catalog_.change(*in);
  return storage;
}

bool SessionCore::freeObject(const psId& id) {
  Page* page = nullptr;
  const PageCache::Fetch found = cache_.fetch(id, page);
  if (found == PageCache::Fetch::unreadable) refuse(cache_.error());
  if (found != PageCache::Fetch::present) return false;
  const std::uint16_t* const slots = slotsOf(page->frame);
  if (id.get_slot() == 0 || id.get_slot() > page->frame->slotLimit || slots[id.get_slot()] == 0) return false;
  const std::uint32_t type = headerAt(page->frame, slots[id.get_slot()])->type;
  if (type == storageType) {
    cache_.free(*page, id.get_slot());
    return true;
  }
  // By now the object's destructor has run.
  WholeChange whole(*engine_);
  CatalogEntry* in = nullptr;
  if (find(psId(id.get_DB(), id.get_OC(), 0, 0), in) == Engine::Lookup::failed) return false;
  if (NameIndex names(*engine_); (type & namedFlag) != 0 && !names.forget(id)) return refuse(names.error()) != nullptr;
  cache_.free(*page, id.get_slot());
  if (in != nullptr) {
    --in->live;
    catalog_.change(*in);
  }
  return whole.done();
}

bool SessionCore::discard(const psObj* object) {
  const psId id = idAt(object);
  if (!isUsable(object))
    return fail(psErrorKind::usage, textOf(id) + " cannot be deleted: it was not opened in this transaction");
  return id.get_page() == 0 ? destroyEntry(id) : freeObject(id);
}

bool SessionCore::destroy(const psId& id, psObj* openForUpdate) {
  if (std::find(beingDeleted_.begin(), beingDeleted_.end(), id) != beingDeleted_.end()) return false;
  // A handle may have kept the memory of an object that is deleted already.
  if (openForUpdate != nullptr && !exists(id)) return fail(psErrorKind::absent, textOf(id) + " does not exist");
  const Working working(*this);
  psObj* const object = openForUpdate != nullptr ? openForUpdate : openObject(id, pscUpdate);
  if (object == nullptr) return false;
  if (openForUpdate != nullptr) pin(frameOfObject(object));
  const PinnedFrame pinned(frameOfObject(object));
  bool done = false;
  if (id.get_page() == 0) {
    done = destroyEntry(id);
  } else if (isDeletable(id, object)) {
    const NothingThrown here;
    beingDeleted_.push_back(id);
    object->~psObj();
    beingDeleted_.erase(std::find(beingDeleted_.begin(), beingDeleted_.end(), id));
    done = freeObject(id);
    if (!done) revive(object);
  }
  return done;
}

void SessionCore::revive(void* object) {
  const ClassInfo* const info = TypeRegistry::instance().find(headerOf(object)->type & ~namedFlag);
  if (info != nullptr) std::memcpy(object, &info->virtualTable, sizeof info->virtualTable);
}

bool SessionCore::isDeletable(const psId& id, const psObj* object) {
  CatalogEntry* in = nullptr;
  if (find(psId(id.get_DB(), id.get_OC(), 0, 0), in) == Engine::Lookup::failed) return false;
  NameIndex names(*engine_);
  return (headerOf(object)->type & namedFlag) == 0 || names.isReadable(id) || refuse(names.error()) != nullptr;
}

bool SessionCore::destroyEntry(const psId& id) {
  if (id.get_DB() == 0)
    return fail(psErrorKind::usage, "the federation cannot be deleted; delete its databases, or the store's file");
  CatalogEntry* const found = entry(id);
  if (found == nullptr) return false;
  return id.get_OC() == 0 ? destroyDatabase(*found) : destroyContainer(*found);
}

bool SessionCore::destroyContainer(CatalogEntry& entry) {
  NameIndex names(*engine_);
  if (!names.forget(entry.id())) return refuse(names.error()) != nullptr;
  return dropContainer(entry);
}

// Deletes a container whose names are forgotten already.
bool SessionCore::dropContainer(CatalogEntry& entry) {
  const psId id = entry.id();
  WholeChange whole(*engine_);
  cache_.dropContainer(id.get_DB(), id.get_OC());
  return catalog_.dropContainer(entry) ? whole.done() : failAsCatalog();
}

// What cannot be read is found before anything is changed, as far as it can be.
bool SessionCore::destroyDatabase(CatalogEntry& database) {
  const psId id = database.id();
  std::vector<psId> members;
  std::vector<CatalogEntry*> containers;
  if (!membersOf(database, members)) return false;
  for (const psId& member : members) {
    CatalogEntry* const in = entry(member);
    if (in == nullptr) return false;
    containers.push_back(in);
  }
  NameIndex names(*engine_);
  if (!names.forget(id)) return refuse(names.error()) != nullptr;
  WholeChange whole(*engine_);
  for (CatalogEntry* const in : containers) {
    if (!dropContainer(*in)) return false;
  }
  return catalog_.dropDatabase(database) ? whole.done() : failAsCatalog();
}

CatalogEntry* SessionCore::containerNamed(const psId& database, const char* name, std::uint32_t type,
                                          std::uint32_t number) {
  CatalogEntry* in = nullptr;
  if (database.get_DB() != 0 && find(psId(database.get_DB(), 0, 0, 0), in) == Engine::Lookup::failed) return nullptr;
  if (in == nullptr) {
    fail(psErrorKind::usage, "a container needs a database to lie in, not " + textOf(database));
    return nullptr;
  }
  const std::string_view text = name != nullptr ? name : "";
  if (text.size() > longestName) {
    fail(psErrorKind::usage, "a container's name has at most 400 bytes");
    return nullptr;
  }
  CatalogEntry* const made = catalog_.createContainer(*in, text, type, number);
  if (made == nullptr) failAsCatalog();
  return made;
}

CatalogEntry* SessionCore::createDatabase() {
  CatalogEntry* const made = catalog_.createDatabase();
  if (made == nullptr) failAsCatalog();
  return made;
}

bool SessionCore::nameDatabase(CatalogEntry& database, std::string_view name) {
  return catalog_.nameDatabase(database, name) || failAsCatalog();
}

CatalogEntry* SessionCore::databaseNamed(const char* name) {
  CatalogEntry* found = nullptr;
  if (findDatabase(name, found) != Engine::Lookup::absent || mode_ != pscUpdate) return found;
  CatalogEntry* const made = createDatabase();
  if (made == nullptr) return nullptr;
  WholeChange whole(*engine_);
  const bool named = nameDatabase(*made, name);
  if (named || catalog_.dropDatabase(*made)) whole.done();
  return named ? made : nullptr;
}

// Marks an object as one that has names or scopes them, so that its deletion looks for them. Containers and databases
// are always looked for.
bool SessionCore::setNamed(const psId& id) {
  if (id.get_page() == 0) return entry(id) != nullptr;
  psObj* const object = openObject(id, pscUpdate);
  if (object == nullptr) return false;
  headerOf(object)->type |= namedFlag;
  unpin(frameOfObject(object));
  return true;
}

bool SessionCore::file(const psId& object, const psId& scope, std::string_view name) {
  if (name.size() < 2 || name.size() > longestName + 1)
    return fail(psErrorKind::usage, "a name or key has 1 to 400 bytes");
  if (!exists(object)) return fail(psErrorKind::absent, textOf(object) + " does not exist and so cannot be named");
  if (!exists(scope)) return fail(psErrorKind::absent, textOf(scope) + " does not exist and so cannot scope names");
  if (!setNamed(object) || !setNamed(scope)) return false;
  NameIndex names(*engine_);
  switch (names.bind(object, scope, name)) {
    case NameIndex::Bound::done:
      return true;
    case NameIndex::Bound::taken:
      return fail(psErrorKind::usage,
                  "\"" + std::string(name.substr(1)) + "\" is taken in " + textOf(scope) + "; choose another name");
    default:
      return refuse(names.error()) != nullptr;
  }
}

// Gives the names of one object to another.
bool SessionCore::renameObject(const psId& from, const psId& to) {
  NameIndex names(*engine_);
  return names.rename(from, to) || refuse(names.error()) != nullptr;
}

psId SessionCore::nextObject(const psId& in, const psId& after, unsigned int typeN) {
  const CatalogEntry* const entry = container(in);
  // Storage is not counted: a container without objects has nothing to show.
  if (entry == nullptr || entry->live == 0) return psId();
  std::uint32_t slot = after.get_slot() + 1U;
  for (std::uint32_t number = std::max<std::uint32_t>(after.get_page(), 1); number < entry->nextNumber;
       ++number, slot = 1) {
    const psId id(in.get_DB(), in.get_OC(), static_cast<unsigned short>(number), 0);
    Page* page = nullptr;
    const PageCache::Fetch found = cache_.fetch(id, page);
    if (found == PageCache::Fetch::unreadable) refuse(cache_.error());
    if (found != PageCache::Fetch::present) continue;
    for (; slot < page->nextSlot; ++slot) {
      psId object = id;
      object.set_slot(static_cast<unsigned short>(slot));
      const std::uint32_t type = typeOf(object);
      if (type == 0 || type == storageType) continue;
      if (typeN == psObj::pstTypeN || TypeRegistry::instance().isKindOf(type, typeN)) return object;
    }
  }
  return psId();
}

}  // namespace ps::detail
