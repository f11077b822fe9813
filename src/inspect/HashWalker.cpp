#include "inspect/HashWalker.h"

#include "check/CheckedOpen.h"
#include "hash/psHashMap.h"
#include "hash/psHashMapEntry.h"
#include "store/base/IdText.h"

namespace ps::detail {

namespace {

void countSharing(std::vector<std::uint32_t>& sharing, std::size_t elements) {
  if (sharing.size() <= elements) sharing.resize(elements + 1);
  ++sharing[elements];
}

}  // namespace

bool HashWalker::run(const pstHandle<psHashSet>& table) {
  found_.id = table.oid();
  if (!opensAs(table)) {
    complaint_ = "cannot be read";
    return false;
  }
  const psHashSet& opened = *table;
  isMap_ = opened.psIsKindOf(psHashMap::pstTypeN);
  complaint_ = look(opened);
  if (!complaint_.empty()) return false;
  found_.bytes = sizes_.of(table.oid()) + sizes_.of(found_.admin);
  walk(HashAccess::directory(opened));
  found_.containers = parts_.containers();
  return true;
}

// Why the table says nothing of its buckets, as the rest of a sentence.
std::string HashWalker::look(const psHashSet& table) {
  found_.admin = table.admin().oid();
  found_.comparator = table.comparator().oid();
  found_.depth = HashAccess::depth(table);
  const int slots = HashAccess::slotsPerBucket(table);
  if (found_.depth == incompleteDepth) return "was not constructed to the end";
  if (slots < 1 || found_.depth < 0 || found_.depth > deepestDirectory)
    return "has a depth or a number of slots that no table has";
  found_.slots = static_cast<std::uint32_t>(slots);
  if (HashAccess::directory(table).size() != 1U << found_.depth) return "has a directory that cannot be read";
  return {};
}

// A bucket stands in a range of the directory.
void HashWalker::walk(const HashAccess::Directory& directory) {
  const std::uint32_t places = directory.size();
  for (std::uint32_t i = 0; i < places && goes_;) {
    psBucketInfo info;
    info.id = directory[i].oid();
    info.first = i;
    std::uint32_t end = i + 1;
    while (end < places && directory[end].oid() == info.id) ++end;
    info.places = end - i;
    info.complaint = lookAt(pstHandle<psHashBucket>(info.id), info);
    goes_ = deliver(info) && goes_;
    i = end;
  }
}

std::string HashWalker::lookAt(const pstHandle<psHashBucket>& bucket, psBucketInfo& info) {
  if (!opensAs(bucket)) return "is no bucket that can be read";
  if (!parts_.add(bucket.oid())) return "stands in the directory twice";
  const psHashBucket& opened = *bucket;
  info.depth = HashAccess::depth(opened);
  if (info.depth < 0 || info.depth > found_.depth) return "has a depth that no bucket of the table has";
  const HashAccess::Entries& slots = HashAccess::entries(opened);
  if (slots.size() == 0) return "has slots that cannot be read";
  info.slots = slots.size();
  info.bytes = sizes_.of(bucket.oid());
  for (std::uint32_t i = 0; i < slots.size(); ++i) countSlot(slots[i].oid(), i, info);
  return info.complaint;
}

void HashWalker::countSlot(const psId& held, std::uint32_t slot, psBucketInfo& info) {
  const pstHandle<psHashChain> chain(held);
  if (held.isNull()) return countSharing(info.sharing, 0);
  if (chain.typeN() == psHashChain::pstTypeN) return countChain(chain, slot, info);
  countSharing(info.sharing, 1);
  countStored(held, slot, info);
}

void HashWalker::countChain(const pstHandle<psHashChain>& chain, std::uint32_t slot, psBucketInfo& info) {
  if (!opensAs(chain) || !parts_.add(chain.oid()) || chain->size() == 0) {
    info.complaint = "has " + textOf(chain.oid()) + ", a chain that cannot be read";
    return;
  }
  const HashAccess::Entries& entries = HashAccess::entries(static_cast<const psHashChain&>(*chain));
  ++info.chains;
  info.bytes += sizes_.of(chain.oid());
  countSharing(info.sharing, entries.size());
  for (std::uint32_t i = 0; i < entries.size(); ++i) countStored(entries[i].oid(), slot, info);
}

// A map's entries are its own.
void HashWalker::countStored(const psId& stored, std::uint32_t slot, psBucketInfo& info) {
  ++info.elements;
  if (isMap_) info.bytes += sizes_.of(stored);
  if (visitElement_ == nullptr || !goes_) return;
  psElementInfo element{stored, {}, info.id, slot};
  const pstHandle<psHashMapEntry> entry(isMap_ ? stored : psId());
  if (isMap_ && (entry.typeN() != psHashMapEntry::pstTypeN || !opensAs(entry))) {
    info.complaint = "has " + textOf(stored) + ", an entry that cannot be read";
    return;
  }
  if (isMap_) {
    element.element = entry->key().oid();
    element.value = entry->value().oid();
  }
  goes_ = visitElement_(element);
}

bool HashWalker::deliver(const psBucketInfo& info) {
  ++found_.parts;
  found_.bytes += info.bytes;
  if (!info.isReadable()) ++found_.unreadable;
  found_.elements += info.elements;
  found_.chains += info.chains;
  if (found_.sharing.size() < info.sharing.size()) found_.sharing.resize(info.sharing.size());
  for (std::size_t i = 0; i < info.sharing.size(); ++i) found_.sharing[i] += info.sharing[i];
  if (info.slots != 0) {
    const auto depth = static_cast<std::size_t>(info.depth);
    if (found_.bucketsByDepth.size() <= depth) found_.bucketsByDepth.resize(depth + 1);
    ++found_.bucketsByDepth[depth];
  }
  return visit_ == nullptr || visit_(info);
}

}  // namespace ps::detail
