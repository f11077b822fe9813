#include <gtest/gtest.h>

#include "core/psCompare.h"
#include "core/psJavaId.h"
#include "store/base/psError.h"
#include "support/SetWorld.h"

namespace ps::test {
namespace {

// A library that was built without a JDK says so, and does nothing.
TEST(NoJava, EveryOperationFailsWithAMessage) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4);
  world.put(1);
  _jobject* object = nullptr;
  psId id(1, 2, 3, 4);
  const std::function<bool()> operations[] = {
      [&] { return world.set->contains(object, object, nullptr); },
      [&] { return world.set->add(world.newItem(2).id, object, object, nullptr); },
      [&] { return psCompare::compare(id, object, object, nullptr) != 0; },
      [&] { return psCompare::hash(object, object, nullptr) != 0; },
      [&] { return jsetJavaOidFromOid(nullptr, object, id, 1), false; },
  };
  for (const auto& operation : operations) {
    pehSessionDataGetFunction()->clear();
    EXPECT_FALSE(operation());
    EXPECT_NE(pehSessionDataGetFunction()->text().find("cannot call Java"), std::string::npos);
  }
  EXPECT_EQ(world.complaints(), "");
}

}  // namespace
}  // namespace ps::test
