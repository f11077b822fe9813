#include "inspect/CollectionBuilder.h"

#include <new>

#include "check/CheckedOpen.h"
#include "core/Containers.h"
#include "hash/HashAccess.h"
#include "hash/psHashMapEntry.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/base/IdText.h"
#include "tree/NodeEdit.h"
#include "tree/TreeAppender.h"

namespace ps::detail {

namespace {

std::vector<pstRef<psObj>> referencesTo(const std::vector<psId>& ids) { return {ids.begin(), ids.end()}; }

pstHandle<psContObj> container(const psId& id) {
  const pstHandle<psContObj> handle(id);
  return !id.isNull() && handle.isValid() ? handle : pstHandle<psContObj>();
}

// Opens the object of a collection, in which nothing is but its fields, for its construction.
template <class T>
void* openRaw(const pstHandle<T>& object) {
  if (!opensAs(object) || object.open(pscUpdate) != 1) return nullptr;
  return const_cast<void*>(static_cast<const void*>(object.operator->()));
}

}  // namespace

bool CollectionBuilder::refuse(const psId& id, const char* what) {
  complaint_ = textOf(id) + ' ' + what;
  return false;
}

bool CollectionBuilder::build(const psTreeContent& tree) {
  const pstHandle<psBTree> root(tree.id);
  if (!construct(tree, root)) return refuse(tree.id, "cannot be made a collection");
  const pstHandle<psTreeAdmin> admin(root->admin().oid());
  if (!opensAs(admin)) return refuse(tree.id, "has got no administrator");
  admin->setMaxNodesPerContainer(tree.nodesPerContainer);
  admin->setMaxVArraysPerContainer(tree.arraysPerContainer);
  if (const pstHandle<psContObj> nodes = container(tree.nodeContainer); !nodes.isNull()) admin->nodeContainer(nodes);
  return fill(*root, tree) || refuse(tree.id, "cannot take its elements");
}

bool CollectionBuilder::construct(const psTreeContent& tree, const pstHandle<psBTree>& root) {
  void* const place = openRaw(root);
  const pstHandle<psCompare> comparator(tree.comparator);
  const pstHandle<psContObj> admin = container(tree.adminContainer);
  const pstHandle<psContObj> arrays = container(tree.arrayContainer);
  if (place == nullptr) return false;
  switch (tree.kind) {
    case psCollectionKind::list:
      return !(::new (place) psTreeList(tree.capacity, admin, arrays))->admin().isNull();
    case psCollectionKind::sortedSet:
      return !(::new (place) psTreeSet(comparator, tree.capacity, admin, arrays))->admin().isNull();
    case psCollectionKind::sortedMap:
      return !(::new (place) psTreeMap(comparator, tree.capacity, admin, arrays))->admin().isNull();
    default:
      return false;
  }
}

bool CollectionBuilder::fill(psBTree& root, const psTreeContent& tree) {
  const std::vector<pstRef<psObj>> elements = referencesTo(tree.elements);
  const std::vector<pstRef<psObj>> values = referencesTo(tree.values);
  if (elements.empty()) return true;
  if (tree.kind == psCollectionKind::list)
    return static_cast<psTreeList&>(root).append(elements.data(), static_cast<int>(elements.size())) ==
           static_cast<int>(elements.size());
  const auto valueOf = [&values](std::size_t i) { return i < values.size() ? values[i] : pstRef<psObj>(); };
  {
    NodeEdit first(root);
    if (!first.isOpen() || !first.openMark()) return false;
    first.insert(0, elements[0], valueOf(0), {});
    first.renewMark();
  }
  TreeAppender appender(root);
  for (std::size_t i = 1; i < elements.size(); ++i) {
    if (!appender.append(elements[i], valueOf(i))) return false;
  }
  return true;
}

bool CollectionBuilder::build(const psTableContent& content) {
  const pstHandle<psHashSet> table(content.id);
  if (!construct(content, table)) return refuse(content.id, "cannot be made a hash table");
  const pstHandle<psHashAdmin> admin(table->admin().oid());
  if (!opensAs(admin)) return refuse(content.id, "has got no administrator");
  admin->setMaxBucketsPerContainer(content.bucketsPerContainer);
  if (const pstHandle<psContObj> buckets = container(content.bucketContainer); !buckets.isNull())
    admin->bucketContainer(buckets);
  if (!provideBuckets(*table, content)) return refuse(content.id, "cannot have its buckets");
  for (const psTableContent::Bucket& bucket : content.buckets) {
    if (!fill(*table, content, bucket)) return refuse(content.id, "cannot take its elements");
  }
  return true;
}

bool CollectionBuilder::construct(const psTableContent& content, const pstHandle<psHashSet>& table) {
  void* const place = openRaw(table);
  const pstHandle<psCompare> comparator(content.comparator);
  const pstHandle<psContObj> admin = container(content.adminContainer);
  const pstHandle<psContObj> buckets = container(content.bucketContainer);
  if (place == nullptr || content.depth < 0 || content.depth > deepestDirectory) return false;
  if (content.kind == psCollectionKind::hashSet)
    return !(::new (place) psHashSet(comparator, content.slots, 1, admin, buckets))->admin().isNull();
  return content.kind == psCollectionKind::hashMap &&
         !(::new (place) psHashMap(comparator, content.slots, 1, admin, buckets))->admin().isNull();
}

// Each bucket stands in the range of the directory that its depth gives it. Ranges of which nothing is known get a
// bucket for each of their places.
bool CollectionBuilder::provideBuckets(psHashSet& table, const psTableContent& content) {
  const pstHandle<psHashAdmin> admin(table.admin().oid());
  HashAccess::Directory& directory = HashAccess::directory(table);
  deletePart(pstHandle<psObj>(directory[0]));
  const std::uint32_t places = std::uint32_t{1} << content.depth;
  if (directory.resize(places) != 1) return false;
  HashAccess::depth(table) = content.depth;
  std::size_t next = 0;
  for (std::uint32_t at = 0; at < places;) {
    const bool isKnown = next < content.buckets.size() && content.buckets[next].first == at;
    const int depth = isKnown ? content.buckets[next++].depth : content.depth;
    if (depth < 0 || depth > content.depth) return false;
    const std::uint32_t length = std::uint32_t{1} << (content.depth - depth);
    if (at % length != 0) return false;
    const pstHandle<psHashBucket> bucket(new (admin->provideBucketContainer())
                                             psHashBucket(depth, HashAccess::slotsPerBucket(table)));
    if (bucket.isNull()) return false;
    for (std::uint32_t i = 0; i < length; ++i) *directory.elem(at + i) = bucket;
    at += length;
  }
  return next == content.buckets.size();
}

bool CollectionBuilder::fill(psHashSet& table, const psTableContent& content, const psTableContent::Bucket& bucket) {
  const pstHandle<psHashBucket> into(HashAccess::directory(static_cast<const psHashSet&>(table))[bucket.first]);
  for (const psTableContent::Bucket::Element& element : bucket.elements) {
    if (!insert(into, psIsMap(content.kind), element)) return false;
  }
  return true;
}

bool CollectionBuilder::insert(const pstHandle<psHashBucket>& bucket, bool isMap,
                               const psTableContent::Bucket::Element& element) {
  if (bucket.open(pscUpdate) != 1) return false;
  HashAccess::Entries& slots = HashAccess::entries(*bucket);
  if (element.slot >= slots.size()) return false;
  pstHandle<psObj> stored(element.element);
  if (isMap) stored = pstHandle<psObj>(new (bucket) psHashMapEntry(pstRef<psObj>(element.element), element.value));
  if (stored.isNull()) return false;
  const pstHandle<psObj> there(slots[element.slot]);
  if (there.isNull()) {
    *slots.elem(element.slot) = stored;
    ++HashAccess::unchained(*bucket);
    return true;
  }
  const pstHandle<psHashChain> chain(there);
  if (there.typeN() == psHashChain::pstTypeN) {
    ++HashAccess::chained(*bucket);
    return chain.open(pscUpdate) == 1 && HashAccess::entries(*chain).extend(stored) == 1;
  }
  const pstHandle<psObj> made(new (bucket) psHashChain(there, stored));
  if (made.isNull()) return false;
  *slots.elem(element.slot) = made;
  --HashAccess::unchained(*bucket);
  HashAccess::chained(*bucket) += 2;
  return true;
}

}  // namespace ps::detail
