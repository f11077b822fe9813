#include "store/session/SessionCore.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <utility>

#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/PerThread.h"
#include "store/base/StoreError.h"
#include "store/base/psError.h"
#include "store/cache/Arena.h"
#include "store/cache/NothingOpened.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/StoreAddress.h"
#include "store/engine/StoreKey.h"
#include "store/session/FailedCreation.h"
#include "store/session/ForkLocks.h"

namespace ps::detail {

namespace {

constexpr const char* abandonedText =
    "a session that this thread had open was destroyed on another thread: it is closed, and a transaction that was "
    "open in it was aborted; destroy sessions on the threads that opened them";

// Stamps are unique in the process: 0 is an image that stands for nothing, 1 one that must be checked.
std::uint64_t freshStamp() {
  static std::atomic<std::uint64_t> last{1};
  return ++last;
}

using Sessions = std::vector<std::shared_ptr<SessionCore>>;

// The calling thread's hold on its sessions; null without one. A thread-local with a destructor may be gone while
// objects of static lifetime still end their sessions.
thread_local Sessions* held = nullptr;

Sessions::iterator findHeld(std::uint64_t serial) {
  return std::find_if(held->begin(), held->end(), [serial](const auto& session) { return session->serial == serial; });
}

// What is current when nobody has made another session so.
SessionHead* lastHeld() { return held != nullptr ? held->back().get() : &noSession; }

// Ends a thread's sessions with the thread.
struct ThreadEnd {
  ThreadEnd() = default;
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    // The main thread ends with the process, but the destructors of static objects come after this.
    if (::getpid() == ::gettid()) return;
    while (held != nullptr) held->back()->end();
  }
};

bool isPageSize(unsigned int size) { return size >= 4096 && size <= 32768 && (size & (size - 1)) == 0; }

}  // namespace

SessionCore* SessionCore::current() {
  if (currentSession->serial == 0) return nullptr;
  auto* const session = static_cast<SessionCore*>(currentSession);
  if (!session->abandoned_) return session;
  countRefusal(*session);
  session->shut();
  return nullptr;
}

SessionCore* SessionCore::required() { return guardMemory<SessionCore*>(nullptr, &SessionCore::findRequired); }

SessionCore* SessionCore::findRequired() {
  SessionCore* const session = current();
  if (NothingOpened::applies()) {
    countRefusal(*currentSession);
    signalStoreError({psErrorKind::usage, "a conversion of an object may use the old object alone"});
    return nullptr;
  }
  if (session == nullptr && currentSession != &noSession)
    signalStoreError({psErrorKind::usage, abandonedText});
  else if (session == nullptr)
    signalStoreError({psErrorKind::usage, "no session is open on this thread; call psSession::open first"});
  return session;
}

SessionCore* SessionCore::updating(const char* what) {
  SessionCore* const session = required();
  if (session == nullptr || !session->isReadyFor(what)) return nullptr;
  if (session->mode_ == pscUpdate) return session;
  return guardMemory<SessionCore*>(nullptr, [&] {
    session->fail(psErrorKind::usage,
                  std::string(what) + " needs an update transaction; begin one with psSession::begin(pscUpdate)");
    return nullptr;
  });
}

SessionCore* SessionCore::ofThisThread(std::uint64_t serial) {
  if (held == nullptr) return nullptr;
  const auto found = findHeld(serial);
  return found != held->end() ? found->get() : nullptr;
}

void SessionCore::makeCurrent() {
  const auto found = findHeld(serial);
  std::rotate(found, found + 1, held->end());
  currentSession = this;
  forgetFailedCreation();
}

SessionCore::AsCurrent::AsCurrent(SessionCore& session) : before_(currentSession->serial) { currentSession = &session; }

SessionCore::AsCurrent::~AsCurrent() {
  SessionCore* const before = ofThisThread(before_);
  currentSession = before != nullptr ? before : lastHeld();
}

