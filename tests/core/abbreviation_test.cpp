#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/psAbbreviation.h"

// Numbers that stand for values sort as the values do.
namespace {

// Holds all pairs of values to their numbers. isExact: only equal values may share a number.
template <class Value, class Number, class Less>
void expectOrder(const std::vector<Value>& values, Number number, Less less, bool isExact) {
  for (const Value& a : values) {
    for (const Value& b : values) {
      EXPECT_NE(number(a), 0U);
      EXPECT_TRUE(less(a, b) || number(a) >= number(b)) << number(a) << ' ' << number(b);
      EXPECT_TRUE(!isExact || !less(a, b) || number(a) < number(b)) << number(a) << ' ' << number(b);
    }
  }
}

template <class Value>
void expectIntegers(bool isExact) {
  std::vector<Value> values = {0, 1, static_cast<Value>(-1), std::numeric_limits<Value>::min(),
                               std::numeric_limits<Value>::max()};
  std::mt19937_64 random(7);
  for (int i = 0; i < 30; ++i) values.push_back(static_cast<Value>(random() >> random() % 64));
  expectOrder(
      values, [](Value v) { return ps::abbreviationOf(v); }, std::less<>(), isExact);
}

TEST(Abbreviation, OfNumbersSortsAsTheyDo) {
  expectIntegers<std::int8_t>(true);
  expectIntegers<std::uint16_t>(true);
  expectIntegers<std::int32_t>(true);
  expectIntegers<std::uint64_t>(false);
  expectIntegers<std::int64_t>(false);
  __extension__ using Wide = __int128;
  const Wide top = Wide{1} << 100;
  expectOrder(
      std::vector<Wide>{0, -1, top, -top, top + 1}, [](Wide v) { return ps::abbreviationOf(v); }, std::less<>(), false);
  enum class Color : unsigned char { red, green };
  EXPECT_LT(ps::abbreviationOf(Color::red), ps::abbreviationOf(Color::green));
  EXPECT_LT(ps::abbreviationOf(false), ps::abbreviationOf(true));

  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> values = {0.0, -0.0, 1.5, -1.5, 1e-310, -1e-310, infinity, -infinity, nan, -nan, 1e300};
  const auto less = [](double a, double b) { return std::isnan(a) ? false : std::isnan(b) || a < b; };
  expectOrder(
      values, [](double v) { return ps::abbreviationOf(v); }, less, true);
  expectOrder(
      values, [](double v) { return ps::abbreviationOf(static_cast<float>(v)); },
      [&](double a, double b) { return less(static_cast<float>(a), static_cast<float>(b)); }, true);
}

TEST(Abbreviation, OfTextsAndPairsSortsAsTheyDo) {
  std::vector<std::string> texts = {"", "a", std::string("a\0", 2), "ab", "\xff", "abcdefgh", "abcdefghi", "abcdefgi"};
  expectOrder(
      texts, [](const std::string& v) { return ps::abbreviationOf(v); }, std::less<>(), false);
  EXPECT_LT(ps::abbreviationOf("abcdefg"), ps::abbreviationOf("abcdefh"));

  using Pair = std::pair<std::int32_t, std::string>;
  std::vector<Pair> pairs;
  for (const std::int32_t first : {-5, 0, 7}) {
    for (const std::string& text : texts) pairs.emplace_back(first, text);
  }
  const auto ofPair = [](const auto& v) { return ps::abbreviationOfPair(v.first, v.second); };
  expectOrder(pairs, ofPair, std::less<>(), false);
  EXPECT_LT(ofPair(Pair(7, "abc")), ofPair(Pair(7, "abd")));
  expectOrder(std::vector<std::pair<std::string, int>>{{"abcdefghi", 1}, {"abcdefghj", 0}, {"", 3}, {"a", -3}}, ofPair,
              std::less<>(), false);
  expectOrder(std::vector<std::pair<float, int>>{{0.0F, 1}, {-0.0F, 2}, {1.0F, -3}, {-1.0F, 9}}, ofPair, std::less<>(),
              false);
}

}  // namespace
