#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "core/psCompare.h"
#include "support/Item.h"

namespace ps::test {
namespace {

TEST(PsCompare, IdentifiersGoByDatabaseContainerPageAndSlot) {
  const std::vector<psId> ascending = {psId(),           psId(0, 0, 0, 1),      psId(1, 2, 3, 4), psId(1, 2, 4, 0),
                                       psId(1, 3, 0, 0), psId(1, 0x8000, 0, 0), psId(2, 0, 0, 0)};
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      const int expected = (i > j) - (i < j);
      EXPECT_EQ(psCompare::comparePsId(ascending[i], ascending[j]), expected) << i << ' ' << j;
      EXPECT_EQ(psCompare::lessPsId(ascending[i], ascending[j]), expected < 0);
      EXPECT_EQ(psCompare::lessOrEqualPsId(ascending[i], ascending[j]), expected <= 0);
      EXPECT_EQ(psCompare::greaterPsId(ascending[i], ascending[j]), expected > 0);
      EXPECT_EQ(psCompare::greaterOrEqualPsId(ascending[i], ascending[j]), expected >= 0);
      EXPECT_EQ(psCompare::equalPsId(ascending[i], ascending[j]), expected == 0);
    }
  }
}

TEST(PsCompare, HashOfAnIdentifierKeepsItsBitsAndCarries) {
  EXPECT_EQ(psCompare::hashPsId(psId(1, 2, 3, 4)), 3178625);
  EXPECT_EQ(psCompare::hashPsId(psId(64, 0, 0, 0)), psCompare::hashPsId(psId(0, 1, 0, 0)));
  EXPECT_EQ(psCompare::hashPsId(psId(5, 6, 0x0007, 8)), psCompare::hashPsId(psId(5, 6, 0xF007, 8)));
  EXPECT_EQ(psCompare::hashPsId(psId(0, 0x80, 0, 0x80)), 0);
  EXPECT_EQ(static_cast<unsigned int>(psCompare::hashPsId(psId(1, 0, 0x0FFF, 0))), 0xFFF00001U);
  EXPECT_EQ(static_cast<unsigned int>(psCompare::hashPsId(psId(0xFFFF, 0x7F, 0x0FFF, 0x7F))), 0x0000FFBFU);
}

std::vector<std::pair<unsigned int, unsigned int>> calls;
int answer = 0;

int recordCall(unsigned int high, unsigned int low) {
  calls.emplace_back(high, low);
  return answer;
}

TEST(PsCompare, CallbackGetsTheIdentifierOnceAndDecides) {
  const pstHandle<psObj> element(psId(0xFFFE, 0x8001, 0xFFFC, 0x8003));
  for (answer = -9; answer <= 9; answer += 9) {
    calls.clear();
    expectDecided(answer, element, recordCall);
    EXPECT_EQ(psCompare::hash(element, recordCall), answer);
    ASSERT_EQ(calls.size(), 7U);
    EXPECT_EQ(calls.back(), std::make_pair(0xFFFE8001U, 0xFFFC8003U));
  }
}

// Overrides one comparison of the four.
class Backwards : public psCompare {
 public:
  using psCompare::compare;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override {
    return comparePsId(other, element);
  }
};

TEST(PsCompare, AnOverrideDecidesItsPredicatesAndNoOthers) {
  const pstHandle<psObj> low(psId(1, 1, 1, 1));
  const pstHandle<psObj> high(psId(1, 1, 1, 2));
  const Backwards backwards;
  EXPECT_TRUE(backwards.less(high, low) && backwards.lessOrEqual(high, high) && backwards.greater(low, high));
  EXPECT_TRUE(backwards.greaterOrEqual(low, high) && backwards.equal(low, low) && !backwards.equal(low, high));
  EXPECT_TRUE(psCompare::lessPsId(low, high));
  EXPECT_EQ(backwards.hash(low), psCompare::hashPsId(low));

  // Without an override a raw key is the address of a handle.
  const void* key = &low;
  EXPECT_GT(backwards.compare(high, key), 0);
  EXPECT_TRUE(backwards.greater(high, key) && !backwards.less(high, key) && !backwards.equal(high, key));
  EXPECT_EQ(backwards.hash(key), psCompare::hashPsId(low));
  key = nullptr;
  EXPECT_EQ(backwards.compare(pstHandle<psObj>(), key), 0);
  EXPECT_EQ(backwards.hash(key), 0);
}

}  // namespace
}  // namespace ps::test
