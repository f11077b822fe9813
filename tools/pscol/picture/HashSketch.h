#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/psHashInfo.h"
#include "pscol/picture/HashTally.h"

namespace pscol::picture {

// What a picture needs of the buckets of a hash table. They are added in the order of the directory, as
// psInspector::table visits them.
class HashSketch {
 public:
  struct Bucket {
    psId id;
    std::uint32_t first = 0;  // its places in the directory
    std::uint32_t places = 1;
    std::uint32_t slots = 0;
    std::uint32_t elements = 0;
    std::uint32_t chains = 0;
    std::int8_t depth = 0;
    bool isReadable = true;

    double fill() const { return slots == 0 ? 0 : static_cast<double>(elements) / slots; }
  };

  void add(const psBucketInfo& bucket) {
    tally_.add(bucket);
    buckets_.push_back({bucket.id, bucket.first, bucket.places, bucket.slots, bucket.elements, bucket.chains,
                        static_cast<std::int8_t>(bucket.depth), bucket.isReadable()});
  }

  const std::vector<Bucket>& buckets() const { return buckets_; }
  const HashTally& tally() const { return tally_; }

 private:
  std::vector<Bucket> buckets_;
  HashTally tally_;
};

}  // namespace pscol::picture
