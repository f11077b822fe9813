#include "store/postgresql/GuardGroups.h"

#include <xxhash.h>

#include "store/engine/StoreKey.h"
#include "store/postgresql/TransactionSets.h"

namespace ps::detail {

namespace {

// How many bytes at the beginning of a key tell its group.
std::size_t groupSize(char kind) {
  constexpr std::size_t number = 2;
  switch (kind) {
    case 'P':
    case StoreKey::byName:
    case StoreKey::byObject:
    case StoreKey::byObjectInFormat1:
      return 1 + 2 * number;  // database and container, of the page, the scope or the object
    case 'A':
    case 'C':
      return 1 + number;  // the database
    default:
      return 1;
  }
}

}  // namespace

std::uint32_t GuardGroups::rowOf(std::string_view key) {
  const std::string_view group = key.substr(0, key.empty() ? 0 : groupSize(key[0]));
  return static_cast<std::uint32_t>(XXH3_64bits(group.data(), group.size()) % rows);
}

void GuardGroups::guard(std::string_view first, std::string_view last) {
  const std::size_t size = first.empty() ? 0 : groupSize(first[0]);
  if (size != 0 && first.size() >= size && last <= behindPrefix(first.substr(0, size))) {
    guarded_.insert(rowOf(first));
    return;
  }
  for (std::uint32_t row = 0; row < rows; ++row) guarded_.insert(row);
}

std::set<std::uint32_t> GuardGroups::all() const {
  std::set<std::uint32_t> rowsOfAll = entered_;
  rowsOfAll.insert(guarded_.begin(), guarded_.end());
  return rowsOfAll;
}

}  // namespace ps::detail
