#include "support/HashChecker.h"

#include "hash/HashAccess.h"
#include "hash/psHashMap.h"

namespace ps::detail {

namespace {

// One walk over one table, which does not use what the table's own operations walk with.
class TableWalk {
 public:
  explicit TableWalk(const pstHandle<psHashSet>& table)
      : table_(*table), isMap_(table->psIsKindOf(psHashMap::pstTypeN)) {}

  void run();

  std::vector<std::string> faults;
  std::unordered_set<std::uint64_t> owned;

 private:
  void visitBucket(const pstHandle<psHashBucket>& bucket, std::uint32_t first);
  void visitSlot(const psHashBucket& bucket, std::uint32_t slot, std::uint32_t first);
  void visitChain(const pstHandle<psHashChain>& chain, std::uint32_t slot, std::uint32_t first);
  void visitStored(const pstRef<psObj>& stored, std::uint32_t slot, std::uint32_t first);

  // What lies in the container of the bucket that is being visited, and in no other.
  void own(const psId& id) {
    if (!owned.insert(id.bits()).second) complain("something is owned twice");
    if (pstHandle<psObj>(id).containedIn() != container_) complain("something is not in its bucket's container");
  }
  void complain(const std::string& what) { faults.push_back("bucket " + std::to_string(bucket_) + ": " + what); }

  const psHashSet& table_;
  bool isMap_;
  std::uint32_t bucket_ = 0;  // directory index
  int depth_ = 0;
  psId container_;
  int chained_ = 0;
  int unchained_ = 0;
};

void TableWalk::run() {
  const HashAccess::Directory& directory = HashAccess::directory(table_);
  const int depth = HashAccess::depth(table_);
  if (depth < 0 || directory.size() != 1U << depth) return complain("the directory has not the size of its depth");
  for (std::uint32_t i = 0; i < directory.size();) {
    bucket_ = i;
    const pstHandle<psHashBucket> bucket(directory[i]);
    if (bucket.open(pscRead) != 1 || bucket->psGetTypeN() != psHashBucket::pstTypeN) return complain("no bucket");
    depth_ = HashAccess::depth(static_cast<const psHashBucket&>(*bucket));
    if (depth_ < 0 || depth_ > depth) return complain("the depth is out of range");
    const std::uint32_t length = 1U << (depth - depth_);
    if (i % length != 0) return complain("the range of the directory begins out of line");
    for (std::uint32_t k = 0; k < length; ++k) {
      if (directory[i + k] != bucket) complain("the directory names another within the range");
    }
    visitBucket(bucket, i);
    i += length;
  }
  const pstHandle<psHashAdmin> admin(table_.admin());
  if (admin.open(pscRead) != 1) return complain("the administrator cannot be opened");
  owned.insert(admin.oid().bits());
}

void TableWalk::visitBucket(const pstHandle<psHashBucket>& bucket, std::uint32_t first) {
  container_ = bucket.containedIn();
  own(bucket.oid());
  chained_ = unchained_ = 0;
  const HashAccess::Entries& entries = HashAccess::entries(static_cast<const psHashBucket&>(*bucket));
  if (entries.size() != static_cast<unsigned int>(HashAccess::slotsPerBucket(table_)))
    complain("wrong number of slots");
  for (std::uint32_t slot = 0; slot < entries.size(); ++slot) visitSlot(*bucket, slot, first);
  if (chained_ != HashAccess::chained(static_cast<const psHashBucket&>(*bucket))) complain("miscounts what is chained");
  if (unchained_ != HashAccess::unchained(static_cast<const psHashBucket&>(*bucket))) complain("miscounts the rest");
}

void TableWalk::visitSlot(const psHashBucket& bucket, std::uint32_t slot, std::uint32_t first) {
  const pstHandle<psObj> held(HashAccess::entries(bucket)[slot]);
  if (held.isNull()) return;
  if (held.typeN() == psHashChain::pstTypeN) return visitChain(pstHandle<psHashChain>(held), slot, first);
  ++unchained_;
  visitStored(held, slot, first);
}

void TableWalk::visitChain(const pstHandle<psHashChain>& chain, std::uint32_t slot, std::uint32_t first) {
  own(chain.oid());
  const HashAccess::Entries& entries = HashAccess::entries(static_cast<const psHashChain&>(*chain));
  if (entries.size() < 2) complain("a chain of less than two");
  for (unsigned int i = 0; i < entries.size(); ++i, ++chained_) visitStored(entries[i], slot, first);
}

void TableWalk::visitStored(const pstRef<psObj>& stored, std::uint32_t slot, std::uint32_t first) {
  pstHandle<psObj> key(stored);
  if (isMap_) {
    const pstHandle<psHashMapEntry> entry(stored);
    if (entry.open(pscRead) != 1 || entry->psGetTypeN() != psHashMapEntry::pstTypeN) return complain("no entry");
    own(entry.oid());
    key = entry->key();
  }
  if (!key.isValid()) return;  // an element that was deleted without the table
  const std::uint32_t hash = table_.hashOf(key);
  if (hash % static_cast<std::uint32_t>(HashAccess::slotsPerBucket(table_)) != slot) complain("one is in a wrong slot");
  const int depth = HashAccess::depth(table_);
  if (depth_ > 0 && hash >> (32 - depth_) != first >> (depth - depth_)) complain("one is in a wrong bucket");
}

}  // namespace

std::vector<std::string> checkTable(const pstHandle<psHashSet>& table, std::unordered_set<std::uint64_t>* owned) {
  TableWalk walk(table);
  walk.run();
  if (owned != nullptr) owned->merge(walk.owned);
  return walk.faults;
}

}  // namespace ps::detail

namespace ps::test {

std::string faultsOf(const pstHandle<psHashSet>& table) {
  std::string text;
  for (const std::string& line : ps::detail::checkTable(table)) text += line + '\n';
  return text;
}

}  // namespace ps::test