// Closes the store, if no operation is at work on it. What callers hold of the session stays readable.
void SessionCore::shut() {
  if (working_ != 0 || engine_ == nullptr) return;
  if (mode_ != pscNoOpen && !forked_) abort();
  engine_.reset();
  mode_ = pscNoOpen;
  updateStamps();
}

void SessionCore::end() {
  {
    const AsCurrent here(*this);
    shut();
  }
  ended_ = true;
  const auto found = findHeld(serial);
  const std::shared_ptr<SessionCore> last = std::move(*found);
  held->erase(found);
  if (held->empty()) delete std::exchange(held, nullptr);
  if (currentSession == this) currentSession = lastHeld();
}

// Ends those of the thread's sessions whose psSession was destroyed on another thread. Whether there was one.
bool SessionCore::endAbandoned() {
  if (held == nullptr) return false;
  bool ended = false;
  for (const std::shared_ptr<SessionCore>& session : Sessions(*held)) {
    if (!session->abandoned_ || session->working_ != 0) continue;
    session->end();
    ended = true;
  }
  return ended;
}

// A change that lacked memory may have been begun and not ended, whoever noticed the lack.
bool SessionCore::fail(const StoreError& error) {
  if (error.kind == psErrorKind::memory) afterLackOfMemory();
  // What fails afterwards in the same update is a consequence.
  if (lacksMemory_ && error.kind != psErrorKind::memory) {
    pehSessionDataGetFunction()->recordLackOfMemory();
    return false;
  }
  // The engine's messages name the store themselves.
  const bool named = path_.empty() || error.text.rfind("Cannot ", 0) == 0;
  try {
    signalStoreError({error.kind, named ? error.text : "store " + path_ + ": " + error.text});
  } catch (const std::bad_alloc&) {
    pehSessionDataGetFunction()->record(pscError, psteStore.number, error.kind, shortMemoryText);
  }
  return false;
}

bool SessionCore::fail(psErrorKind kind, const char* message) {
  return guardMemoryQuietly(false, [&] { return fail(kind, std::string(message)); });
}

// Whether the session can be used at all by this process, and is in a transaction.
bool SessionCore::isReadyFor(const char* what) {
  if (!forked_ && mode_ != pscNoOpen) return true;
  return guardMemory(false, [&] {
    return fail(psErrorKind::usage,
                forked_ ? std::string(what) + " in a forked child: the session belongs to the parent process; open a " +
                              "session of the child's own"
                        : std::string(what) + " outside a transaction; call psSession::begin first");
  });
}

bool SessionCore::open(const std::string& path, const psSessionOptions& options) {
  const bool done = guardMemoryQuietly(false, [&] { return openStore(path, options); });
  if (done) return true;
  engine_.reset();
  path_.clear();
  return false;
}

bool SessionCore::openStore(const std::string& path, const psSessionOptions& options) {
  if (endAbandoned()) signalStoreError({psErrorKind::usage, abandonedText});
  if (!isPageSize(options.pageSize)) {
    return fail(psErrorKind::usage,
                "pageSize " + std::to_string(options.pageSize) + " is not a power of two from 4096 to 32768");
  }
  TypeRegistry::instance().initialize();
  if (const std::string conflict = TypeRegistry::instance().conflict(); !conflict.empty())
    return fail(psErrorKind::usage, conflict);
  if (!Arena::instance().reserve())
    return fail(psErrorKind::memory,
                "the process may not reserve 256 MiB of address space; raise its limit (ulimit -v)");
  if (const int code = watchForks(); code != 0)
    return fail(psErrorKind::memory, std::string("the process cannot prepare for forks: ") + std::strerror(code));
  StoreError error;
  engine_ = openEngine(path, options, error);
  if (engine_ == nullptr) return fail(error);
  path_ = shownStore(path);
  serial = freshStamp();
  changeStamp = serial << 32;
  catalog_.attach(*engine_, serial);
  cache_.limit(options.cacheLimit);
  cache_.updateLimit(options.updateLimit);
  if (!openFederation(options)) return false;
  cache_.attach(*engine_, pageSize);
  cache_.classes().useStoredClasses(options.readOnly);
  if (!agreesOnClasses()) return false;
  auto sessions = held == nullptr ? std::make_unique<Sessions>() : nullptr;
  (sessions != nullptr ? *sessions : *held).push_back(shared_from_this());
  if (sessions != nullptr) held = sessions.release();
  currentSession = this;
  PerThread<ThreadEnd>::get();
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
                "the file holds something other than a store of persistent objects; choose another path");
  if (options.readOnly) return fail(psErrorKind::absent, "the file holds no store yet; open it once without readOnly");
  return createFederation(options);
}

