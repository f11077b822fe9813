#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/base/StoreError.h"
#include "store/base/psSessionCounters.h"
#include "store/base/psSessionOptions.h"
#include "store/cache/PageCache.h"
#include "store/catalog/Catalog.h"
#include "store/engine/Engine.h"
#include "store/session/Directory.h"
#include "store/session/LongReaders.h"
#include "store/session/ObjectSpace.h"
#include "store/session/Places.h"

namespace ps::detail {

// What the federation's record says of the form in which the store is kept. docs/format.md describes it. The first
// update of a store in the older format makes it one of this format; what it does not touch stays as it is.
constexpr std::string_view storeFormat = "pscollections 2";
constexpr std::string_view olderFormat = "pscollections 1";
constexpr std::size_t longestName = 400;

// A session at work: its transaction, its errors, and the engine, the cache and the catalog. The rarer part of what
// handles, containers, arrays and scans do is in its object space and its directory. psSession is its interface for the
// application.
//
// Its psSession and the thread that opened it hold it, and either may end first. It is used and ended only on that
// thread. A thread holds its sessions in the order in which they were made current; the last one is the current one,
// except while an AsCurrent lives. So whatever finds its session by current() works on the right one.
class SessionCore : public SessionHead, public std::enable_shared_from_this<SessionCore> {
 public:
  SessionCore() = default;
  SessionCore(const SessionCore&) = delete;
  SessionCore& operator=(const SessionCore&) = delete;

  // The calling thread's current session; null without one. Closes one that was abandoned.
  static SessionCore* current();
  // The same, signalling an error when there is none.
  static SessionCore* required();
  // The same, if it is in an update transaction that can still succeed. what is the name of the refused operation.
  static SessionCore* updating(const char* what);

  // The calling thread's session of a serial number; null when it has none.
  static SessionCore* ofThisThread(std::uint64_t serial);
  bool isOfThisThread() const { return ofThisThread(serial) == this; }
  // Makes a session of the calling thread its current one.
  void makeCurrent();

  // Makes a session of the calling thread current while an object of this class lives. Then the session that was
  // current before is so again, if it is still open.
  class AsCurrent {
   public:
    explicit AsCurrent(SessionCore& session);
    AsCurrent(const AsCurrent&) = delete;
    AsCurrent& operator=(const AsCurrent&) = delete;
    ~AsCurrent();

   private:
    std::uint64_t before_;
  };

  // Sessions and transactions; see psSession.
  bool open(const std::string& path, const psSessionOptions& options);
  // On the session's thread: aborts an open transaction, closes the store and releases the session.
  void end();
  // Whether end was called. The end of the thread calls it too.
  bool hasEnded() const { return ended_; }
  // Says, on another thread, that the psSession has been destroyed.
  void abandon() { abandoned_ = true; }
  bool begin(psMode mode);
  bool commit();
  bool abort();
  psMode mode() const { return mode_; }
  // The stamp of the running update transaction; no other transaction of the process has it.
  std::uint64_t updateTime() const { return update_; }

  // Whether the session is in a transaction, in the process that opened it. The first form signals what is wrong, with
  // the name of the refused operation.
  bool isReadyFor(const char* what);
  bool isReading() const { return mode_ != pscNoOpen && !forked_; }
  // Whether the address of an opened object, or of anything in a page, is valid as it is.
  bool isCurrent(const psObj* held) const { return isCurrent(*frameOfObject(held)); }
  bool isCurrent(const Frame& frame) const { return isReading() && frame.readStamp == epoch_; }
  // The same, and open for update.
  bool isUpdatable(const psObj* object) const;
  // Asks the guard. True without a guard.
  bool admits(const psId& id, psMode mode);

  ObjectSpace& objects() { return objects_; }
  Directory& directory() { return directory_; }
  Places& places() { return places_; }
  Catalog& catalog() { return catalog_; }
  PageCache& cache() { return cache_; }
  Engine& engine() { return *engine_; }

  // Keeps an object's memory readable until the transaction ends. False when there is no memory to note it.
  bool keep(const void* object);

  // Signals a failure of the store. Returns false, so that callers can return it. Needs no memory, but the text is
  // short when there is none.
  bool fail(const StoreError& error);
  bool fail(psErrorKind kind, const std::string& message) { return fail(StoreError{kind, message}); }
  bool fail(psErrorKind kind, const char* message);
  // The same for something that is there but cannot be opened or read. It counts as a refusal, and is thrown if the
  // session throws errors. Returns null, so that callers can return it.
  psObj* refuse(const StoreError& error);
  psObj* refuse(psErrorKind kind, const std::string& message) { return refuse(StoreError{kind, message}); }
  // The same, after the failure was signalled.
  psObj* endRefused();
  psObj* reportAbsent(const psId& id);

  LongReaders& longReaders() { return longReaders_; }

  // Called before every open; false refuses it. Without a guard every open is admitted.
  using Guard = std::function<bool(const psId&, psMode)>;
  // Returns the one that was there before.
  Guard guard(Guard guard);
  // Says, in a child of the process that opened the calling thread's sessions, that they are the parent's.
  static void markForked();

  // Called when an operation lacked memory: a running update is void then.
  void afterLackOfMemory() noexcept;
  // How often that was.
  std::uint64_t shortages() const { return shortages_; }

  // What a layer above keeps until the transaction ends, or another object takes its place.
  std::shared_ptr<void> transient;

  // By administrator and use: see ownContainer.
  std::map<std::pair<std::uint64_t, std::size_t>, psId> ownContainers;

  psId defaultPlacement;  // where objects are created without a placement; null without one
  psSessionCounters counters;
  std::uint32_t pageSize = 8192;

  // While an object of this class exists, the application's code may be running inside an operation. The session is
  // then not closed.
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
  bool agreesOnClasses();
  static SessionCore* findRequired();
  bool openStore(const std::string& path, const psSessionOptions& options);
  bool beginTransaction(psMode mode);
  Engine::Commit commitUpdate();
  bool canRestore() noexcept;
  bool isStillFit(psMode mode);
  bool renewFormat();
  void learnChanges();
  void startTransaction(psMode mode);
  void endTransaction();
  void updateStamps();
  static bool endAbandoned();
  void shut();

  std::string path_;
  std::unique_ptr<Engine> engine_;
  Catalog catalog_;
  PageCache cache_{*this, counters};
  Directory directory_{*this};
  Places places_{*this};
  ObjectSpace objects_{*this};
  LongReaders longReaders_;
  Guard guard_;
  bool isOfOlderFormat_ = false;
  bool lacksMemory_ = false;  // the running update is void since there was no memory
  std::uint64_t shortages_ = 0;
  bool forked_ = false;  // this process is a child of the one that opened the session
  psMode mode_ = pscNoOpen;
  std::uint64_t epoch_ = 0;    // stamp of images known to be current; changes when another session has committed
  std::uint64_t version_ = 0;  // of the engine, that epoch_ stands for
  std::uint64_t checkedVersion_ = ~std::uint64_t{0};  // of the engine, in which the classes were compared
  std::uint64_t update_ = noStamp;
  std::vector<Frame*> kept_;
  int working_ = 0;
  std::atomic<bool> ended_{false};
  std::atomic<bool> abandoned_{false};
};

}  // namespace ps::detail
