#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "inspect/psHashInfo.h"

namespace pscol::picture {

// How many elements are in slots that 1, 2, 3… elements share.
using Sharing = std::vector<double>;  // [k] is for k elements; [0] is 0

// What tells whether the hashes of a table are even, gathered bucket by bucket.
class HashTally {
 public:
  void add(const psBucketInfo& bucket);

  // The smallest share of all hashes that half of the elements have. An even hash comes near 0.5.
  double hashesOfHalf() const;
  // Buckets that are more than 9 tenths full. They were to be split, but no bit divides what they hold.
  std::uint64_t overfullBuckets() const { return overfull_; }
  // What an even hash would make of the same buckets.
  Sharing evenSharing() const;

  static Sharing sharingOf(const psHashInfo& table);

 private:
  struct Size {
    std::uint32_t slots;
    std::uint32_t elements;
    bool operator<(const Size& other) const {
      return slots != other.slots ? slots < other.slots : elements < other.elements;
    }
  };
  // Buckets are about equally dense when their depth and number of elements are the same.
  struct Kind {
    int depth;
    std::uint32_t elements;
    bool operator<(const Kind& other) const {
      return depth != other.depth ? depth < other.depth : elements < other.elements;
    }
  };

  std::map<Size, std::uint64_t> bySize_;
  std::map<Kind, std::uint64_t> byKind_;
  std::uint64_t elements_ = 0;
  std::uint64_t overfull_ = 0;
};

}  // namespace pscol::picture
