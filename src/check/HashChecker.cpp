#include "check/HashChecker.h"

#include <utility>

#include "hash/HashAccess.h"
#include "hash/psHashMap.h"
#include "store/base/IdText.h"

namespace ps::detail {

namespace {

constexpr int bitsOfHash = 32;

}  // namespace

CheckResult HashChecker::check(const pstHandle<psHashSet>& table) {
  HashChecker checker(table);
  checker.run();
  return std::move(checker.result_);
}

void HashChecker::run() {
  if (table_.open(pscRead) != 1) return complain(table_, "the table cannot be opened");
  const psHashSet& table = *table_;
  isMap_ = table.psIsKindOf(psHashMap::pstTypeN);
  const int slots = HashAccess::slotsPerBucket(table);
  if (slots < 1) return complain(table_, "its buckets have " + std::to_string(slots) + " slots");
  slots_ = static_cast<std::uint32_t>(slots);
  depth_ = HashAccess::depth(table);
  if (depth_ < 0 || depth_ >= bitsOfHash || HashAccess::directory(table).size() != 1U << depth_)
    return complain(table_, "the size of the directory does not match its depth");
  visitDirectory(depth_);
  const pstHandle<psObj> admin(table.admin());
  if (admin.open(pscRead) != 1 || !admin->psIsKindOf(psHashAdmin::pstTypeN))
    return complain(table_, textOf(admin) + " is not an administrator");
  result_.owned.insert(admin.oid().bits());
}

// Each bucket stands in a range of the directory. The range doubles for each bit of the depth that the bucket does not
// use.
void HashChecker::visitDirectory(int depth) {
  const HashAccess::Directory& directory = HashAccess::directory(static_cast<const psHashSet&>(*table_));
  for (std::uint32_t i = 0; i < directory.size();) {
    const std::string place = "directory entry " + std::to_string(i);
    const pstHandle<psHashBucket> bucket(directory[i]);
    if (bucket.typeN() != psHashBucket::pstTypeN || bucket.open(pscRead) != 1)
      return complain(bucket, "is not a bucket, at " + place);
    bucketDepth_ = HashAccess::depth(static_cast<const psHashBucket&>(*bucket));
    if (bucketDepth_ < 0 || bucketDepth_ > depth) return complain(bucket, "its depth is out of range");
    const std::uint32_t length = 1U << (depth - bucketDepth_);
    if (i % length != 0) return complain(bucket, "its range begins out of line, at " + place);
    for (std::uint32_t k = 1; k < length; ++k) {
      if (directory[i + k] != bucket) complain(bucket, "another bucket stands in its range, which begins at " + place);
    }
    visitBucket(bucket, i);
    i += length;
  }
}

void HashChecker::visitBucket(const pstHandle<psHashBucket>& bucket, std::uint32_t first) {
  first_ = first;
  container_ = bucket.containedIn();
  own(bucket);
  chained_ = unchained_ = 0;
  const psHashBucket& content = *bucket;
  const HashAccess::Entries& entries = HashAccess::entries(content);
  if (entries.size() != slots_) complain(bucket, "it has " + std::to_string(entries.size()) + " slots");
  for (std::uint32_t slot = 0; slot < entries.size(); ++slot) visitSlot(entries[slot], slot);
  if (chained_ != HashAccess::chained(content)) complain(bucket, "it miscounts what is chained");
  if (unchained_ != HashAccess::unchained(content)) complain(bucket, "it miscounts what is not chained");
}

void HashChecker::visitSlot(const pstRef<psObj>& held, std::uint32_t slot) {
  if (held.isNull()) return;
  const pstHandle<psObj> content(held);
  if (content.typeN() == psHashChain::pstTypeN) return visitChain(pstHandle<psHashChain>(content), slot);
  ++unchained_;
  visitStored(held, slot);
}

void HashChecker::visitChain(const pstHandle<psHashChain>& chain, std::uint32_t slot) {
  own(chain);
  if (chain.open(pscRead) != 1) return complain(chain, "the chain cannot be opened");
  const HashAccess::Entries& entries = HashAccess::entries(static_cast<const psHashChain&>(*chain));
  if (entries.size() < 2) complain(chain, "a chain of less than two");
  for (unsigned int i = 0; i < entries.size(); ++i, ++chained_) visitStored(entries[i], slot);
}

void HashChecker::visitStored(const pstRef<psObj>& stored, std::uint32_t slot) {
  if (!isMap_) return checkHash(pstHandle<psObj>(stored), slot);
  const pstHandle<psHashMapEntry> entry(stored);
  if (entry.typeN() != psHashMapEntry::pstTypeN || entry.open(pscRead) != 1) return complain(entry, "is not an entry");
  own(entry);
  checkHash(pstHandle<psObj>(entry->key()), slot);
}

// The first bits of a hash give the bucket, its remainder modulo the number of slots gives the slot.
void HashChecker::checkHash(const pstHandle<psObj>& key, std::uint32_t slot) {
  if (!key.isValid()) return;  // it was deleted without the table
  const std::uint32_t hash = table_->hashOf(key);
  if (hash % slots_ != slot) complain(key, "is in a wrong slot");
  if (bucketDepth_ > 0 && hash >> (bitsOfHash - bucketDepth_) != first_ >> (depth_ - bucketDepth_))
    complain(key, "is in a wrong bucket");
}

void HashChecker::complain(const psId& id, const std::string& what) {
  result_.faults.push_back(textOf(id) + ": " + what);
}

void HashChecker::own(const psId& id) {
  if (!result_.owned.insert(id.bits()).second) complain(id, "is owned twice");
  if (pstHandle<psObj>(id).containedIn() != container_) complain(id, "does not lie in its bucket's container");
}

}  // namespace ps::detail
