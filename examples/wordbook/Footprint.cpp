#include "Footprint.h"

#include <algorithm>
#include <memory>
#include <set>

namespace {

std::uint64_t elementsOf(const psCollection& collection) {
  return static_cast<std::uint64_t>(std::max(collection.size(), 0));
}

std::uint64_t bytesOfReferences(int count) { return static_cast<std::uint64_t>(count) * sizeof(pstRef<psObj>); }

// The arrays of a node: its elements and, in a map's leaf, their values.
std::uint64_t bytesOfArrays(const psBTree& node) {
  std::uint64_t bytes = sizeof(psSortedArray) + bytesOfReferences(node.maxNumberOfChildren());
  const pstHandle<psUnsortedArray> values(node.values());
  if (values.open(pscRead) == 1) bytes += sizeof(psUnsortedArray) + bytesOfReferences(values->size());
  return bytes;
}

// Walks along one level after the other, from the leaves up to the root, which is the collection itself.
template <class Tree, class Node>
Footprint footprintOfTree(const Tree& tree) {
  Footprint result;
  result.elements = elementsOf(tree);
  for (pstHandle<psBTree> first(tree.atFirst()); first.open(pscRead) == 1; first = first->parent()) {
    ++result.depth;
    for (pstHandle<psBTree> node(first); node.open(pscRead) == 1; node = node->next()) {
      ++result.parts;
      result.bytes += bytesOfArrays(*node) + (node == tree.psOid() ? sizeof(Tree) : sizeof(Node));
    }
  }
  return result;
}

// Adds the buckets that lie in the container, with their chains and entries.
void addBuckets(const pstHandle<psContObj>& container, int slots, Footprint& footprint) {
  pstItr<psHashBucket> bucket;
  bucket.scan(container, pscRead);
  while (bucket.next()) {
    ++footprint.parts;
    footprint.bytes += sizeof(psHashBucket) + bytesOfReferences(slots);
  }
  pstItr<psHashChain> chain;
  chain.scan(container, pscRead);
  while (chain.next()) footprint.bytes += sizeof(psHashChain) + bytesOfReferences(chain->size());
  pstItr<psHashMapEntry> entry;
  entry.scan(container, pscRead);
  while (entry.next()) footprint.bytes += sizeof(psHashMapEntry);
}

}  // namespace

Footprint& Footprint::operator+=(const Footprint& other) {
  elements += other.elements;
  depth = std::max(depth, other.depth);
  parts += other.parts;
  bytes += other.bytes;
  return *this;
}

Footprint footprintOf(const psTreeMap& map) { return footprintOfTree<psTreeMap, psTreeMapNode>(map); }

Footprint footprintOf(const psTreeList& list) { return footprintOfTree<psTreeList, psTreeListNode>(list); }

// Entries lie in the containers of their buckets. The first bucket of a map without entries lies where the
// administrator put it.
Footprint footprintOf(const psHashMap& map, int slots) {
  Footprint result;
  result.elements = elementsOf(map);
  std::set<std::uint64_t> visited;
  const auto visit = [&](const pstHandle<psContObj>& container) {
    if (visited.insert(container.oid().bits()).second) addBuckets(container, slots, result);
  };
  const pstHandle<psHashAdmin> admin(map.admin());
  if (admin.open(pscRead) == 1) visit(pstHandle<psContObj>(admin->bucketContainer()));
  const std::unique_ptr<psCollectionIterator> position(map.iterator());
  while (position->hasNext()) {
    const pstRef<psObj> entry = position->next(pscNoLock);
    if (entry.isNull()) break;
    visit(entry.containedIn());
  }
  return result;
}