// Whether this program can work with the classes of the store.
bool SessionCore::agreesOnClasses() {
  if (!engine_->begin(false)) return fail(engine_->error());
  const bool agrees = cache_.classes().check();
  checkedVersion_ = engine_->version();
  engine_->abort();
  return agrees || fail(cache_.classes().error());
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
  isOfOlderFormat_ = federation->name == olderFormat;
  if (federation->name != storeFormat && !isOfOlderFormat_) {
    return fail(psErrorKind::usage, "the file is in format \"" + federation->name +
                                        "\", but this release of pscollections reads up to \"" +
                                        std::string(storeFormat) + "\"; use the release that wrote it, or a newer one");
  }
  pageSize = federation->pageSize;
  if (!isPageSize(pageSize))
    return fail(psErrorKind::damaged, "the store's page size is damaged; restore the store from a backup");
  return true;
}

// Sees to it that releases which know only the older format refuse the store when this update is committed. False when
// the federation cannot be read.
bool SessionCore::renewFormat() {
  CatalogEntry* federation = nullptr;
  if (catalog_.find(Catalog::federationId(), federation) != Engine::Lookup::found) return fail(catalog_.error());
  isOfOlderFormat_ = federation->name == olderFormat;
  if (!isOfOlderFormat_) return true;
  federation->name = storeFormat;
  catalog_.change(*federation);
  return true;
}

// Tells the cache what others have changed since the last transaction.
void SessionCore::learnChanges() {
  std::vector<std::string> changes;
  if (engine_->takeChanges(changes))
    cache_.noteChanges(changes);
  else
    cache_.noteAnyChange();
}

