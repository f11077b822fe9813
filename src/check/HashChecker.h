#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/CheckResult.h"
#include "hash/psHashChain.h"
#include "hash/psHashSet.h"

namespace ps::detail {

// Walks over a hash set or map and collects every fault of its structure. It uses none of the code with which the
// table's own operations walk. It hashes every key that exists.
class HashChecker {
 public:
  static CheckResult check(const pstHandle<psHashSet>& table, const ObjectSet& taken = {});

 private:
  HashChecker(const pstHandle<psHashSet>& table, const ObjectSet& taken) : taken_(taken), table_(table) {}

  void run();
  void visitDirectory(int depth);
  // Checks the bucket of the range of the directory that begins at first.
  void visitBucket(const pstHandle<psHashBucket>& bucket, std::uint32_t first);
  void visitSlot(const pstRef<psObj>& held, std::uint32_t slot);
  void visitChain(const pstHandle<psHashChain>& chain, std::uint32_t slot);
  void visitStored(const pstRef<psObj>& stored, std::uint32_t slot);
  // Has the place of a key checked that is in a slot of the current bucket.
  void checkLater(const pstRef<psObj>& key, std::uint32_t slot);
  void checkNoted();

  void complain(const psId& id, const std::string& what);
  // Notes an object that lies in the container of the current bucket and belongs to no other part. False when something
  // owns it already, or it is taken.
  bool own(const psId& id);

  // A key, and where it is. Keys lie in the table in an order that has nothing to do with that in the store. So many
  // are noted, and then checked in the order in which they are stored, by which a page is read once for all its keys.
  struct NotedKey {
    psId key;
    std::uint32_t slot;
    std::uint32_t bucketBits;  // the first bits of its hash, as many as the bucket uses
    int bucketDepth;
  };
  static constexpr std::size_t mostNoted = std::size_t{1} << 20;
  void checkHash(const NotedKey& noted);

  CheckResult result_;
  const ObjectSet& taken_;
  std::vector<NotedKey> noted_;
  pstHandle<psHashSet> table_;
  bool isMap_ = false;
  bool canHash_ = false;
  unsigned int elementTypeN_ = psObj::pstTypeN;  // of its keys
  std::uint32_t slots_ = 0;                      // in a bucket
  int depth_ = 0;
  // Of the current bucket.
  std::uint32_t first_ = 0;
  int bucketDepth_ = 0;
  psId container_;
  int chained_ = 0;
  int unchained_ = 0;
};

}  // namespace ps::detail
