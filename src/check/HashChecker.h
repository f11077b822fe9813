#pragma once

#include <cstdint>
#include <string>

#include "check/CheckResult.h"
#include "hash/psHashChain.h"
#include "hash/psHashSet.h"

namespace ps::detail {

// Walks over a hash set or map and collects every fault of its structure. It uses none of the code with which the
// table's own operations walk. It hashes every key that exists.
class HashChecker {
 public:
  static CheckResult check(const pstHandle<psHashSet>& table);

 private:
  explicit HashChecker(const pstHandle<psHashSet>& table) : table_(table) {}

  void run();
  void visitDirectory(int depth);
  // Checks the bucket of the range of the directory that begins at first.
  void visitBucket(const pstHandle<psHashBucket>& bucket, std::uint32_t first);
  void visitSlot(const pstRef<psObj>& held, std::uint32_t slot);
  void visitChain(const pstHandle<psHashChain>& chain, std::uint32_t slot);
  void visitStored(const pstRef<psObj>& stored, std::uint32_t slot);
  void checkHash(const pstHandle<psObj>& key, std::uint32_t slot);

  void complain(const psId& id, const std::string& what);
  // Notes an object that lies in the container of the current bucket and belongs to no other part.
  void own(const psId& id);

  CheckResult result_;
  pstHandle<psHashSet> table_;
  bool isMap_ = false;
  std::uint32_t slots_ = 0;  // in a bucket
  int depth_ = 0;
  // Of the current bucket.
  std::uint32_t first_ = 0;
  int bucketDepth_ = 0;
  psId container_;
  int chained_ = 0;
  int unchained_ = 0;
};

}  // namespace ps::detail
