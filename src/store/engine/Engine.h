#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/StoreError.h"
#include "store/base/psReader.h"
#include "store/base/psSessionOptions.h"

namespace ps::detail {

// What an engine knows of the file in which it keeps a store. Numbers that it does not have are 0.
struct EngineFacts {
  std::string path;
  std::uint64_t fileBytes = 0;
  std::uint32_t pageSize = 0;
  std::uint64_t pages = 0;
  std::uint64_t freePages = 0;  // of these
  std::uint64_t mapSize = 0;
  std::int64_t lastChange = 0;  // seconds since 1970
};

// The ordered key/value transactions on which the store keeps its page images. An instance serves one session and is
// used by one thread at a time. Instances on the same store, in this process or in others, see each other's commits.
//
// An instance has at most one open transaction. Readers keep the snapshot that they began with. There are two kinds of
// engines:
//
// - Most exclude every other update transaction on the same store from begin to commit or abort; a second one waits.
// - An engine with several writers (hasSeveralWriters) lets updates run side by side, each on its own snapshot. The
//   commit compares all that the transaction has read with what is in the store by then. If anything differs, it is a
//   conflict, and nothing is written. So committed transactions are as if one had run after the other. What a caller
//   keeps in memory over transactions the engine does not see being read: it is told by noteRead.
//
// A value that is not empty begins with 8 bytes, its stamp, that tell it from any other value under its key.
//
// Every call that fails leaves its reason in error(): what failed, where and what to do about it. After a failed put or
// erase the transaction is void, and only abort makes sense. An engine on a server may make a transaction void in any
// other call too, when it loses the connection.
class Engine {
 public:
  enum class Lookup { found, absent, failed };

  // unknown: the engine cannot determine whether the transaction reached the store.
  enum class Commit { committed, conflict, unknown };

  // Called for each pair in key order. The views are valid until the visitor returns. False ends the scan.
  using Visitor = std::function<bool(std::string_view key, std::string_view value)>;

  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  virtual ~Engine() = default;  // aborts what is open

  virtual bool begin(bool update) = 0;

  // The view is valid until the next put, erase, commit or abort of this instance. That of a page's chunk is valid
  // until the next get or prefetch.
  virtual Lookup get(std::string_view key, std::string_view& value) = 0;

  // Says that all of a value that get returned is about to be read, which makes reading it from the disk faster.
  virtual void announceReading(std::string_view) const {}

  virtual bool put(std::string_view key, std::string_view value) = 0;

  // Removing an absent key succeeds.
  virtual bool erase(std::string_view key) = 0;

  // Visits all pairs whose key begins with prefix. The visitor must not change the store. False when the pairs could
  // not be read to the end, so that not all were visited.
  [[nodiscard]] virtual bool scan(std::string_view prefix, const Visitor& visitor) = 0;

  // How many pairs the open transaction sees; 0 without one.
  virtual std::uint64_t records() const = 0;

  virtual Commit commit() = 0;
  virtual void abort() = 0;

  // Makes an open update transaction void, as a failed put does. The kind is that of its commit's error: conflict after
  // a change of several steps that was begun and not ended, or memory, which is the reason also of what failed then.
  // Needs no memory.
  virtual void invalidate(psErrorKind kind = psErrorKind::conflict) noexcept = 0;

  // Whether the open transaction has become void, so that what it does not find may be there.
  virtual bool isVoid() const { return false; }

  // The read transactions that are open on the store in all processes, the oldest first. False when they cannot be
  // read.
  [[nodiscard]] virtual bool readers(std::vector<psReader>& found) = 0;

  // What the open transaction sees of the file. False when it cannot be read.
  [[nodiscard]] virtual bool facts(EngineFacts& found) = 0;

  // Several writers: see above. The functions that follow are for them; the others have nothing to do there.
  virtual bool hasSeveralWriters() const { return false; }

  // Adds the keys that others have changed since the transaction before the open one began. False when that is not
  // known, so that anything may have changed.
  [[nodiscard]] virtual bool takeChanges(std::vector<std::string>&) { return true; }

  // Says that the open update relies on what is under a key: a value with the stamp, or, without one, none.
  virtual void noteRead(std::string_view, std::string_view) {}

  // Says that the open update relies on that no key with the prefix is at the first key or behind it.
  virtual void noteEnd(std::string_view, std::string_view) {}

  // Says that the open update relies on how many members the record under the key counts, which it has got: get alone
  // does not mean that. See CountedRecord.h.
  virtual void noteCount(std::string_view) {}

  // Says that get is about to be called for the keys, in this order. An engine on a server then asks for them at once,
  // unless it has the first already.
  virtual void prefetch(const std::vector<std::string>&) {}

  // A number for a new member of what the record under the key counts (StoreKey.h), which no other session gets. next
  // is the lowest one that was never given to a member, as far as the transaction sees. 0 on failure.
  virtual std::uint32_t takeNumber(std::string_view, std::uint32_t next) { return next; }

  // How often this instance has waited for a server.
  virtual std::uint64_t roundTrips() const { return 0; }

  // Number of the last commit that the open transaction sees, or that an update transaction builds upon. Right after a
  // successful commit, the number of that commit. Two transactions with the same number see the same content. Where
  // there are several writers, the numbers are those of this instance alone.
  virtual std::uint64_t version() const = 0;

  // Bytes of memory that the open transaction's puts and erases take until it ends; 0 without an update transaction.
  virtual std::size_t uncommittedBytes() const = 0;

  virtual std::size_t maxKeySize() const = 0;
  virtual std::size_t maxValueSize() const = 0;

  const StoreError& error() const { return error_; }

 protected:
  void fail(psErrorKind kind, std::string message) {
    error_.kind = kind;
    error_.text = std::move(message);
  }

 private:
  StoreError error_;
};

// A change of several steps. Unless done is called, because of a failure or an exception, the transaction is void, so
// that no part of the change is ever committed.
class WholeChange {
 public:
  explicit WholeChange(Engine& engine) : engine_(engine) {}
  WholeChange(const WholeChange&) = delete;
  WholeChange& operator=(const WholeChange&) = delete;
  ~WholeChange() {
    if (!done_) engine_.invalidate();
  }

  bool done() { return done_ = true; }

 private:
  Engine& engine_;
  bool done_ = false;
};

// Opens the store at path, and creates it unless options.readOnly. A path that begins with "memory:" names a store that
// lives as long as the instance and is private to it, one that is an address (StoreAddress.h) a store on a server. Null
// on failure, with the reason in error.
std::unique_ptr<Engine> openEngine(const std::string& path, const psSessionOptions& options, StoreError& error);

}  // namespace ps::detail
