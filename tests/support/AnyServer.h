#pragma once

#include <string>

#include "support/ScratchFolder.h"

namespace ps::test {

// The server on which the stores of ScratchFolder are, for tests that need one: that of PSCOLLECTIONS_TEST_STORE, or
// without that one of its own, which is stopped in the end.
class AnyServer {
 public:
  AnyServer();
  AnyServer(const AnyServer&) = delete;
  AnyServer& operator=(const AnyServer&) = delete;
  ~AnyServer();

  // Whether there is one. There is none where a server's programs are not installed.
  static bool isThere() { return ScratchFolder::isOnServer(); }

 private:
  std::string folder_;  // of its own
};

}  // namespace ps::test
