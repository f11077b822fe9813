// Orders that PS_ORDER defines: comparison, hash and abbreviation must agree for every pair of keys and elements.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include "pstyped.h"
#include "store/session/SessionCore.h"
#include "support/TempStore.h"

namespace {

enum class Colour : short { red = -3, green = 2 };

class Thing : public psObj {
  PS_PERSISTENT_CLASS(Thing, psObj, 20501)
  PS_FIELDS(number, small, colour, weight, text, letters, other)
 public:
  Thing() = default;
  int number = 0;
  unsigned char small = 0;
  Colour colour = Colour::red;
  double weight = 0;
  ps::String text;
  char letters[5] = {};
  pstRef<Thing> other;

  std::string_view view() const { return text.viewIfReadable(); }
};
bool isOdd(const Thing& thing) { return thing.number % 2 != 0; }

PS_ORDER(ByText, 20510, &Thing::text)
PS_ORDER(ByAll, 20511, ps::descending(&Thing::number), &Thing::small, &isOdd, &Thing::view)
PS_ORDER(ByWeight, 20512, ps::descending(&Thing::weight), [](const Thing& thing) { return thing.colour; })
PS_ORDER(ByLetters, 20513, &Thing::small, ps::descending(&Thing::letters), &Thing::weight)
PS_ORDER(ByOther, 20514, &Thing::other, &Thing::number)

// What the application makes of a value, only the application knows.
enum class Day : signed char { monday };
class Special : public Thing {
  PS_PERSISTENT_CLASS(Special, Thing, 20502)
  PS_FIELDS(day, name)
 public:
  Day day = Day::monday;
  pstVArray<char> name;
};
class Plain : public psObj {
  PS_PERSISTENT_CLASS(Plain, psObj, 20503)
 public:
  long number = 0;
};

}  // namespace

template <>
struct ps::View<Day> {
  using type = std::string_view;
  static std::string_view of(Day) { return "monday"; }
};

namespace {

PS_ORDER(ByName, 20515, &Special::name, ps::descending(&Thing::number), &Special::day)
PS_ORDER(ByNumber, 20516, &Plain::number)

}  // namespace

PS_REGISTER_CLASS(Thing)
PS_REGISTER_CLASS(Special)
PS_REGISTER_CLASS(Plain)

namespace {

using ps::detail::RawKey;

int signOf(int n) { return (n > 0) - (n < 0); }

// Compares elements and keys of one order in every way, for one pair.
template <class Order>
void checkPair(const Order& order, const pstHandle<psObj>& a, const pstHandle<psObj>& b) {
  const Thing& second = static_cast<const Thing&>(*b);
  const auto views = Order::viewsOf(second);
  const int result = signOf(order.compare(a, b));
  EXPECT_EQ(result, -signOf(order.compare(b, a)));
  for (const RawKey::End end : {RawKey::End::anyMatch, RawKey::End::beforeFirst, RawKey::End::behindLast}) {
    const RawKey raw{&views, end};
    const void* key = &raw;
    EXPECT_EQ(signOf(order.compare(a, key)), result != 0 ? result : static_cast<int>(end));
    const std::uint64_t x = order.abbreviation(a);
    const std::uint64_t y = order.abbreviation(key);
    ASSERT_TRUE(x != 0 && y != 0);
    EXPECT_TRUE(x == y || (x < y) == (order.compare(a, key) < 0));
  }
  const RawKey raw{&views};
  const void* key = &raw;
  EXPECT_TRUE(result != 0 || (order.hash(a) == order.hash(key) && order.hash(a) == order.hash(b)));
}

// The same for the first parts of a key, and for the beginning of a text: what matches is between the two bounds.
template <class Order>
void checkPart(const Order& order, const pstHandle<psObj>& a, const typename Order::Views& views, std::size_t parts,
               bool isPrefix, bool isMatch) {
  const RawKey first{&views, RawKey::End::beforeFirst, parts, isPrefix};
  const RawKey last{&views, RawKey::End::behindLast, parts, isPrefix};
  const void* from = &first;
  const void* to = &last;
  EXPECT_EQ(order.compare(a, from) > 0 && order.compare(a, to) < 0, isMatch);
  for (const void* key : {from, to}) {
    const std::uint64_t x = order.abbreviation(a);
    const std::uint64_t y = order.abbreviation(key);
    EXPECT_TRUE(x == y || (x < y) == (order.compare(a, key) < 0));
  }
}

}  // namespace

