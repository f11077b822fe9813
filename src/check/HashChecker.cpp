#include "check/HashChecker.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "check/CheckedOpen.h"
#include "core/RefusalWatch.h"
#include "hash/HashAccess.h"
#include "hash/psHashMap.h"
#include "store/base/IdText.h"

namespace ps::detail {

namespace {

constexpr int bitsOfHash = 32;

}  // namespace

CheckResult HashChecker::check(const pstHandle<psHashSet>& table, const ObjectSet& taken) {
  HashChecker checker(table, taken);
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
  if (depth_ < 0 || depth_ > deepestDirectory || HashAccess::directory(table).size() != 1U << depth_)
    return complain(table_, "the size of the directory does not match its depth");
  const pstHandle<psCompare> comparator(table.comparator());
  const std::string complaint = complaintAbout(comparator, canHash_);
  if (!complaint.empty()) return complain(table_, complaint);
  if (canHash_ && !comparator.isNull()) elementTypeN_ = comparator->elementTypeN();
  if (!canHash_) result_.unchecked = "has a comparator that this program cannot open; its hashes were not checked";
  visitDirectory(depth_);
  checkNoted();
  if (result_.elements > std::numeric_limits<int>::max()) complain(table_, "it has more elements than can be counted");
  const pstHandle<psHashAdmin> admin(table.admin().oid());
  if (!opensAs(admin)) return complain(table_, textOf(admin) + " is not an administrator");
  result_.owned.insert(admin.oid());
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
  if (!own(bucket)) return;
  chained_ = unchained_ = 0;
  const psHashBucket& content = *bucket;
  const HashAccess::Entries& entries = HashAccess::entries(content);
  if (entries.size() != slots_) complain(bucket, "it has " + std::to_string(entries.size()) + " slots");
  for (std::uint32_t slot = 0; slot < entries.size(); ++slot) visitSlot(entries[slot], slot);
  if (chained_ != HashAccess::chained(content)) complain(bucket, "it miscounts what is chained");
  if (unchained_ != HashAccess::unchained(content)) complain(bucket, "it miscounts what is not chained");
  result_.elements += static_cast<unsigned>(chained_) + static_cast<unsigned>(unchained_);
}

void HashChecker::visitSlot(const pstRef<psObj>& held, std::uint32_t slot) {
  if (held.isNull()) return;
  const pstHandle<psObj> content(held);
  if (content.typeN() == psHashChain::pstTypeN) {
    visitChain(pstHandle<psHashChain>(content), slot);
  } else {
    ++unchained_;
    visitStored(held, slot);
  }
  // A key that is there twice is twice in a slot.
  if (noted_.size() >= mostNoted) checkNoted();
}

void HashChecker::visitChain(const pstHandle<psHashChain>& chain, std::uint32_t slot) {
  if (!own(chain)) return;
  if (chain.open(pscRead) != 1) return complain(chain, "the chain cannot be opened");
  const HashAccess::Entries& entries = HashAccess::entries(static_cast<const psHashChain&>(*chain));
  if (entries.size() < 2) complain(chain, "a chain of less than two");
  for (unsigned int i = 0; i < entries.size(); ++i, ++chained_) visitStored(entries[i], slot);
}

void HashChecker::visitStored(const pstRef<psObj>& stored, std::uint32_t slot) {
  if (!isMap_) return checkLater(stored, slot);
  const pstHandle<psHashMapEntry> entry(stored);
  if (entry.typeN() != psHashMapEntry::pstTypeN || entry.open(pscRead) != 1) return complain(entry, "is not an entry");
  if (own(entry)) checkLater(entry->key(), slot);
}

void HashChecker::checkLater(const pstRef<psObj>& key, std::uint32_t slot) {
  if (key.isNull()) return complain(table_, "a key is null");
  noted_.push_back({key.oid(), slot, bucketDepth_ > 0 ? first_ >> (depth_ - bucketDepth_) : 0, bucketDepth_});
}

void HashChecker::checkNoted() {
  std::sort(noted_.begin(), noted_.end(),
            [](const NotedKey& a, const NotedKey& b) { return orderOf(a.key) < orderOf(b.key); });
  for (std::size_t i = 0; i < noted_.size(); ++i) {
    if (i > 0 && noted_[i].key == noted_[i - 1].key) complain(noted_[i].key, "is there twice");
    checkHash(noted_[i]);
  }
  noted_.clear();
}

// The first bits of a hash give the bucket, its remainder modulo the number of slots gives the slot.
void HashChecker::checkHash(const NotedKey& noted) {
  const pstHandle<psObj> key(noted.key);
  if (!key.isValid()) {  // it was deleted without the table
    ++result_.deleted;
    return;
  }
  const std::string complaint = complaintAboutElement(key, elementTypeN_);
  if (!complaint.empty()) return complain(key, complaint + ", but a key");
  if (!canHash_) return;
  const RefusalWatch watch;
  const std::uint32_t hash = table_->hashOf(key);
  if (watch.metAny()) {
    result_.unchecked = "has keys that cannot be opened; their places were not checked";
    return;
  }
  if (hash % slots_ != noted.slot) complain(key, "is in a wrong slot");
  if (noted.bucketDepth > 0 && hash >> (bitsOfHash - noted.bucketDepth) != noted.bucketBits)
    complain(key, "is in a wrong bucket");
}

void HashChecker::complain(const psId& id, const std::string& what) {
  result_.complain({id, textOf(id) + ": " + what});
}

bool HashChecker::own(const psId& id) {
  if (taken_.contains(id)) {
    complain(id, complaintAboutTaken);
    return false;
  }
  const bool isFirst = result_.owned.insert(id);
  if (!isFirst) complain(id, "is owned twice");
  if (pstHandle<psObj>(id).containedIn() != container_) complain(id, "does not lie in its bucket's container");
  return isFirst;
}

}  // namespace ps::detail
