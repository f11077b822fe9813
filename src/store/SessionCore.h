#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "store/IdText.h"
#include "store/cache/Catalog.h"
#include "store/cache/NameIndex.h"
#include "store/cache/PageCache.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/Engine.h"
#include "store/psSession.h"

namespace ps::detail {

// What the federation's record says of the form in which the store is kept; docs/format.md describes it.
constexpr std::string_view storeFormat = "pscollections 1";
constexpr std::size_t longestName = 400;

// A session at work: its engine, its cache, its catalog and its transaction. The operations of handles, containers,
// arrays and scans that are not inlined end here; psSession is its face to the application.
//
// Operations that fail signal an error, unless a failure is the plain answer "there is no such object".
//
// It is held by its psSession and by the thread that opened it, each of which may be the first to go; it is worked with
// and ended on that thread alone.
class SessionCore : public SessionHead, public std::enable_shared_from_this<SessionCore> {
 public:
  SessionCore() = default;
  SessionCore(const SessionCore&) = delete;
  SessionCore& operator=(const SessionCore&) = delete;
  ~SessionCore();

  // The calling thread's open session; null without one. One that was abandoned is closed by this.
  static SessionCore* current();
  // The same, signalling an error when there is none.
  static SessionCore* required();
  // The same, when it is in an update transaction that can still succeed; what is the name of the refused operation.
  static SessionCore* updating(const char* what);

  // Sessions and transactions; see psSession.
  bool open(const std::string& path, const psSessionOptions& options);
  // On the session's thread: aborts an open transaction, closes the store and lets go of the session.
  void end();
  // Whether end was called. The end of the thread calls it too.
  bool hasEnded() const { return ended_; }
  // Says, on another thread, that the psSession is gone.
  void abandon() { abandoned_ = true; }
  bool begin(psMode mode);
  bool commit();
  bool abort();
  psMode mode() const { return mode_; }

  // Opens an object, container, database or the federation; null when refused or absent. The result is pinned.
  psObj* openObject(const psId& id, psMode mode);
  // Whether an opened object's address is good as it is.
  bool isUsable(const psObj* held) const { return isUsable(*frameOfObject(held)); }
  bool isUsable(const Frame& frame) const { return mode_ != pscNoOpen && !forked && frame.readStamp == epoch_; }
  // Whether it is, and open for update.
  bool isUpdatable(const psObj* object) const;
  // Also of what is there but cannot be read; nothing is refused.
  bool exists(const psId& id);
  // 0 when there is no such object, or it cannot be read, which is refused.
  std::uint32_t typeOf(const psId& id);
  // Storage that an array names; null, with a refusal, when it cannot be read or is not there.
  void* storage(const psId& id);

  // Marks the page of an object or array that is in memory as changed. Asks nobody.
  bool changePageOf(const void* address);
  // Asks the guard; true without one.
  bool admits(const psId& id, psMode mode);

  const ClassInfo* classOf(std::uint32_t type) { return classOf_(type); }

  void* create(std::uint32_t type, std::size_t size, const psId& near);
  void* createStorage(const psId& near, std::uint32_t size, std::uint32_t capacity);
  bool destroy(const psId& id, psObj* openForUpdate);
  // Whether what the deletion of an object changes outside its page can be read: asked before anything is begun.
  bool isDeletable(const psId& id, const psObj* object);
  // Frees an object or storage without running anything.
  bool freeObject(const psId& id);
  // Frees an object, or deletes a container or database with all it holds, without running anything.
  bool discard(const psObj* object);
  // Has an object that stays be of its class again, though its destructor has run.
  static void revive(void* object);

  Catalog& catalog() { return catalog_; }
  PageCache& cache() { return cache_; }