TEST(TypedOrder, ComparisonHashAndAbbreviationAgree) {
  ps::test::TempStore store(ps::test::TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psContObj> in = store.container("things");
  std::mt19937_64 random(ps::test::seedOr(1));
  const auto oneOf = [&random](const auto& all) { return all[random() % std::size(all)]; };
  using Double = std::numeric_limits<double>;
  const int numbers[] = {0, 1, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 77};
  const double weights[] = {0.0, -0.0, 1.5, -1.5, 1e300, Double::infinity(), -Double::infinity(), Double::quiet_NaN()};
  const std::string_view texts[] = {"",          "a",        "ab",       std::string_view("a\0", 2), "abcdefgh",
                                    "abcdefghi", "abcdefgj", "\xff\xfe", std::string_view("\0", 1)};
  std::vector<ps::Ref<Thing>> things;
  for (int i = 0; i < 120; ++i) {
    const ps::Ref<Thing> made = ps::make<Thing>(in);
    Thing& thing = *ps::edit(made);
    thing.number = oneOf(numbers);
    thing.small = static_cast<unsigned char>(oneOf(numbers));
    thing.colour = random() % 2 == 0 ? Colour::red : Colour::green;
    thing.weight = oneOf(weights);
    thing.text = oneOf(texts);
    oneOf(texts).copy(thing.letters, 4);
    thing.other = oneOf(std::vector<ps::Ref<Thing>>{made, things.empty() ? made : things.front(), nullptr});
    things.push_back(made);
  }
  const ByText byText;
  const ByAll byAll;
  const ByWeight byWeight;
  const ByLetters byLetters;
  const ByOther byOther;
  for (const ps::Ref<Thing>& first : things) {
    for (const ps::Ref<Thing>& second : things) {
      const pstHandle<psObj>& a = first.handle();
      const pstHandle<psObj>& b = second.handle();
      checkPair(byText, a, b);
      checkPair(byAll, a, b);
      checkPair(byWeight, a, b);
      checkPair(byLetters, a, b);
      checkPair(byOther, a, b);
      const std::string_view text = second->view().substr(0, random() % 9);
      checkPart(byText, a, {text}, 1, true, first->view().substr(0, text.size()) == text);
      const bool isSame = first->number == second->number && first->small == second->small;
      checkPart(byAll, a, ByAll::viewsOf(*second), 2, false, isSame);
      const std::string_view letters = std::string_view(second->letters).substr(0, random() % 3);
      const bool begins = std::string_view(first->letters).substr(0, letters.size()) == letters;
      checkPart(byLetters, a, {second->small, letters, 0}, 2, true, first->small == second->small && begins);
    }
  }
}

namespace {

// What the class table says of a comparator, once the store has one: its keys, and the class of its elements.
template <class Order>
std::string storedKeys(ps::test::TempStore& store) {
  EXPECT_NE(new (store.container("orders")) Order, nullptr);
  EXPECT_TRUE(store->commit() == 1 && store->begin(pscUpdate) == 1);
  const ps::detail::StoredClass stored = ps::detail::SessionCore::current()->cache().classes().stored(Order::pstTypeN);
  EXPECT_EQ(stored.layouts.size(), 1U);
  const ps::detail::OrderShape& order = stored.layouts.at(0).shape.order;
  std::string text = std::to_string(order.elements) + ":";
  for (const ps::detail::KeyShape& key : order.keys) {
    text += " " + key.field + "/" + "-sufti"[static_cast<int>(key.kind)] + std::to_string(key.size);
    if (key.descends) text += "d";
  }
  return text;
}

}  // namespace

TEST(TypedOrder, TheStoreSaysWhatAnOrderOrdersBy) {
  ps::test::TempStore store(ps::test::TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  EXPECT_EQ(storedKeys<ByText>(store), "20501: text/t0");
  EXPECT_EQ(storedKeys<ByAll>(store), "20501: number/s4d small/u1 /u1 /t0");
  EXPECT_EQ(storedKeys<ByWeight>(store), "20501: weight/f8d /s2");
  EXPECT_EQ(storedKeys<ByLetters>(store), "20501: small/u1 letters/t0d weight/f8");
  EXPECT_EQ(storedKeys<ByOther>(store), "20501: other/i0 number/s4");
  EXPECT_EQ(storedKeys<ByName>(store), "20502: name/t0 number/s4d /t0");
  EXPECT_EQ(storedKeys<ByNumber>(store), "20503: /s8");
}
