#include "pscol/picture/HashTally.h"

#include <algorithm>
#include <cmath>

namespace pscol::picture {

void HashTally::add(const psBucketInfo& bucket) {
  if (bucket.slots == 0) return;
  ++bySize_[{bucket.slots, bucket.elements}];
  ++byKind_[{bucket.depth, bucket.elements}];
  elements_ += bucket.elements;
  if (std::uint64_t{bucket.elements} * 10 > std::uint64_t{bucket.slots} * 9 + 9) ++overfull_;
}

double HashTally::hashesOfHalf() const {
  struct Part {
    double density;
    double hashes;
    double elements;
  };
  std::vector<Part> parts;
  for (const auto& [kind, buckets] : byKind_) {
    const double hashes = static_cast<double>(buckets) * std::exp2(-kind.depth);
    const double elements = static_cast<double>(buckets) * kind.elements;
    parts.push_back({elements / hashes, hashes, elements});
  }
  std::sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.density > b.density; });
  double missing = static_cast<double>(elements_) / 2;
  double hashes = 0;
  for (const Part& part : parts) {
    if (part.elements >= missing) return hashes + (part.elements == 0 ? 0 : part.hashes * missing / part.elements);
    missing -= part.elements;
    hashes += part.hashes;
  }
  return hashes;
}

// In a bucket of n elements and m slots, the others of a slot's element are distributed binomially.
Sharing HashTally::evenSharing() const {
  constexpr std::uint32_t longest = 60;
  Sharing sharing(longest + 1);
  for (const auto& [size, buckets] : bySize_) {
    if (size.elements == 0) continue;
    const double hit = 1.0 / size.slots;
    const double miss = 1 - hit;
    double elements = static_cast<double>(buckets) * size.elements * std::pow(miss, size.elements - 1);
    for (std::uint32_t k = 1; k <= std::min(size.elements, longest); ++k) {
      sharing[k] += elements;
      if (miss == 0) break;
      elements *= hit / miss * (size.elements - k) / k;
    }
  }
  return sharing;
}

Sharing HashTally::sharingOf(const psHashInfo& table) {
  Sharing sharing(std::max<std::size_t>(table.sharing.size(), 1));
  for (std::size_t k = 0; k < table.sharing.size(); ++k)
    sharing[k] = static_cast<double>(table.sharing[k]) * static_cast<double>(k);
  return sharing;
}

}  // namespace pscol::picture
