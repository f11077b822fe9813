#pragma once

#include <string>

namespace ps::test {

// A new folder. The destructor removes it with all that is in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  // The path of a store for tests of what any engine does: a file of the folder, or, when PSCOLLECTIONS_TEST_STORE is
  // an address of a server, a store of its own there, which stays.
  std::string store(const std::string& name) const;
  // The same for a store that may be in memory.
  std::string transientStore(const std::string& name) const { return isOnServer() ? store(name) : "memory:"; }
  static bool isOnServer();
  // A number of steps or sizes of a test, or a smaller one on a server, where each commit and each look into the store
  // takes round trips.
  template <class Number>
  static Number stepsOr(Number usual, Number onServer) {
    return isOnServer() ? onServer : usual;
  }

 private:
  std::string path_;
};

}  // namespace ps::test
