#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/psCollectionInfo.h"
#include "store/base/psId.h"

// A bucket of a hash set or hash map. It has the elements whose hashes begin with the same bits.
struct psBucketInfo {
  psId id;
  std::uint32_t first = 0;   // its place in the directory, from 0; that is where its range begins
  std::uint32_t places = 1;  // that it takes in the directory
  int depth = 0;             // bits that its elements' hashes have in common
  std::uint32_t slots = 0;
  std::uint32_t elements = 0;
  std::uint32_t chains = 0;
  // sharing[k] is the number of slots that hold k elements, from k = 0 up to the longest chain.
  std::vector<std::uint32_t> sharing;
  std::uint64_t bytes = 0;  // that it takes in the store's records, with its chains and, in a map, entries
  std::string complaint;    // why it, or a part of it, cannot be read, as the rest of a sentence; "" when all can

  bool isReadable() const { return complaint.empty(); }
};

// The structure of a hash set or hash map, as psInspector::table tells it.
struct psHashInfo : psCollectionInfo {
  int depth = 0;            // of the directory, which has 2^depth places
  std::uint32_t slots = 0;  // of a bucket
  std::uint64_t chains = 0;
  std::vector<std::uint64_t> bucketsByDepth;  // [d] is the number of buckets of depth d
  std::vector<std::uint64_t> sharing;         // as in psBucketInfo, for all buckets
};
