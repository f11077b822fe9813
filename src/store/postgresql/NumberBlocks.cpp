#include "store/postgresql/NumberBlocks.h"

#include <algorithm>

#include "store/postgresql/ServerErrors.h"
#include "store/postgresql/WireBytes.h"

namespace ps::detail {

std::uint32_t NumberBlocks::take(const std::string& key, std::uint32_t next) {
  Block& block = blocks_[key];
  if (block.next == block.end && !reserve(key, next, block)) return 0;
  if (std::find(taken_.begin(), taken_.end(), key) == taken_.end()) {
    taken_.push_back(key);
    block.given = block.next;
  }
  return block.next++;
}

// Where a block is not enough for a transaction, the next one begins behind it or behind the numbers of others: then
// what is left over after an abort is not in one piece, and lost.
bool NumberBlocks::reserve(const std::string& key, std::uint32_t next, Block& block) {
  constexpr std::uint32_t largest = 64;
  const std::uint32_t size = std::min(2 * block.size, largest);
  std::vector<Result> results;
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!own_.isOpen() && !own_.open(main_.place(), error_)) return false;
    own_.connection().send("reserve", {key, number32(next), number32(size)});
    if (own_.connection().receive(results)) break;
    error_ = explain(own_.connection().error());
    own_.close();
    results.clear();
  }
  if (results.empty() || results.front().rows() != 1) return false;
  block.next = static_cast<std::uint32_t>(numberIn(results.front().field(0, 0)));
  block.end = block.next + size;
  block.given = block.next;
  block.size = size;
  return true;
}

void NumberBlocks::afterCommit() { taken_.clear(); }

void NumberBlocks::afterAbort() {
  for (const std::string& key : taken_) {
    const auto found = blocks_.find(key);
    if (found != blocks_.end()) found->second.next = found->second.given;
  }
  taken_.clear();
}

}  // namespace ps::detail
