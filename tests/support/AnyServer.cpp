#include "support/AnyServer.h"

#include <cstdlib>

namespace ps::test {

AnyServer::AnyServer() {
  ::setenv("PSCOLLECTIONS_PLUGINS", PS_PLUGINS, 0);
  if (ScratchFolder::isOnServer()) return;
  own_ = std::make_unique<const Server>("fsync=off full_page_writes=off");
  ::setenv("PSCOLLECTIONS_TEST_STORE", own_->address().c_str(), 1);
}

}  // namespace ps::test
