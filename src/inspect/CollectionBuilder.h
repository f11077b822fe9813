#pragma once

#include <string>

#include "hash/psHashMap.h"
#include "inspect/psStoreBuilder.h"
#include "tree/psBTree.h"

namespace ps::detail {

// Makes collections of their elements, in the objects that the current session's store has for them. It compares and
// hashes nothing: the elements come in their order, and with their places.
class CollectionBuilder {
 public:
  // False, with the reason in complaint() or signalled, when something cannot be made.
  bool build(const psTreeContent& tree);
  bool build(const psTableContent& content);
  const std::string& complaint() const { return complaint_; }

 private:
  bool construct(const psTreeContent& tree, const pstHandle<psBTree>& root);
  bool fill(psBTree& root, const psTreeContent& tree);
  bool construct(const psTableContent& content, const pstHandle<psHashSet>& table);
  bool provideBuckets(psHashSet& table, const psTableContent& content);
  bool fill(psHashSet& table, const psTableContent& content, const psTableContent::Bucket& bucket);
  bool insert(const pstHandle<psHashBucket>& bucket, bool isMap, const psTableContent::Bucket::Element& element);
  bool refuse(const psId& id, const char* what);

  std::string complaint_;
};

}  // namespace ps::detail
