#include "inspect/LibraryFields.h"

#include <map>

#include "arrays/psUnsortedArray.h"
#include "hash/psHashAdmin.h"
#include "hash/psHashBucket.h"
#include "hash/psHashChain.h"
#include "hash/psHashMapEntry.h"
#include "hash/psHashSet.h"
#include "list/psTreeList.h"
#include "list/psTreeListNode.h"
#include "sorted/psBTreeNode.h"
#include "sorted/psTreeMap.h"
#include "sorted/psTreeMapNode.h"
#include "sorted/psTreeSet.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {

namespace {

using Fields = std::vector<FieldShape>;

FieldShape field(const char* name, FieldKind kind, std::uint32_t offset, std::uint32_t size) {
  FieldShape shape;
  shape.name = name;
  shape.kind = kind;
  shape.offset = offset;
  shape.size = size;
  return shape;
}

FieldShape reference(const char* name, std::uint32_t offset) {
  return field(name, FieldKind::reference, offset, sizeof(psId));
}

FieldShape number(const char* name, std::uint32_t offset) {
  return field(name, FieldKind::signedInteger, offset, sizeof(int));
}

FieldShape references(const char* name, std::uint32_t offset) {
  FieldShape shape = field(name, FieldKind::array, offset, sizeof(psId));
  shape.parts.push_back(reference("", 0));
  return shape;
}

// docs/format.md has the same table.
std::map<unsigned int, Fields> allFields() {
  const Fields tree = {reference("elements", 8), reference("first", 16)};
  return {
      {psUnsortedArray::pstTypeN, {number("lastIndex", 8), references("entries", 16)}},
      {psBTree::pstTypeN, tree},
      {psBTreeNode::pstTypeN, {reference("parent", 24)}},
      {psTreeSet::pstTypeN, {reference("admin", 24), reference("comparator", 32)}},
      {psTreeMap::pstTypeN, {reference("values", 40)}},
      {psTreeMapNode::pstTypeN, {reference("values", 24), reference("parent", 32)}},
      {psTreeList::pstTypeN, {reference("admin", 24)}},
      {psTreeListNode::pstTypeN, {reference("parent", 24)}},
      {psTreeAdmin::pstTypeN,
       {reference("tree", 8), reference("nodeContainer", 16), reference("vArrayContainer", 24), number("nodeCount", 32),
        number("vArrayCount", 36), number("maxNodesPerContainer", 40), number("maxVArraysPerContainer", 44)}},
      {psHashAdmin::pstTypeN,
       {reference("set", 8), reference("bucketContainer", 16), number("bucketCount", 24),
        number("maxBucketsPerContainer", 28)}},
      {psHashSet::pstTypeN,
       {reference("admin", 8), reference("comparator", 16), number("slots", 24), number("depth", 28),
        references("directory", 32)}},
      {psHashBucket::pstTypeN,
       {number("depth", 8), number("chained", 12), number("unchained", 16), references("slots", 24)}},
      {psHashChain::pstTypeN, {references("entries", 8)}},
      {psHashMapEntry::pstTypeN, {reference("key", 8), reference("value", 16)}},
  };
}

}  // namespace

const std::vector<FieldShape>& fieldsOfLibraryClass(unsigned int typeN) {
  static const std::map<unsigned int, Fields> known = allFields();
  static const Fields none;
  const auto found = known.find(typeN);
  return found != known.end() ? found->second : none;
}

}  // namespace ps::detail
