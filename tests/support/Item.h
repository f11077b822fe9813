#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "core/psCompare.h"
#include "store/psPersistentClass.h"
#include "store/pstVArray.h"

namespace ps::test {

// The element of the tests: a number.
class Item : public psObj {
  PS_PERSISTENT_CLASS(Item, psObj, 20100)

 public:
  explicit Item(std::int64_t number) : number_(number) {}
  std::int64_t number() const { return number_; }

 private:
  std::int64_t number_ = 0;
};

// An element with storage of its own, which scans do not show and which goes with it.
class TextItem : public Item {
  PS_PERSISTENT_CLASS(TextItem, Item, 20101)

 public:
  explicit TextItem(std::int64_t number);
  std::string text() const;

 private:
  pstVArray<char> letters_;
};

// Orders and hashes items by number; a raw key is the address of a std::int64_t. An element that cannot be opened
// compares as equal: the answer that does the most harm where nobody notices the refusal.
class ItemCompare : public psCompare {
  PS_PERSISTENT_CLASS(ItemCompare, psCompare, 20102)

 public:
  ItemCompare() = default;
  int compare(const pstHandle<psObj>& element, const void*& key) const override;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override;
  int hash(const void*& key) const override;
  int hash(const pstHandle<psObj>& element) const override;
  std::uint64_t abbreviation(const void*& key) const override;
  std::uint64_t abbreviation(const pstHandle<psObj>& element) const override;
  std::uint32_t abbreviationVersion() const override;
  unsigned int elementTypeN() const override { return Item::pstTypeN; }

  // How comparators of this thread abbreviate: not at all, so that numbers differ always, sometimes or never, or only
  // some. Each is a version of its own.
  enum class Abbreviates : std::uint32_t { nothing, exactly, roughly, alike, someOnly };
  static void abbreviate(Abbreviates how);
  // The same way for 3 calls with numbers that follow each other, then another.
  static void abbreviateAnyhow(unsigned number) { abbreviate(static_cast<Abbreviates>((number / 3 + 1) % 5)); }

  // Comparisons made in this thread, by comparators and by the callback of Keyed.
  static std::uint64_t comparisons();
};

// The identifier that a callback gets in two halves.
psId idOf(unsigned int databaseAndContainer, unsigned int pageAndSlot);

// The comparison of ItemCompare, for callbacks.
int compareWithNumber(const pstHandle<psObj>& element, std::int64_t number);

// What psCompare decides, of an element and what else goes into the comparison, by an answer like that.
template <class... Arguments>
void expectDecided(int answer, Arguments&&... arguments) {
  EXPECT_EQ(psCompare::compare(arguments...), answer);
  EXPECT_EQ(psCompare::less(arguments...), answer < 0);
  EXPECT_EQ(psCompare::lessOrEqual(arguments...), answer <= 0);
  EXPECT_EQ(psCompare::greater(arguments...), answer > 0);
  EXPECT_EQ(psCompare::greaterOrEqual(arguments...), answer >= 0);
  EXPECT_EQ(psCompare::equal(arguments...), answer == 0);
}

// What a test remembers of an item.
struct ItemKey {
  psId id;
  std::int64_t number = 0;
};

// Creates an item, every third one with a text.
ItemKey makeItem(const pstHandle<psObj>& near, std::int64_t number);

}  // namespace ps::test
