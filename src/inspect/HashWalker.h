#pragma once

#include <cstdint>
#include <string>

#include "hash/HashAccess.h"
#include "inspect/PartCount.h"
#include "inspect/StoredSizes.h"
#include "inspect/psInspector.h"

namespace ps::detail {

// Walks over the buckets of a hash table, in the order of its directory, and trusts none of them.
class HashWalker {
 public:
  HashWalker(Engine& engine, psHashInfo& found, const psInspector::BucketVisitor& visit,
             const psInspector::ElementVisitor& visitElement)
      : sizes_(engine), found_(found), visit_(visit), visitElement_(visitElement) {}

  // False, with the reason in complaint(), when the table's own object or its directory cannot be read.
  bool run(const pstHandle<psHashSet>& table);
  const std::string& complaint() const { return complaint_; }

 private:
  std::string look(const psHashSet& table);
  void walk(const HashAccess::Directory& directory);
  std::string lookAt(const pstHandle<psHashBucket>& bucket, psBucketInfo& info);
  void countSlot(const psId& held, std::uint32_t slot, psBucketInfo& info);
  void countChain(const pstHandle<psHashChain>& chain, std::uint32_t slot, psBucketInfo& info);
  void countStored(const psId& stored, std::uint32_t slot, psBucketInfo& info);
  bool deliver(const psBucketInfo& info);

  StoredSizes sizes_;
  PartCount parts_;
  psHashInfo& found_;
  const psInspector::BucketVisitor& visit_;
  const psInspector::ElementVisitor& visitElement_;
  bool goes_ = true;
  bool isMap_ = false;
  std::string complaint_;
};

}  // namespace ps::detail