  // Look-ups in the catalog and the names. An answer that cannot be had is a refusal, signalled and counted; it is
  // never given as "absent". entry is null unless found.
  [[nodiscard]] Engine::Lookup find(const psId& id, CatalogEntry*& entry, bool* changed = nullptr);
  [[nodiscard]] Engine::Lookup findDatabase(std::string_view name, CatalogEntry*& entry);
  [[nodiscard]] Engine::Lookup findContainer(const psId& database, std::string_view name, CatalogEntry*& entry);
  [[nodiscard]] Engine::Lookup findNamed(const psId& scope, std::string_view name, psId& object);
  // False when they cannot be read.
  [[nodiscard]] bool membersOf(const CatalogEntry& scope, std::vector<psId>& members);
  // The entry, for those to whom absent and refused are the same; null then.
  CatalogEntry* entry(const psId& id);
  CatalogEntry* container(const psId& id) { return entry(psId(id.get_DB(), id.get_OC(), 0, 0)); }

  // Creates; null, with the reason signalled, when the name or number is taken or cannot be looked up.
  CatalogEntry* containerNamed(const psId& database, const char* name, std::uint32_t type, std::uint32_t number);
  CatalogEntry* createDatabase();
  bool nameDatabase(CatalogEntry& database, std::string_view name);
  // The database of the name, in an update transaction created when there is none; null otherwise.
  CatalogEntry* databaseNamed(const char* name);

  bool renameObject(const psId& from, const psId& to);
  bool file(const psId& object, const psId& scope, std::string_view name);

  // The next object behind after, in the identifiers' order, that is of the class; null when there is none.
  psId nextObject(const psId& in, const psId& after, unsigned int typeN);

  // Keeps an object's memory readable until the transaction ends.
  void keep(const pstHandle<psObj>& object) { kept_.push_back(object); }

  // Signals a failure of the store; false, for return.
  bool fail(const StoreError& error);
  bool fail(psErrorKind kind, const std::string& message) { return fail(StoreError{kind, message}); }
  // The same for something that is there but cannot be opened or read. That counts as a refusal, and is thrown where
  // the session asks for that. Null, for return.
  psObj* refuse(const StoreError& error);
  psObj* refuse(psErrorKind kind, const std::string& message) { return refuse(StoreError{kind, message}); }
  // The same once the failure was signalled.
  psObj* endRefused();
  psObj* reportAbsent(const psId& id);

  pstSessionData data;
  psSession::OpenGuard guard;
  psSessionCounters counters;
  std::uint32_t pageSize = 8192;
  bool forked = false;  // this process is a child of the one that opened the session

  // With a guard, or without a transaction, every open is decided out of line.
  void updateStamps();

  // While one exists, the application's code may be running inside an operation: the session is not closed then.
  class Working {
   public:
    explicit Working(SessionCore& session) : session_(session) { ++session_.working_; }
    Working(const Working&) = delete;
    Working& operator=(const Working&) = delete;
    ~Working() { --session_.working_; }

   private:
    SessionCore& session_;
  };

 private:
  bool openFederation(const psSessionOptions& options);
  bool createFederation(const psSessionOptions& options);
  bool readFederation();
  void startTransaction(psMode mode);
  void endTransaction();
  bool usable(const char* what);
  Engine::Lookup answer(Engine::Lookup found);
  bool failAsCatalog();
  static void endAbandoned();
  void shut();
  psObj* openEntry(const psId& id, psMode mode);
  psObj* openInPage(const psId& id, psMode mode);
  std::string foreignText(const psId& id, const Page& page) const;
  bool setNamed(const psId& id);
  bool destroyEntry(const psId& id);
  bool destroyContainer(CatalogEntry& entry);
  bool dropContainer(CatalogEntry& entry);
  bool destroyDatabase(CatalogEntry& database);

  std::string path_;
  std::unique_ptr<Engine> engine_;
  Catalog catalog_;
  PageCache cache_{*this, counters};
  psMode mode_ = pscNoOpen;
  std::uint64_t epoch_ = 0;    // stamp of images known to be current; changes when another session has committed
  std::uint64_t version_ = 0;  // of the engine, that epoch_ stands for
  std::uint64_t update_ = noStamp;
  ClassLookup classOf_;  // for what is created
  std::vector<psId> beingDeleted_;
  std::vector<pstHandle<psObj>> kept_;
  int working_ = 0;
  std::atomic<bool> ended_{false};
  std::atomic<bool> abandoned_{false};
};

}  // namespace ps::detail
