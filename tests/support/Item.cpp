#include "support/Item.h"

#include "core/psAbbreviation.h"

namespace ps::test {

PS_REGISTER_CLASS(Item)
PS_REGISTER_CLASS(TextItem)
PS_REGISTER_CLASS(ItemCompare)

namespace {

thread_local std::uint64_t comparisonCount = 0;
thread_local auto howToAbbreviate = ItemCompare::Abbreviates::nothing;

std::uint64_t abbreviationOf(std::int64_t number) {
  switch (howToAbbreviate) {
    case ItemCompare::Abbreviates::exactly:
      return ps::abbreviationOf(number);
    case ItemCompare::Abbreviates::roughly:
      return ps::abbreviationOf(number >> 2);
    case ItemCompare::Abbreviates::alike:
      return 1;
    case ItemCompare::Abbreviates::someOnly:
      return number % 3 == 0 ? 0 : ps::abbreviationOf(number);
    default:
      return 0;
  }
}

}  // namespace

psId idOf(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  const auto high = [](unsigned int pair) { return static_cast<unsigned short>(pair >> 16); };
  const auto low = [](unsigned int pair) { return static_cast<unsigned short>(pair); };
  return psId(high(databaseAndContainer), low(databaseAndContainer), high(pageAndSlot), low(pageAndSlot));
}

int compareWithNumber(const pstHandle<psObj>& element, std::int64_t number) {
  ++comparisonCount;
  const pstHandle<Item> item(element);
  if (item.open(pscRead) != 1) return 0;
  return item->number() < number ? -7 : item->number() > number ? 7 : 0;
}

TextItem::TextItem(std::int64_t number) : Item(number) {
  const std::string text = std::to_string(number);
  if (letters_.resize(static_cast<unsigned int>(text.size())) == 1) text.copy(letters_.head(), text.size());
}

std::string TextItem::text() const { return std::string(letters_.head(), letters_.size()); }

int ItemCompare::compare(const pstHandle<psObj>& element, const void*& key) const {
  return compareWithNumber(element, *static_cast<const std::int64_t*>(key));
}

int ItemCompare::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const {
  const pstHandle<Item> item(other);
  return item.open(pscRead) == 1 ? compareWithNumber(element, item->number()) : 0;
}

int ItemCompare::hash(const void*& key) const { return static_cast<int>(*static_cast<const std::int64_t*>(key)); }

int ItemCompare::hash(const pstHandle<psObj>& element) const {
  const pstHandle<Item> item(element);
  return item.open(pscRead) == 1 ? static_cast<int>(item->number()) : 0;
}

std::uint64_t ItemCompare::abbreviation(const void*& key) const {
  return abbreviationOf(*static_cast<const std::int64_t*>(key));
}

// Of an element that cannot be opened, the number that does the most harm where nobody notices.
std::uint64_t ItemCompare::abbreviation(const pstHandle<psObj>& element) const {
  const pstHandle<Item> item(element);
  return item.open(pscRead) == 1 ? abbreviationOf(item->number()) : 1;
}

std::uint32_t ItemCompare::abbreviationVersion() const { return static_cast<std::uint32_t>(howToAbbreviate); }

void ItemCompare::abbreviate(Abbreviates how) { howToAbbreviate = how; }

std::uint64_t ItemCompare::comparisons() { return comparisonCount; }

ItemKey makeItem(const pstHandle<psObj>& near, std::int64_t number) {
  const Item* const item = number % 3 == 0 ? new (near) TextItem(number) : new (near) Item(number);
  return {item != nullptr ? item->psOid() : psId(), number};
}

}  // namespace ps::test
