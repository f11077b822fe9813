#include <gtest/gtest.h>

#include <string>

#include "store/psSession.h"

namespace ps::test {
namespace {

// These are refused before a server is asked, so none is needed.
TEST(Address, NamesAStoreThatTheServerCanTellFromOthers) {
  const std::string server = "postgresql:///nowhere?host=/nowhere&connect_timeout=1#";
  for (const std::string& name : {std::string(), std::string(64, 'x')}) {
    psSession session;
    EXPECT_EQ(session.open(server + name), 0);
    EXPECT_EQ(session.lastErrorKind(), psErrorKind::usage);
    EXPECT_EQ(session.lastError().find("plug-in"), std::string::npos) << session.lastError();
  }
}

}  // namespace
}  // namespace ps::test
