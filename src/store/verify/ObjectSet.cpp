#include "store/verify/ObjectSet.h"

namespace ps::detail {

bool ObjectSet::insert(const psId& id) {
  const std::uint64_t number = orderOf(id);
  const std::uint64_t bit = std::uint64_t{1} << number % bitsInWord;
  std::uint64_t& word = blocks_[number / bitsInBlock][number % bitsInBlock / bitsInWord];
  const bool isNew = (word & bit) == 0;
  word |= bit;
  return isNew;
}

bool ObjectSet::contains(const psId& id) const {
  const std::uint64_t number = orderOf(id);
  const auto found = blocks_.find(number / bitsInBlock);
  return found != blocks_.end() && (found->second[number % bitsInBlock / bitsInWord] >> number % bitsInWord & 1) != 0;
}

void ObjectSet::insertAll(const ObjectSet& other) {
  for (const auto& [block, bits] : other.blocks_) {
    Block& mine = blocks_[block];
    for (unsigned i = 0; i < bits.size(); ++i) mine[i] |= bits[i];
  }
}

}  // namespace ps::detail
