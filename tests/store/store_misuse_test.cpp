#include <gtest/gtest.h>

#include <thread>

#include "store/StoreObjects.h"
#include "support/Reports.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

class StoreMisuse : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!ps::detail::isChecked) GTEST_SKIP() << "this build checks nothing";
    ASSERT_EQ(session_.open(folder_.store("store.ps"), unsynced()), 1);
    ASSERT_EQ(session_.begin(pscUpdate), 1);
    in_ = session_.container(session_.database("misuse"), "objects");
    blob_ = new (in_) Blob(1, "some bytes");
    again(pscUpdate);
  }
  void again(psMode mode) {
    ASSERT_EQ(session_.commit(), 1) << session_.lastError();
    ASSERT_EQ(session_.begin(mode), 1) << session_.lastError();
  }

  ScratchFolder folder_;
  psSession session_;
  pstHandle<psContObj> in_;
  pstHandle<Blob> blob_;
  Reports reports_;
};

TEST_F(StoreMisuse, ObjectsAndHandlesOutOfTheirTimeAndPlaceAreReported) {
  Blob* const object = blob_.operator->();
  const pstHandle<Blob> kept(blob_);
  ASSERT_EQ(object->bytes.size(), 10U);
  EXPECT_EQ(Reports::take(), "");

  std::thread([&] { EXPECT_NE(kept.operator->(), object); }).join();
  Reports::expect("on a thread that did not open it");
  ASSERT_EQ(session_.commit(), 1);
  object->psOid();
  Reports::expect("object (1,1,1,1) is used after the transaction");
  object->bytes.size();
  Reports::expect("after the transaction");
  ASSERT_EQ(session_.begin(pscRead), 1);
  EXPECT_EQ(kept->bytes.size(), 10U) << "a handle may be kept over transactions";
  EXPECT_EQ(Reports::take(), "");
  ASSERT_EQ(session_.commit(), 1);
  ASSERT_EQ(session_.close(), 1);
  kept.operator->();
  Reports::expect("after its session was closed");
}

TEST_F(StoreMisuse, WritesToWhatIsNotOpenForUpdateAreReported) {
  blob_->number = 2;
  again(pscUpdate);
  Reports::expect("object (1,1,1,1) or an array of it was written without being open for update");
  ASSERT_EQ(blob_.open(pscRead), 1);
  const_cast<char&>(*blob_->bytes.head()) = 'S';
  again(pscRead);
  Reports::expect("written without being open for update");
  blob_->number = 3;
  ASSERT_EQ(session_.commit(), 1);
  Reports::expect("written without being open for update");

  ASSERT_EQ(session_.begin(pscUpdate), 1);
  ASSERT_EQ(blob_.update(), 1);
  blob_->number = 4;
  ASSERT_EQ(blob_->bytes.iset(0, 's'), 1);
  ASSERT_NE(new (in_) Flat(1), nullptr);
  ASSERT_EQ(session_.abort(), 1);
  ASSERT_EQ(session_.begin(pscUpdate), 1);
  ASSERT_EQ(blob_.update(), 1);
  blob_->number = 5;
  ASSERT_EQ(session_.commit(), 1);
  EXPECT_EQ(Reports::take(), "");
}

TEST(StoreMisuseDeath, AMistakeEndsTheProgramWithASentence) {
  if (!ps::detail::isChecked) GTEST_SKIP() << "this build checks nothing";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        psSession session;
        static_cast<void>(session.open("memory:"));
        static_cast<void>(session.begin(pscUpdate));
        const pstHandle<Flat> flat(new (session.container(session.database("a"), "b")) Flat(1));
        const Flat* const object = flat.operator->();
        static_cast<void>(session.commit());
        object->psOid();
      },
      "pscollections: object \\(1,1,1,1\\) is used after the transaction");
}

}  // namespace
}  // namespace ps::test
