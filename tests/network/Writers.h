#pragma once

#include <array>
#include <memory>
#include <string>

#include "support/Process.h"
#include "support/TempStore.h"

namespace ps::test {

// Processes that commit to one store side by side. Each puts numbers of its own into all kinds of collections, one a
// transaction, and notes outside the store what it was told of each commit. From time to time it reads what it was told
// is there. A server, or a writer itself, may be killed at any moment; then check tells whether what is in the store is
// what they were told.
class Writers {
 public:
  static constexpr std::size_t most = 4;

  Writers();
  Writers(const Writers&) = delete;
  Writers& operator=(const Writers&) = delete;
  ~Writers();

  // Makes the collections. The complaint, "" when there is none.
  static std::string prepare(const std::string& path);

  // Starts a writer where none runs. No session may be open in this process, here and in check.
  void start(std::size_t writer, const std::string& path);
  void kill(std::size_t writer) { processes_[writer].reset(); }
  // Has all writers end, and waits for them.
  void stop();

  // Compares what is in the store with what the writers were told. They may go on meanwhile. The complaint.
  std::string check(const std::string& path, bool isThorough);

  // How many commits they were told are there, are not, or may be.
  std::uint64_t acknowledged() const;
  std::uint64_t refused() const;
  std::uint64_t undecided() const;
  // Waits until each running writer was told of another commit. False when one was not within a minute.
  bool waitForCommits() const;

 private:
  struct Shared;

  Shared* shared_;
  std::array<std::unique_ptr<Process>, most> processes_;
};

}  // namespace ps::test
