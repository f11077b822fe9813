#include "StoredItem.h"

PS_REGISTER_CLASS(StoredItem)
PS_REGISTER_CLASS(ItemCompare)

namespace {

// Zero for what cannot be opened, which the collection notices by itself.
std::uint64_t keyOf(const pstHandle<psObj>& element) {
  const auto* const item = static_cast<const StoredItem*>(element.operator->());
  return item != nullptr ? item->key() : 0;
}

int order(std::uint64_t a, std::uint64_t b) { return (a > b) - (a < b); }

// Collections keep the first 32 bits.
int foldedHash(std::uint64_t key) { return static_cast<int>(hashOf(key) >> 32); }

}  // namespace

int ItemCompare::compare(const pstHandle<psObj>& element, const void*& key) const {
  return order(keyOf(element), numberAt(key));
}

int ItemCompare::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const {
  return order(keyOf(element), keyOf(other));
}

int ItemCompare::hash(const void*& key) const { return foldedHash(numberAt(key)); }

int ItemCompare::hash(const pstHandle<psObj>& element) const { return foldedHash(keyOf(element)); }

std::uint64_t ItemCompare::abbreviation(const void*& key) const { return ps::abbreviationOf(numberAt(key)); }

std::uint64_t ItemCompare::abbreviation(const pstHandle<psObj>& element) const {
  return ps::abbreviationOf(keyOf(element));
}