// The engine's transaction has begun.
void SessionCore::startTransaction(psMode mode) {
  mode_ = mode;
  const bool forgetsRows = mode == pscUpdate && filledRows;
  const bool notesReads = mode == pscUpdate && engine_->hasSeveralWriters();
  learnChanges();
  if (epoch_ == 0 || engine_->version() != version_ || forgetsRows || notesReads) {
    filledRows = false;
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
  for (Frame* const frame : kept_) unpin(frame);
  kept_.clear();
  lacksMemory_ = false;
  mode_ = pscNoOpen;
  update_ = noStamp;
  updateStamps();
}

SessionCore::Guard SessionCore::guard(Guard guard) {
  guard_.swap(guard);
  updateStamps();
  return guard;
}

void SessionCore::markForked() {
  if (held == nullptr) return;
  for (const std::shared_ptr<SessionCore>& session : *held) {
    session->forked_ = true;
    session->updateStamps();
  }
}

// With a guard, or without a transaction, every open is decided out of line.
void SessionCore::updateStamps() {
  const bool inlined = mode_ != pscNoOpen && guard_ == nullptr && !forked_;
  readStamp = inlined ? epoch_ : noStamp;
  updateStamp = inlined ? update_ : noStamp;
  ++changeStamp;
}

bool SessionCore::begin(psMode mode) {
  const bool isOpenAlready = mode_ != pscNoOpen;
  const bool done = guardMemoryQuietly(false, [&] { return beginTransaction(mode); });
  if (!done && !isOpenAlready && mode_ != pscNoOpen) abort();
  return done;
}

bool SessionCore::beginTransaction(psMode mode) {
  if (forked_) return isReadyFor("begin");
  if (mode_ != pscNoOpen) {
    return fail(psErrorKind::usage, std::string("begin inside ") + (mode_ == pscUpdate ? "an update" : "a read") +
                                        " transaction; commit or abort it first");
  }
  if (mode != pscRead && mode != pscUpdate) return fail(psErrorKind::usage, "begin takes pscRead or pscUpdate");
  // An abandoned session may have an update open on this store, for which begin would wait.
  const bool wasAbandoned = endAbandoned();
  if (!engine_->begin(mode == pscUpdate)) return fail(engine_->error());
  startTransaction(mode);
  if (!isStillFit(mode)) return false;
  pehSessionDataGetFunction()->clear();
  if (wasAbandoned) signalStoreError({psErrorKind::usage, abandonedText});
  forgetFailedCreation();
  return true;
}

// Whether the transaction that has begun may go on: others may have changed classes since the last one.
bool SessionCore::isStillFit(psMode mode) {
  if (version_ != checkedVersion_) {
    if (!cache_.classes().check()) return fail(cache_.classes().error());
    checkedVersion_ = version_;
  }
  return mode != pscUpdate || !isOfOlderFormat_ || renewFormat();
}

bool SessionCore::commit() {
  if (!isReadyFor("commit")) return false;
  transient.reset();
  cache_.checkContents();
  if (mode_ == pscRead) {
    engine_->abort();
    endTransaction();
    return true;
  }
  const Engine::Commit outcome = commitUpdate();
  if (outcome == Engine::Commit::committed) {
    cache_.afterCommit();
    catalog_.afterCommit();
    version_ = engine_->version();
    endTransaction();
    longReaders_.look(*engine_, counters.oldestReader);
    return true;
  }
  if (engine_->hasSeveralWriters()) cache_.noteOthers();
  // Nobody knows which of the two states the store is in: everything in memory is checked again.
  if (outcome == Engine::Commit::unknown) {
    epoch_ = 0;
    version_ = ~std::uint64_t{0};
  }
  abort();
  return false;
}

// Signals why it fails.
Engine::Commit SessionCore::commitUpdate() {
  Engine::Commit outcome = Engine::Commit::conflict;
  guardMemoryQuietly(false, [&] {
    if (!cache_.writeChanges()) return fail(cache_.error());
    if (!catalog_.writeChanges()) return fail(catalog_.error());
    outcome = engine_->commit();
    return outcome == Engine::Commit::committed || fail(engine_->error());
  });
  return outcome;
}

// Whether the engine reads the store, and finds it as this transaction found it.
bool SessionCore::canRestore() noexcept {
  try {
    return engine_->begin(false) && engine_->version() == version_;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void SessionCore::afterLackOfMemory() noexcept {
  ++shortages_;
  if (engine_ == nullptr || mode_ != pscUpdate) return;
  engine_->invalidate(psErrorKind::memory);
  lacksMemory_ = true;
}

bool SessionCore::abort() {
  if (!isReadyFor("abort")) return false;
  transient.reset();
  cache_.checkContents();
  engine_->abort();
  if (mode_ == pscUpdate) {
    catalog_.afterAbort();
    // Images that are in use get their old content in place.
    cache_.afterAbort(cache_.isChangeInUse() && canRestore());
    engine_->abort();
    objects_.afterAbort();
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
  return guardMemory<psObj*>(nullptr, [&] {
    fail(psErrorKind::absent, textOf(id) + " does not exist");
    return nullptr;
  });
}

bool SessionCore::admits(const psId& id, psMode mode) {
  const Working working(*this);
  if (guard_ == nullptr || guard_(id, mode)) return true;
  return guardMemory(false, [&] {
    refuse(psErrorKind::denied, "the session's open guard refused " + textOf(id));
    return false;
  });
}

bool SessionCore::isUpdatable(const psObj* object) const {
  return mode_ == pscUpdate && isCurrent(object) && frameOfObject(object)->updateStamp == update_;
}

bool SessionCore::keep(const void* object) {
  return guardMemory(false, [&] {
    kept_.push_back(frameOfObject(object));
    pin(kept_.back());
    return true;
  });
}

}  // namespace ps::detail
