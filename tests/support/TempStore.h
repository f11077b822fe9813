#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "store/psSession.h"
#include "support/ScratchFolder.h"

namespace ps::test {

// Options for a store that need not survive a power loss.
psSessionOptions unsynced(std::size_t cacheLimit = psSessionOptions().cacheLimit);

// A store for one test, with a session open on it: in this process's memory, or in a file that is removed with the
// object.
class TempStore {
 public:
  enum class Place { memory, file };

  explicit TempStore(Place place, const psSessionOptions& options = psSessionOptions());
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

  psSession& session() { return session_; }
  const psSession& session() const { return session_; }
  psSession* operator->() { return &session_; }

  // The container of that name in database "test".
  pstHandle<psContObj> container(const char* name);

  // Closes the session and opens it again; for files.
  void reopen();
  // Calls change with the path of the file while no session has it open.
  void whileClosed(const std::function<void(const std::string& path)>& change);

  // Runs check in another process, in a read transaction of a session of its own, and then reopens this one. The text
  // that check returns is the complaint, "" when there is none.
  std::string inChild(const std::function<std::string(psSession&)>& check);
  // Commits a change in a session of its own, of another thread, while this one is open; for files.
  void inOtherSession(const std::function<void(psSession&)>& change);

 private:
  ScratchFolder folder_;
  std::string path_;
  psSessionOptions options_;
  psSession session_;
};

// Refuses the k-th open that is asked for while the object lives (1 is the next; 0 refuses none and only counts).
class Refuse {
 public:
  enum class Manner {
    once,        // as when a lock is not granted
    forGood,     // that object stays shut
    fromThenOn,  // nothing more is opened
  };

  Refuse(psSession& session, std::uint64_t k, Manner manner = Manner::once);
  Refuse(const Refuse&) = delete;
  Refuse& operator=(const Refuse&) = delete;
  ~Refuse() { session_.openGuard(nullptr); }

  bool bit() const { return k_ != 0 && asked_ >= k_; }
  std::uint64_t asked() const { return asked_; }

 private:
  psSession& session_;
  std::uint64_t k_;
  std::uint64_t asked_ = 0;
  psId victim_;
};

// The seed of a random test: PSCOLLECTIONS_SEED when that is set in the environment, else the one given.
std::uint64_t seedOr(std::uint64_t usual);

}  // namespace ps::test
