#include "store/engine/LmdbPage.h"

#include <algorithm>

namespace ps::detail {

const char* LmdbPage::faultOf(std::uint64_t number, bool isLeaf, std::vector<std::uint32_t>& places) const {
  if (this->number() != number) return "has the number of another page";
  if (flags() != (isLeaf ? leafFlag : branchFlag)) return isLeaf ? "is not a leaf" : "is not a branch";
  if (lower() < headSize || lower() % 2 != 0 || lower() > upper() || upper() > bytes_.size())
    return "has bounds that contradict each other";
  if (entries() == 0) return "is empty";
  return faultOfPlaces(places);
}

// Nodes fill the end of their page without gaps, in any order.
const char* LmdbPage::faultOfPlaces(std::vector<std::uint32_t>& places) const {
  places.clear();
  for (std::size_t i = 0; i < entries(); ++i) {
    const std::size_t node = nodeAt(i);
    if (node < upper() || node % 2 != 0 || node + nodeHeadSize > bytes_.size()) return "has an entry out of its bounds";
    const std::uint16_t flags = load<std::uint16_t>(node + 4);
    if (isLeaf() && flags != 0 && flags != valueInOverflow) return "has an entry of an unknown kind";
    places.push_back(static_cast<std::uint32_t>(node));
  }
  std::sort(places.begin(), places.end());
  std::size_t end = upper();
  for (const std::uint32_t node : places) {
    if (node != end) return "has entries that overlap";
    const std::size_t size = nodeSizeAt(node);
    if (size > bytes_.size() - node) return "has an entry that is too long";
    end = node + (size + 1) / 2 * 2;
  }
  return end == bytes_.size() ? nullptr : "has a gap between its entries";
}

std::size_t LmdbPage::nodeSizeAt(std::size_t node) const {
  const std::size_t head = nodeHeadSize + load<std::uint16_t>(node + 6);
  if (!isLeaf()) return head;
  return head + (load<std::uint16_t>(node + 4) == valueInOverflow ? sizeof(std::uint64_t) : valueSizeAt(node));
}

LmdbPage::Entry LmdbPage::entry(std::size_t index) const {
  const std::size_t node = nodeAt(index);
  const auto flags = load<std::uint16_t>(node + 4);
  const std::size_t keySize = load<std::uint16_t>(node + 6);
  const std::size_t body = node + nodeHeadSize;
  Entry entry;
  entry.key = bytes_.substr(body, keySize);
  if (!isLeaf()) {
    entry.child = valueSizeAt(node) | std::uint64_t{flags} << 32;
  } else if (flags == valueInOverflow) {
    entry.isOverflow = true;
    entry.overflow = load<std::uint64_t>(body + keySize);
    entry.overflowSize = valueSizeAt(node);
  } else {
    entry.value = bytes_.substr(body + keySize, valueSizeAt(node));
  }
  return entry;
}

}  // namespace ps::detail
