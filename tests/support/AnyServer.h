#pragma once

#include <memory>

#include "support/Server.h"

namespace ps::test {

// The server on which the stores of ScratchFolder are, for tests that need one: that of PSCOLLECTIONS_TEST_STORE, or
// without that one of its own, which is stopped in the end.
class AnyServer {
 public:
  AnyServer();

 private:
  std::unique_ptr<const Server> own_;
};

}  // namespace ps::test
