#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "store/base/StoreError.h"
#include "store/base/psSessionOptions.h"

namespace ps::detail {

// The ordered key/value transactions on which the store keeps its page images. One instance serves one session and is
// used by one thread at a time; instances on the same store, in this process or in others, see each other's commits.
//
// At most one transaction is open in an instance. An update transaction excludes every other update transaction on the
// same store from begin to commit or abort (a second one waits); readers keep the snapshot that they began with.
//
// Every call that fails leaves its reason in error(): what failed, where and what to do about it. After a
// failed put or erase the transaction is void: only abort is of use.
class Engine {
 public:
  enum class Lookup { found, absent, failed };

  // unknown: the engine cannot tell whether the transaction reached the store.
  enum class Commit { committed, conflict, unknown };

  // Called for each pair in key order; the views live until the visitor returns. False ends the scan.
  using Visitor = std::function<bool(std::string_view key, std::string_view value)>;

  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  virtual ~Engine() = default;  // aborts what is open

  virtual bool begin(bool update) = 0;

  // The view lives until the next put, erase, commit or abort of this instance.
  virtual Lookup get(std::string_view key, std::string_view& value) = 0;

  // Says that all of a value that get gave is about to be read, which makes reading it from the disk faster.
  virtual void announceReading(std::string_view) const {}

  virtual bool put(std::string_view key, std::string_view value) = 0;

  // Removing an absent key succeeds.
  virtual bool erase(std::string_view key) = 0;

  // Visits all pairs whose key begins with prefix. The visitor must not change the store.
  // False when what is there could not be read to its end: what was visited is then not all.
  [[nodiscard]] virtual bool scan(std::string_view prefix, const Visitor& visitor) = 0;

  virtual Commit commit() = 0;
  virtual void abort() = 0;

  // Makes an open update transaction void, as a failed put does.
  virtual void invalidate() noexcept = 0;

  // Number of the last commit that the open transaction sees (in an update transaction: that it builds upon); right
  // after a successful commit, the number of that commit. Two transactions with one number see the same content.
  virtual std::uint64_t version() const = 0;

  virtual std::size_t maxKeySize() const = 0;
  virtual std::size_t maxValueSize() const = 0;

  const StoreError& error() const { return error_; }

 protected:
  void fail(psErrorKind kind, std::string message) { error_ = {kind, std::move(message)}; }

 private:
  StoreError error_;
};

// A change that consists of several steps: unless it comes to done, by a failure or an exception, the transaction is
// void, so that no part of it is ever committed.
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

// Opens the store at path, creating it unless options.readOnly. A path that begins with "memory:" names a store that
// lives as long as the instance and is private to it. Null on failure, with the reason in error.
std::unique_ptr<Engine> openEngine(const std::string& path, const psSessionOptions& options, StoreError& error);

}  // namespace ps::detail
